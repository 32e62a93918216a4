"""The Python package, installed, over the library that QRX_JPEG_LIBRARY names."""

import importlib.metadata
import threading
import unittest
from unittest import mock

import numpy as np
import qrx_jpeg
from qrx_jpeg import Code, Format, Sampling

WIDTH, HEIGHT = 117, 61


def gradient(channels=3):
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    planes = [x * 2, y * 4, 255 - x * 2, np.full_like(x, 9)]
    return np.stack(planes[:channels], axis=2).astype(np.uint8)


def distance(a, b):
    return float(np.abs(a.astype(int) - b.astype(int)).mean())


class Frames(unittest.TestCase):
    def test_same_pixels_however_they_lie(self):
        """Every layout of one picture gives the same JPEG, and takes it back."""
        rgb = gradient()
        bgrx = np.full((HEIGHT, WIDTH, 4), 77, np.uint8)
        bgrx[..., :3] = rgb[..., ::-1]
        wide = np.zeros((HEIGHT + 2, WIDTH + 5, 3), np.uint8)
        inner = wide[1:-1, 3:-2]
        inner[:] = rgb
        upside = np.ascontiguousarray(rgb[::-1])
        bare = dict(format=Format.RGB, size=(WIDTH, HEIGHT))
        expected = qrx_jpeg.encode(rgb, 90, Sampling.S444)
        for name, pixels, named in (
            ("bytes", rgb.tobytes(), bare),
            ("flipped bytes", upside.tobytes(), dict(bare, stride=-3 * WIDTH)),
            ("flipped array", upside[::-1], {}),
            ("part of a larger one", inner, {}),
            ("part, flipped", np.ascontiguousarray(wide[::-1])[1:-1, 3:-2][::-1], {}),
            ("four bytes", bgrx, dict(format=Format.BGRX)),
            ("memoryview", memoryview(rgb), {}),
        ):
            with self.subTest(name):
                self.assertEqual(qrx_jpeg.encode(pixels, 90, Sampling.S444, **named), expected)

        back = qrx_jpeg.decode(expected)
        self.assertTrue(back.whole and back.rows == HEIGHT and back.covered == 1)
        self.assertLess(distance(back.pixels, rgb), 2)
        wide[:] = 7
        qrx_jpeg.decode(expected, out=inner)
        np.testing.assert_array_equal(inner, back.pixels)
        self.assertEqual(int(wide.sum()) - int(inner.sum()), 7 * (wide.size - inner.size))
        memory = bytearray(3 * WIDTH * HEIGHT)
        qrx_jpeg.decode(expected, out=memory, stride=-3 * WIDTH, **bare)
        np.testing.assert_array_equal(
            np.frombuffer(memory, np.uint8).reshape(rgb.shape)[::-1], back.pixels
        )
        bgrx[..., 3] = 77
        qrx_jpeg.decode(expected, out=bgrx, format=Format.BGRX)
        np.testing.assert_array_equal(bgrx[..., 2::-1], back.pixels)
        self.assertTrue((bgrx[..., 3] == 77).all())

    def test_formats_and_info(self):
        for pixels, format, components in (
            (gradient()[..., 0].copy(), None, 1),
            (gradient(), Format.BGR, 3),
            (gradient(4), Format.CMYK, 4),
        ):
            jpeg = qrx_jpeg.encode(pixels, 95, Sampling.S422, format=format)
            info = qrx_jpeg.read_info(jpeg)
            self.assertEqual(info[:3], (WIDTH, HEIGHT, components))
            back = qrx_jpeg.decode(jpeg, format=format).pixels
            self.assertEqual(back.shape, pixels.shape)
            self.assertLess(distance(back, pixels), 4)
        jpeg = qrx_jpeg.encode(gradient())
        room = bytearray(len(jpeg) + 10)
        self.assertEqual(qrx_jpeg.encode(gradient(), into=room), len(jpeg))
        self.assertEqual(bytes(room[: len(jpeg)]), jpeg)
        with mock.patch("qrx_jpeg._coder.numpy", None):
            plain = qrx_jpeg.decode(jpeg, format=Format.RGBX).pixels
        self.assertEqual((plain.shape, plain[3, 5, 3]), ((HEIGHT, WIDTH, 4), 255))

    def test_damage_is_told(self):
        noise = np.random.default_rng(0).integers(0, 255, (HEIGHT, WIDTH, 3), np.uint8)
        jpeg = qrx_jpeg.encode(noise, 95)
        result = qrx_jpeg.decode(jpeg[: len(jpeg) // 2])
        self.assertFalse(result.whole)
        self.assertTrue(0 < result.rows < HEIGHT and 0 < result.covered < 1)


class Packets(unittest.TestCase):
    def test_round_trip_and_loss(self):
        pixels = np.random.default_rng(1).integers(0, 255, (HEIGHT, WIDTH, 3), np.uint8)
        place = qrx_jpeg.Place(window=0xFFFFFFFF, index=3, x=-5, y=8, mark=200)
        packets = qrx_jpeg.encode_packets(pixels, 90, Sampling.S444, place)
        self.assertGreater(len(packets), 3)
        told = [qrx_jpeg.read_packet(packet) for packet in packets]
        self.assertEqual([t.last for t in told], [False] * (len(told) - 1) + [True])
        self.assertAlmostEqual(sum(t.share for t in told), 1)
        self.assertTrue(all(t.place == place and t[1:3] == (WIDTH, HEIGHT) for t in told))
        picture = np.full_like(pixels, 1)
        results = [qrx_jpeg.decode_packet(packet, picture) for packet in packets[1:]]
        self.assertTrue(all(r.whole and r.packet == t for r, t in zip(results, told[1:])))
        self.assertTrue((picture[0, :8] == 1).all(), "the lost packet's pixels stay")
        qrx_jpeg.decode_packet(packets[0], picture)
        whole = qrx_jpeg.decode(qrx_jpeg.encode(pixels, 90, Sampling.S444)).pixels
        np.testing.assert_array_equal(picture, whole)

    def test_an_exception_comes_out(self):
        taken = []

        def take(packet):
            taken.append(packet)
            raise KeyError(len(packet))

        noise = np.random.default_rng(2).integers(0, 255, (200, 200), np.uint8)
        coder = qrx_jpeg.Coder()
        self.assertRaises(KeyError, coder.encode_packets, noise, take=take)
        self.assertEqual(len(taken), 1)
        with self.assertRaisesRegex(RuntimeError, "at work"):
            coder.encode_packets(noise, take=lambda _: coder.close())
        coder.close()
        self.assertRaises(ValueError, coder.read_info, b"")


class Refusals(unittest.TestCase):
    def test_codes(self):
        good, jpeg = gradient(), qrx_jpeg.encode(gradient())
        bare = dict(format=Format.RGB, size=(WIDTH, HEIGHT))
        for name, code, call in (
            ("text", Code.BAD_DATA, lambda: qrx_jpeg.decode(b"no picture")),
            ("no bytes", Code.BAD_DATA, lambda: qrx_jpeg.read_info(b"")),
            ("no packet", Code.BAD_DATA, lambda: qrx_jpeg.read_packet(jpeg)),
            ("small out", Code.NO_ROOM, lambda: qrx_jpeg.decode(jpeg, out=good[:-1])),
            ("small into", Code.NO_ROOM, lambda: qrx_jpeg.encode(good, into=bytearray(400))),
            ("limit", Code.NO_ROOM, lambda: qrx_jpeg.decode(jpeg, max_pixels=9)),
            ("gray", Code.NOT_SUPPORTED, lambda: qrx_jpeg.decode(jpeg, format=Format.GRAY)),
            ("quality", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(good, 2**32 + 85)),
            ("sampling", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(good, 85, 420)),
            ("index", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode_packets(
                good, place=qrx_jpeg.Place(index=0))),
            ("columns apart", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(good[:, ::2])),
            ("channels turned", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(good[..., ::-1])),
            ("one row for all", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(
                np.broadcast_to(good[:1], good.shape))),
            ("numbers", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(good.astype(np.int16))),
            ("short", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(bytes(good)[:-1], **bare)),
            ("short, flipped", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(
                bytes(good), stride=-3 * WIDTH - 1, **bare)),
            ("wide", Code.BAD_ARGUMENT, lambda: qrx_jpeg.encode(
                b"", format=Format.RGB, size=(2**32 + 1, 1))),
        ):  # fmt: skip
            with self.subTest(name):
                with self.assertRaises(qrx_jpeg.Error) as caught:
                    call()
                self.assertEqual(caught.exception.code, code)
                self.assertTrue(caught.exception.text)
        with self.assertRaises(BufferError):
            qrx_jpeg.decode(jpeg, out=bytes(good), **bare)
        np.testing.assert_array_equal(good, gradient())


class Library(unittest.TestCase):
    def test_version_is_the_packages(self):
        package = importlib.metadata.version("qrx-jpeg")
        self.assertEqual(".".join(map(str, qrx_jpeg.version())), package)
        self.assertIn(qrx_jpeg.slot(), range(7))

    def test_threads(self):
        expected, results = qrx_jpeg.encode(gradient()), []
        work = lambda: results.extend(qrx_jpeg.encode(gradient()) for _ in range(50))
        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(results, [expected] * 200)


if __name__ == "__main__":
    unittest.main()
