#!/usr/bin/python3
"""The same frames over the same bad network on several roads; scripts/loss_chart.sh runs it.

    loss_roads.py FRAMES RESTARTS PATTERN JSON

FRAMES has frame*.ppm, RESTARTS SAMPLING/frame*.jpg with restart markers, PATTERN is
bench/loss_pattern. What reaches the receiver is exactly what the bad network lets through, in
order; GStreamer's own payloader and depayloader stand on both sides of it. The first frame arrives
whole on every road.
"""
import datetime
import json
import pathlib
import subprocess
import sys
import time

import gi
import numpy
import qrx_jpeg

gi.require_version("Gst", "1.0")
gi.require_version("GstApp", "1.0")
from gi.repository import Gst, GstApp  # noqa: E402, F401

QUALITY = 80
MTU = 1300  # about the mean of our packets
FRAME_MS = ROUND_TRIP_MS = 40
LOSSES = [0, 0.5, 1, 2, 5, 10, 20]
BURSTS = [1, 5]
SEEDS = range(1, 6)
PASSES = 5  # of which the fastest counts
SAMPLINGS = {"420": qrx_jpeg.Sampling.S420, "422": qrx_jpeg.Sampling.S422}


def read_ppm(path):
    data = path.read_bytes()
    kind, width, height, most = data[:20].split(maxsplit=4)[:4]
    if kind != b"P6" or most != b"255":
        sys.exit(f"{path}: not a PPM of 8 bits")
    pixels = int(width) * int(height) * 3
    return numpy.frombuffer(data, numpy.uint8)[-pixels:].reshape(int(height), int(width), 3)


def decoded(jpeg):
    return qrx_jpeg.decode(jpeg, format=qrx_jpeg.Format.RGBX).pixels


def right(shown, wanted):
    """Share of the pixels that are those of the frame as it left."""
    return float(numpy.mean(shown.view(numpy.uint32) == wanted.view(numpy.uint32)))


def through_gstreamer(elements, caps, buffers):
    """What comes out for buffers, which are (bytes, frame), and the caps of that."""
    pipeline = Gst.parse_launch(f"appsrc name=in format=time max-bytes=0 ! {elements} ! "
                                "appsink name=out sync=false max-buffers=0")
    source, sink = pipeline.get_by_name("in"), pipeline.get_by_name("out")
    source.set_property("caps", Gst.Caps.from_string(caps))
    pipeline.set_state(Gst.State.PLAYING)
    for data, frame in buffers:
        buffer = Gst.Buffer.new_allocate(None, len(data), None)
        buffer.fill(0, data)
        buffer.pts = frame * FRAME_MS * Gst.MSECOND
        source.emit("push-buffer", buffer)
    source.emit("end-of-stream")
    out = []
    while (sample := sink.emit("pull-sample")) is not None:
        buffer = sample.get_buffer()
        frame = buffer.pts // (FRAME_MS * Gst.MSECOND)
        out.append((buffer.extract_dup(0, buffer.get_size()), frame))
    told = sink.get_static_pad("sink").get_current_caps()
    pipeline.set_state(Gst.State.NULL)
    return out, told.to_string() if told else caps


class Packets:
    """Our packets: each changes its own pixels, as soon as it is there."""

    name = "packets"

    def __init__(self, frames, sampling, _):
        self.datagrams, self.wanted = [], []
        for number, frame in enumerate(frames):
            place = qrx_jpeg.Place(index=number + 1)
            self.datagrams.append(
                qrx_jpeg.encode_packets(frame, QUALITY, SAMPLINGS[sampling], place))
            self.wanted.append(self.show(self.datagrams[-1], frame.shape))

    @staticmethod
    def show(packets, shape, picture=None):
        if picture is None:
            picture = numpy.full((*shape[:2], 4), 255, numpy.uint8)
        for packet in packets:
            qrx_jpeg.decode_packet(packet, picture, format=qrx_jpeg.Format.RGBX)
        return picture

    def receive(self, arrived):
        """The picture after each frame, and whether the frame changed it."""
        picture = numpy.full_like(self.wanted[0], 255)
        for packets in arrived:
            yield self.show(packets, picture.shape, picture), bool(packets)

    def send_once(self, frames, sampling):
        for frame in frames:
            qrx_jpeg.encode_packets(frame, QUALITY, SAMPLINGS[sampling])

    def receive_once(self):
        for _ in self.receive(self.datagrams):
            pass


