#!/usr/bin/env python3
"""qrx-jpeg-web in headless Chromium, and against clients that are none.

browser_test.py WEB TOOL CORPUS: the two programs, and the folder of the fuzz corpus. The package
qrx_jpeg has to be found, and its library. SCREENSHOT=FILE keeps a picture of the page.
"""

import base64
import http.client
import http.server
import os
import pathlib
import random
import re
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import numpy
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

import qrx_jpeg

WEB, TOOL, CORPUS = sys.argv[1:4]
WIDTH, HEIGHT, TILE = 640, 360, 256


class Server:
    def __init__(self, *options):
        self.process = subprocess.Popen(
            [WEB, "--listen", "127.0.0.1:0", "--size", f"{WIDTH}x{HEIGHT}", "--sampling", "422"]
            + list(options),
            stderr=subprocess.PIPE,
            text=True,
        )
        said = self.process.stderr.readline()
        self.url = re.match(r"open (http://127\.0\.0\.1:(\d+)/(\w{32})/)\n", said)[1]
        self.port = int(self.url.split(":")[2].split("/")[0])
        self.token = self.url.split("/")[3]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.code = self.process.wait(10)
        self.process.stderr.close()
        assert self.code == 0, self.code

    def status(self, path, headers={}, method="GET"):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        connection.request(method, path, headers=headers)
        status = connection.getresponse().status
        connection.close()
        return status


class Socket:
    """A client of WebSockets that says what it likes."""

    def __init__(self, server, path=None, origin=None):
        self.socket = socket.create_connection(("127.0.0.1", server.port), timeout=10)
        path = path if path is not None else f"/{server.token}/socket"
        origin = server.url[: server.url.index("/", 7)] if origin is None else origin
        lines = [
            f"GET {path} HTTP/1.1",
            f"Host: 127.0.0.1:{server.port}",
            "Upgrade: websocket",
            "Connection: Upgrade",
            "Sec-WebSocket-Key: " + base64.b64encode(os.urandom(16)).decode(),
            "Sec-WebSocket-Version: 13",
            "Sec-WebSocket-Protocol: qrx",
        ] + ([f"Origin: {origin}"] if origin else [])
        self.socket.sendall(("\r\n".join(lines) + "\r\n\r\n").encode())
        answer = self.socket.recv(4096)
        self.status = int(answer.split()[1]) if answer else 0
        self.left = answer.partition(b"\r\n\r\n")[2]  # frames that came along

    def send(self, data, opcode=2, first=None):
        size = len(data)
        head = bytes([0x80 | opcode if first is None else first])
        if size < 126:
            head += bytes([0x80 | size])
        elif size < 65536:
            head += bytes([0x80 | 126]) + struct.pack(">H", size)
        else:
            head += bytes([0x80 | 127]) + struct.pack(">Q", size)
        mask = b"\x5a\xa5\x3c\xc3"
        masked = bytes(byte ^ mask[i % 4] for i, byte in enumerate(data))
        self.raw(head + mask + masked)

    def raw(self, data):
        try:
            self.socket.sendall(data)
        except OSError:
            pass  # it was closed, as it may be

    def ends(self):
        """Whether the server closes, within some seconds: its reason, or True without one."""
        self.socket.settimeout(5)
        left, piece = self.left, True
        try:
            while piece:
                while len(left) >= 2:
                    short = left[1] & 127
                    if short >= 126 and len(left) < 4:
                        break
                    size = 2 + short if short < 126 else 4 + int.from_bytes(left[2:4], "big")
                    if len(left) < size:
                        break
                    if left[0] == 0x88:
                        return left[4:size].decode() or True
                    left = left[size:]
                piece = self.socket.recv(65536)
                left += piece
        except socket.timeout:
            return False
        except OSError:
            pass
        return True

    def close(self):
        self.socket.close()