class Jpegs:
    """What shows JPEGs that have come: the last one stays until another is there."""

    def __init__(self, frames, sampling, _):
        self.jpegs = [qrx_jpeg.encode(frame, QUALITY, SAMPLINGS[sampling]) for frame in frames]

    def finish(self):
        self.datagrams = self.cut()
        got = self.join(self.datagrams)
        if sorted(got) != list(range(len(self.jpegs))):
            sys.exit(f"{self.name}: frames are missing without loss")
        self.whole = got
        self.wanted = [decoded(got[number]) for number in sorted(got)]

    def receive(self, arrived):
        picture = numpy.full_like(self.wanted[0], 255)
        got = self.join(arrived)
        for number in range(len(arrived)):
            if number in got:
                whole = got[number] == self.whole[number]
                picture = self.wanted[number] if whole else decoded(got[number])
            yield picture, number in got

    def send_once(self, frames, sampling):
        self.jpegs = [qrx_jpeg.encode(frame, QUALITY, SAMPLINGS[sampling]) for frame in frames]
        self.cut()

    def receive_once(self):
        for jpeg in self.join(self.datagrams).values():
            decoded(jpeg)


class Rtp(Jpegs):
    """RTP/JPEG (RFC 2435)."""

    name = "rtp"

    def __init__(self, frames, sampling, restarts):
        super().__init__(frames, sampling, restarts)
        self.size = frames[0].shape
        self.finish()

    def cut(self):
        height, width = self.size[:2]
        caps = f"image/jpeg,framerate={1000 // FRAME_MS}/1,width={width},height={height}"
        out, self.caps = through_gstreamer(
            f"rtpjpegpay mtu={MTU} seqnum-offset=0 ssrc=1 timestamp-offset=0", caps,
            [(jpeg, number) for number, jpeg in enumerate(self.jpegs)])
        datagrams = [[] for _ in self.jpegs]
        for datagram, frame in out:
            datagrams[frame].append(datagram)
        return datagrams

    def join(self, arrived):
        row = [(d, number) for number, datagrams in enumerate(arrived) for d in datagrams]
        return {frame: jpeg for jpeg, frame in through_gstreamer("rtpjpegdepay", self.caps, row)[0]}


class RtpRestarts(Rtp):
    """The same with a restart marker behind each row of MCUs."""

    name = "rtp_restarts"

    def __init__(self, frames, sampling, restarts):
        self.jpegs = restarts[sampling]
        self.size = frames[0].shape
        self.finish()

    send_once = None  # these JPEGs come from the command line


class Whole(Jpegs):
    """JPEGs cut into datagrams of twelve bytes and a part: all parts, or no picture."""

    name = "whole"
    HEAD = 12

    def __init__(self, frames, sampling, restarts):
        super().__init__(frames, sampling, restarts)
        self.finish()

    def cut(self):
        room = MTU - self.HEAD
        datagrams = []
        for number, jpeg in enumerate(self.jpegs):
            parts = [jpeg[at:at + room] for at in range(0, len(jpeg), room)]
            datagrams.append([number.to_bytes(4, "big") + i.to_bytes(4, "big")
                              + len(parts).to_bytes(4, "big") + part
                              for i, part in enumerate(parts)])
        return datagrams

    def join(self, arrived):
        return {number: b"".join(d[self.HEAD:] for d in datagrams)
                for number, datagrams in enumerate(arrived)
                if datagrams and len(datagrams) == int.from_bytes(datagrams[0][8:12], "big")}


def pattern(program, loss, burst, seed, count):
    """True for each datagram that arrives."""
    line = subprocess.run([program, str(loss), str(burst), str(seed), str(count)], check=True,
                          capture_output=True, text=True).stdout.strip()
    return [sign == "." for sign in line]