def expected_picture():
    """The first frame, tile by tile through the library that runs natively."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(
            [TOOL, "scene", "--size", f"{WIDTH}x{HEIGHT}", "--format", "ppm", folder],
            check=True,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        data = next(pathlib.Path(folder).glob("*.ppm")).read_bytes()
    pixels = numpy.frombuffer(data, numpy.uint8)[-WIDTH * HEIGHT * 3 :]
    pixels = pixels.reshape(HEIGHT, WIDTH, 3)
    picture = numpy.zeros_like(pixels)
    coder = qrx_jpeg.Coder()
    for top in range(0, HEIGHT, TILE):
        for left in range(0, WIDTH, TILE):
            part = numpy.s_[top : top + TILE, left : left + TILE]
            for packet in coder.encode_packets(pixels[part], 80, qrx_jpeg.Sampling.S422):
                coder.decode_packet(packet, picture[part])
    return picture


def corpus(*names):
    for name in names:
        for path in sorted(pathlib.Path(CORPUS, name).iterdir()):
            yield path.read_bytes()


class Clients(unittest.TestCase):
    def test_who_gets_what(self):
        with Server("--frames", "1") as server:
            own, foreign = f"http://127.0.0.1:{server.port}", "http://evil.example"
            page, image = f"/{server.token}/", f"/{server.token}/frame.jpg"
            cases = [
                (200, page, {}),
                (200, page, {"Origin": own}),
                (200, page, {"Host": f"localhost:{server.port}"}),
                (200, page, {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Dest": "document"}),
                (200, image, {"Sec-Fetch-Site": "same-origin", "Sec-Fetch-Dest": "image"}),
                (200, image + "?7", {}),
                (404, page + "other", {}),
                (403, page + "../viewer.js", {}),
                (403, "/", {}),
                (403, "/viewer.js", {}),
                (403, f"/{server.token}", {}),
                (403, f"/{server.token[:-1]}x/", {}),
                (403, f"/{server.token}x/", {}),
                (403, page, {"Origin": foreign}),
                (403, page, {"Origin": "null"}),
                (403, page, {"Origin": f"http://localhost:{server.port}"}),
                (403, page, {"Host": f"evil.example:{server.port}"}),
                (403, image, {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Dest": "image"}),
                (403, image, {"Sec-Fetch-Site": "same-site", "Sec-Fetch-Dest": "iframe"}),
                (403, image, {"Sec-Fetch-Site": "x" * 200}),
            ]
            for status, path, headers in cases:
                with self.subTest(path=path, headers=headers):
                    self.assertEqual(server.status(path, headers), status)
            for method in ("POST", "PUT", "OPTIONS", "BREW"):
                with self.subTest(method=method):
                    self.assertNotIn(server.status(page, method=method), (200, 204))
            sockets = [
                (101, {}),
                (403, {"origin": ""}),
                (403, {"origin": foreign}),
                (403, {"path": "/socket"}),
                (403, {"path": f"/{'0' * 32}/socket"}),
                (403, {"path": f"/{server.token}/"}),
            ]
            for status, arguments in sockets:
                with self.subTest(socket=arguments):
                    client = Socket(server, **arguments)
                    self.assertEqual(client.status, status)
                    client.close()

    def test_other_machines_take_a_word(self):
        refused = subprocess.run([WEB, "--listen", "0.0.0.0:0"], capture_output=True, text=True)
        self.assertEqual(refused.returncode, 64)
        self.assertIn("--remote", refused.stderr)
        # By itself it listens on loopback, or says that it can't where somebody else does.
        with subprocess.Popen([WEB], stderr=subprocess.PIPE, text=True) as process:
            self.assertRegex(process.stderr.readline(), r"\b127\.0\.0\.1:8080\b")
            process.terminate()

    def test_anything_at_all(self):
        chance = random.Random(1)
        with Server("--loss", "2%") as server:
            requests = [
                b"",
                b"\r\n" * 1000,
                b"GET / HTTP/9.9\r\n\r\n",
                b"GET " + b"/" * 100000,
                b"GET / HTTP/1.1\r\n" + b"a: b\r\n" * 10000 + b"\r\n",
                b"GET / HTTP/1.1\r\nHost: " + b"h" * 70000 + b"\r\n\r\n",
                b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + bytes(200),
                b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc" + bytes(300),
                b"POST / HTTP/1.1\r\nContent-Length: 99999999999\r\n\r\n" + bytes(5000),
            ] + [chance.randbytes(chance.randrange(1, 600)) for _ in range(100)]
            for request in requests:
                client = socket.create_connection(("127.0.0.1", server.port))
                try:
                    client.sendall(request)
                except OSError:
                    pass
                client.close()
            text, message = "a text that is none of a page", "a message that is none of a page"
            long = "a message longer than any of a page"
            ending = [
                (text, lambda s: s.send(b"loss 2", 1)),
                (text, lambda s: s.send(b"loss nan", 1)),
                (text, lambda s: s.send(b"loss 0.1 ", 1)),
                (None, lambda s: s.send(b"\xff\xfe", 1)),
                (message, lambda s: s.send(b"QRXC")),
                (long, lambda s: s.send(bytes(5000))),
                (long, lambda s: s.send(bytes(1 << 20))),
                (long, lambda s: [s.send(bytes(1000), first=0 if i else 2) for i in range(9)]),
                (None, lambda s: s.raw(b"\xff" * 200)),
                (None, lambda s: s.raw(b"\x82\x05hello")),  # not masked
            ]
            for i, (reason, act) in enumerate(ending):
                with self.subTest(message=i):
                    client = Socket(server)
                    self.assertEqual(client.status, 101)
                    act(client)
                    ended = client.ends()
                    client.close()
                    self.assertTrue(ended)
                    if reason == long:  # is lost with what was still on its way
                        self.assertIn(ended, (long, True))
                    elif reason is not None:
                        self.assertEqual(ended, reason)
            told = f"qrx-jpeg-web: a viewer was turned away, the 1. one: {text}\n"
            self.assertIn(told, iter(server.process.stderr.readline, ""))
            for data in corpus("host_readers", "live_envelope", "packet_inspection", "viewer"):
                client = Socket(server)
                client.send(data[:4000])
                client.send(data[:4000], 1)
                client.close()
            for _ in range(50):  # half an opening, and frames that break off
                client = Socket(server)
                client.raw(chance.randbytes(chance.randrange(1, 40)))
                client.close()
            self.assertEqual(server.status(f"/{server.token}/"), 200)
            crowd = [Socket(server) for _ in range(4)]
            crowd.append(Socket(server))
            self.assertEqual(crowd[-1].ends(), "as many viewers as there may be")
            for client in crowd:
                client.close()


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for option in ("headless=new", "no-sandbox", "disable-dev-shm-usage", "window-size=690,600"):
            options.add_argument("--" + option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()

    def run_script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def wait(self, condition, what):
        end = time.monotonic() + 15
        while not (value := self.run_script("return " + condition)):
            self.assertLess(time.monotonic(), end, f"{what}: {self.figures()}")
            time.sleep(0.02)
        return value

    def figures(self):
        return self.run_script("return document.getElementById('figures').textContent")

    def open(self, server):
        self.browser.get(server.url)
        self.wait("decoder !== null && decoder._viewFrames() > 0", "frames")

    def picture(self):
        data = self.run_script(
            "draw(); const all = context.getImageData(0, 0, canvas.width, canvas.height).data;"
            "let text = ''; for (let i = 0; i < all.length; i += 8192)"
            " text += String.fromCharCode(...all.subarray(i, i + 8192)); return btoa(text);"
        )
        return numpy.frombuffer(base64.b64decode(data), numpy.uint8).reshape(HEIGHT, WIDTH, 4)

    def check_picture(self):
        self.wait("decoder._viewFinished() === 1", "the whole picture")
        picture = self.picture()
        self.assertTrue((picture[..., 3] == 255).all())
        differ = (picture[..., :3] != expected_picture()).any(axis=2)
        self.assertEqual(int(differ.sum()), 0)

    def test_picture_is_right(self):
        self.browser.get_log("browser")  # what other tests provoked
        with Server("--frames", "1") as server:
            self.open(server)
            self.check_picture()
            self.assertEqual(self.run_script("return decoder._viewLost()"), 0)
            self.wait(
                "document.getElementById('figures').textContent.includes('refused: none')", "figures"
            )
            # The same as a JPEG.
            self.run_script("document.getElementById('frames').click()")
            self.wait(f"document.getElementById('jpeg').naturalWidth === {WIDTH}", "a JPEG")
            faults = [e["message"] for e in self.browser.get_log("browser") if e["level"] == "SEVERE"]
            self.assertEqual(faults, [])

    def test_what_was_lost_is_sent_again(self):
        with Server("--frames", "1", "--loss", "10%", "--seed", "3") as server:
            self.open(server)
            self.wait("decoder._viewLost() > 3", "losses")
            self.assertEqual(self.run_script("return document.getElementById('loss').value"), "10")
            self.check_picture()

    def test_moving_picture_under_loss(self):
        with Server() as server:
            self.open(server)
            self.run_script(
                "const slider = document.getElementById('loss'); slider.value = 5;"
                "slider.dispatchEvent(new Event('input'));"
                "document.getElementById('tint').click();"
            )
            self.wait("decoder._viewLost() > 20 && decoder._viewCurrent() < 99.5", "losses")
            before = self.run_script("return decoder._viewFrames()")
            self.wait(f"decoder._viewFrames() > {before} + 20", "frames")
            tinted = False
            for _ in range(20):
                picture = self.picture().astype(int)
                tinted |= bool(((picture[..., 0] > 200) & (picture[..., 1] < 90)).any())
            self.assertTrue(tinted, "nothing was tinted")
            time.sleep(1.5)
            self.assertRegex(self.figures(), r"lost: \d\.\d% in the last second, [1-9]\.\d% in all")
            if os.environ.get("SCREENSHOT"):
                # Held where something is to be seen.
                self.run_script(
                    "const all = take; take = (message) => {"
                    "  all(message); if (decoder._viewCurrent() < 97) take = () => { held = 1; }; };"
                    "window.held = 0; window.all = all;"
                )
                self.wait("held === 1", "something to show")
                self.run_script("draw()")
                self.browser.save_screenshot(os.environ["SCREENSHOT"])
                self.run_script("take = all")
            self.run_script(
                "const slider = document.getElementById('loss'); slider.value = 0;"
                "slider.dispatchEvent(new Event('input'));"
            )
            self.wait("decoder._viewCurrent() === 100", "repair")

    def test_hostile_packets(self):
        inputs = list(corpus("decompress_tile", "packet_inspection", "viewer", "host_readers"))
        with Server("--frames", "1") as server:
            self.open(server)
            # Without a head, and under numbers that the server's own do not reach.
            taken = self.run_script(
                "let number = 1e6, count = 0;"
                "for (const text of arguments[0]) {"
                "  const bytes = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));"
                "  take(bytes.subarray(0, 12).slice().buffer);"
                "  const message = new Uint8Array(16 + bytes.length);"
                "  new DataView(message.buffer).setUint32(0, ++number, true);"
                "  message.set(bytes, 16);"
                "  take(message.buffer); answer(); ++count;"
                "}"
                "draw(); return count;",
                [base64.b64encode(data).decode() for data in inputs],
            )
            self.assertEqual(taken, len(inputs))
            refused = self.run_script("return decoder._viewVerdicts(3)")
            self.assertGreater(refused, len(inputs) / 2)
            self.wait(
                "document.getElementById('figures').textContent.includes(' no packet')", "reason"
            )
            self.browser.refresh()
            self.check_picture()

    def test_page_of_another_origin(self):
        with Server("--frames", "1") as server, tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "index.html").write_text("<!DOCTYPE html><title>other</title>")

            class Handler(http.server.SimpleHTTPRequestHandler):
                def __init__(self, *arguments):
                    super().__init__(*arguments, directory=folder)

                def log_message(self, *_):
                    pass

            other = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
            threading.Thread(target=other.serve_forever, daemon=True).start()
            self.browser.get(f"http://127.0.0.1:{other.server_port}/index.html")
            got = self.browser.execute_async_script(
                "const [url, done] = arguments, got = [];"
                "const settled = (name, promise) => promise.then(() => got.push(name), () => {});"
                "const once = (target, good, bad) => new Promise((yes, no) => {"
                "  target[good] = yes; for (const event of bad) target[event] = no; });"
                "const image = new Image(); image.src = url + 'frame.jpg';"
                "const script = document.createElement('script'); script.src = url + 'viewer.js';"
                "document.head.append(script);"
                "const line = new WebSocket(url.replace('http', 'ws') + 'socket', 'qrx');"
                "Promise.all(["
                "  settled('fetch', fetch(url)),"
                "  settled('image', once(image, 'onload', ['onerror'])),"
                "  settled('script', once(script, 'onload', ['onerror'])),"
                "  settled('socket', once(line, 'onopen', ['onerror', 'onclose'])),"
                "]).then(() => done(got.join()));",
                server.url,
            )
            self.assertEqual(got, "")
            other.shutdown()
            other.server_close()


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[4:], verbosity=2)