def one_run(road, arrives):
    """Shares of right pixels after each frame but the first, and which of them showed anything."""
    place, arrived = 0, [road.datagrams[0]]
    for datagrams in road.datagrams[1:]:
        arrived.append([d for d, came in zip(datagrams, arrives[place:]) if came])
        place += len(datagrams)
    shares, shown = [], 0
    for number, (picture, changed) in enumerate(road.receive(arrived)):
        if number == 0:
            continue
        shares.append(right(picture, road.wanted[number]))
        shown += changed
    return shares, shown


def repairs(road, arrives):
    """Round trips until each frame is whole, were it the last: what was lost is sent again."""
    rounds, place = [], 0
    for datagrams in road.datagrams[1:]:
        left, count = len(datagrams), -1
        while left > 0:
            left, place = arrives[place:place + left].count(False), place + left
            count += 1
        rounds.append(count)
    return rounds


def longest_gap(shares):
    """Frames in a row that were not wholly right."""
    longest = now = 0
    for share in shares:
        now = 0 if share == 1 else now + 1
        longest = max(longest, now)
    return longest


def measure_loss(road, program, loss, burst):
    total = sum(len(d) for d in road.datagrams)
    shares, shown, gaps, rounds, series = [], 0, [], [], None
    for seed in SEEDS if loss else [1]:
        got, changed = one_run(road, pattern(program, loss, burst, seed, total))
        series = series or got
        shares += got
        shown += changed
        gaps.append(longest_gap(got))
        rounds += repairs(road, pattern(program, loss, burst, 1000 + seed, 4 * total))
    rounds.sort()
    return {"road": road.name, "loss": loss, "burst": burst,
            "right": sum(shares) / len(shares), "right_least": min(shares),
            "shown": shown / len(shares),
            "whole": sum(share == 1 for share in shares) / len(shares),
            "longest_gap": max(gaps),
            "repair_ms": ROUND_TRIP_MS * sum(rounds) / len(rounds),
            "repair_ms_95": ROUND_TRIP_MS * rounds[len(rounds) * 95 // 100],
            "series": [round(share, 5) for share in series]}


def processor_ms(work, frames):
    best = None
    for _ in range(PASSES):
        start = time.process_time()
        work()
        spent = (time.process_time() - start) * 1000 / frames
        best = spent if best is None else min(best, spent)
    return best


def measure_cost(road, frames, sampling):
    sizes = [len(d) for datagrams in road.datagrams for d in datagrams]
    count = len(frames)
    return {"road": road.name, "bytes": sum(sizes) / count, "datagrams": len(sizes) / count,
            "largest": max(sizes),
            "send_ms": processor_ms(lambda: road.send_once(frames, sampling), count)
            if road.send_once else None,
            "receive_ms": processor_ms(road.receive_once, count)}


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    folder, restarts_folder, program, target = sys.argv[1:]
    Gst.init(None)
    frames = [read_ppm(path) for path in sorted(pathlib.Path(folder).glob("frame*.ppm"))]
    restarts = {sampling: [path.read_bytes() for path in
                           sorted(pathlib.Path(restarts_folder, sampling).glob("frame*.jpg"))]
                for sampling in SAMPLINGS}
    rows, costs = [], []
    for sampling in SAMPLINGS:
        for kind in (Packets, Rtp, RtpRestarts, Whole):
            road = kind(frames, sampling, restarts)
            print(f"{sampling} {road.name}", file=sys.stderr, flush=True)
            costs.append({"sampling": sampling, **measure_cost(road, frames, sampling)})
            rows += [{"sampling": sampling, **measure_loss(road, program, loss, burst)}
                     for burst in BURSTS for loss in LOSSES if loss or burst == 1]
    report = {"date": datetime.date.today().isoformat(), "processor": processor(),
              "gstreamer": ".".join(str(n) for n in Gst.version()[:3]),
              "library": ".".join(str(n) for n in qrx_jpeg.version()), "width": frames[0].shape[1],
              "height": frames[0].shape[0], "frames": len(frames) - 1, "seeds": len(SEEDS),
              "quality": QUALITY, "mtu": MTU, "round_trip_ms": ROUND_TRIP_MS, "bursts": BURSTS,
              "losses": LOSSES, "rows": rows, "costs": costs}
    pathlib.Path(target).write_text(json.dumps(report, indent=1) + "\n")


if __name__ == "__main__":
    main()
