"""Coders, and what they give."""

import ctypes
import inspect
import mmap
import threading
import weakref
from contextlib import contextmanager
from typing import Any, NamedTuple

from . import _memory
from ._library import (
    Code,
    Color,
    Error,
    Format,
    InfoRecord,
    Mode,
    PacketFunction,
    PacketRecord,
    PlaceRecord,
    Report,
    Sampling,
    library,
)

try:
    import numpy
except ImportError:
    numpy = None


class Info(NamedTuple):
    """What a JPEG's header says."""

    width: int
    height: int
    components: int
    precision: int
    color: Color
    sampling: Sampling
    mode: Mode
    restart_interval: int
    format: Format  # that keeps what is there


class Decoded(NamedTuple):
    pixels: Any  # `out`; else a numpy array, or a memoryview of that shape where there is no numpy
    whole: bool  # False: a fault was found
    rows: int  # from the top that came undamaged
    covered: float  # share of the picture in front of the first fault, 0 to 1
    text: str


class Place(NamedTuple):
    """Where a rectangle belongs; goes with its packets."""

    window: int = 0
    index: int = 1  # of the frame, 1 up
    x: int = 0  # left and lower edge in the window, y growing upwards: -32768 to 32767
    y: int = 0
    mark: int = 0  # any byte


class Packet(NamedTuple):
    """What a packet says."""

    place: Place
    width: int  # of the whole rectangle
    height: int
    left: int  # of the box around the packet's own pixels, in the rectangle's picture
    top: int
    columns: int
    rows: int
    components: int
    sampling: Sampling
    last: bool
    share: float  # of the rectangle: those of all its packets add up to 1


class DecodedPacket(NamedTuple):
    packet: Packet
    whole: bool
    rows: int
    covered: float
    text: str


def _told(record):
    place = record.place
    return Packet(
        Place(place.window, place.index, place.x, place.y, place.mark),
        record.width,
        record.height,
        record.left,
        record.top,
        record.columns,
        record.rows,
        record.components,
        Sampling(record.sampling),
        bool(record.last),
        record.share,
    )


def _new_picture(info, format):
    shape = (info.height, info.width, format.bytes)[: 2 if format == Format.GRAY else 3]
    opaque = format in (Format.RGBX, Format.BGRX)  # the library leaves X as it was
    if numpy is not None:
        return numpy.full(shape, 255, numpy.uint8) if opaque else numpy.zeros(shape, numpy.uint8)
    size = info.height * info.width * format.bytes
    return memoryview(bytearray(b"\xff") * size if opaque else bytearray(size)).cast("B", shape)


class Coder:
    """Serves one thread at a time; a call that comes while another is at work is a RuntimeError.

    Ends with close(), at the end of a with statement, or when nobody has it any more.
    """

    def __init__(self):
        handle = library.open()
        if not handle:
            raise MemoryError
        self._handle = handle
        self._lock = threading.Lock()
        self._room = None
        self._end = weakref.finalize(self, library.close, handle)
        self._end.atexit = False  # a daemon thread may still be at work with it

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        with self._turn(even_closed=True):
            self._handle = None
            self._room = None
            self._end()

    def encode(
        self,
        pixels,
        quality=85,
        sampling=Sampling.S420,
        *,
        format=None,
        size=None,
        stride=0,
        into=None,
    ):
        """The JPEG as bytes; or its length, with `into`, a writable buffer that it goes to."""
        quality = _memory.number(quality, 1, 100, "quality")
        sampling = _memory.choice(Sampling, sampling, "sampling")
        with self._turn(), _memory.picture(pixels, format, size, stride) as (first, layout):
            if into is not None:
                with _memory.flat(into, writable=True) as (target, capacity):
                    return self._encode(first, layout, quality, sampling, target, capacity)
            room = library.bound(layout.width, layout.height, layout.format, sampling)
            # Pages that are not touched cost nothing.
            if self._room is None or len(self._room) < room:
                self._room = mmap.mmap(-1, max(room, 1), mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS)
            with _memory.flat(self._room, writable=True) as (target, capacity):
                length = self._encode(first, layout, quality, sampling, target, capacity)
                return ctypes.string_at(target, length)

    def read_info(self, jpeg):
        with self._turn(), _memory.flat(jpeg) as (data, length):
            return self._read_info(data, length)

    def decode(self, jpeg, *, format=None, out=None, size=None, stride=0, max_pixels=1 << 28):
        """Decodes to `out`, which may be larger than the picture, or to a new picture.

        `format` is by default the one that keeps what the JPEG has. A new picture of more than
        `max_pixels` is refused; size and stride are for an `out` without a shape.
        """
        with self._turn(), _memory.flat(jpeg) as (data, length):
            if out is None:
                info = self._read_info(data, length)
                if info.width * info.height > max_pixels:
                    text = f"{info.width} x {info.height} are more than max_pixels"
                    raise Error(Code.NO_ROOM, text)
                format = _memory.choice(Format, format or info.format, "pixel format")
                out = _new_picture(info, format)
            report = Report()
            with _memory.picture(out, format, size, stride, writable=True) as (first, layout):
                code = self._check(
                    library.decode(self._handle, data, length, first, layout, report)
                )
            return Decoded(out, code == Code.DONE, report.rows, report.covered, self._text())

    def encode_packets(
        self,
        pixels,
        quality=85,
        sampling=Sampling.S420,
        place=Place(),
        *,
        format=None,
        size=None,
        stride=0,
        take=None,
    ):
        """A list of packets, as bytes. With `take`, a function, each goes to it as it is made.

        What `take` raises comes out of here; packets behind it are not taken.
        """
        quality = _memory.number(quality, 1, 100, "quality")
        sampling = _memory.choice(Sampling, sampling, "sampling")
        window, index, x, y, mark = place
        record = PlaceRecord(
            _memory.number(window, 0, 0xFFFFFFFF, "window"),
            _memory.number(index, 1, 0x7FFFFFFF, "index"),
            _memory.number(x, -32768, 32767, "x"),
            _memory.number(y, -32768, 32767, "y"),
            _memory.number(mark, 0, 255, "mark"),
        )
        packets, raised = [], []
        take = packets.append if take is None else take

        def hand(_, packet, length):
            if raised:
                return
            try:
                take(ctypes.string_at(packet, length))
            except BaseException as error:  # it can't pass through the library
                raised.append(error)

        with self._turn(), _memory.picture(pixels, format, size, stride) as (first, layout):
            code = library.encode_packets(
                self._handle,
                first,
                layout,
                quality,
                sampling,
                record,
                PacketFunction(hand),
                None,
            )
            if raised:
                raise raised[0]
            self._check(code)
        return packets

    def read_packet(self, packet):
        with self._turn(), _memory.flat(packet) as (data, length):
            record = PacketRecord()
            self._check(library.read_packet(self._handle, data, length, record))
            return _told(record)

    def decode_packet(self, packet, out, *, format=None, size=None, stride=0):
        """Writes the packet's own pixels to `out`, the picture of its whole rectangle."""
        record, report = PacketRecord(), Report()
        with self._turn(), _memory.flat(packet) as (data, length):
            with _memory.picture(out, format, size, stride, writable=True) as (first, layout):
                code = self._check(
                    library.decode_packet(
                        self._handle, data, length, first, layout, record, report
                    )
                )
            whole = code == Code.DONE
            return DecodedPacket(_told(record), whole, report.rows, report.covered, self._text())

    @contextmanager
    def _turn(self, even_closed=False):
        if not self._lock.acquire(blocking=False):
            raise RuntimeError("the coder is at work in another call")
        try:
            if self._handle is None and not even_closed:
                raise ValueError("the coder is closed")
            yield
        finally:
            self._lock.release()

    def _text(self):
        return library.text(self._handle).decode("utf-8", "replace")

    def _check(self, code):
        if code < 0:
            raise Error(code, self._text())
        return code

    def _encode(self, first, layout, quality, sampling, target, capacity):
        length = ctypes.c_size_t()
        self._check(
            library.encode(
                self._handle, first, layout, quality, sampling, target, capacity, length
            )
        )
        return length.value

    def _read_info(self, data, length):
        record = InfoRecord()
        self._check(library.read_info(self._handle, data, length, record))
        return Info(
            record.width,
            record.height,
            record.components,
            record.precision,
            Color(record.color),
            Sampling(record.sampling),
            Mode(record.mode),
            record.restart_interval,
            Format(record.format),
        )


_thread = threading.local()


def _of_this_thread(name):
    method = getattr(Coder, name)

    def function(*arguments, **named):
        coder = getattr(_thread, "coder", None)
        if coder is None:
            coder = _thread.coder = Coder()
        return method(coder, *arguments, **named)

    function.__name__ = function.__qualname__ = name
    function.__doc__ = method.__doc__
    _, *others = inspect.signature(method).parameters.values()
    function.__signature__ = inspect.Signature(others)  # for help()
    return function


encode = _of_this_thread("encode")
read_info = _of_this_thread("read_info")
decode = _of_this_thread("decode")
encode_packets = _of_this_thread("encode_packets")
read_packet = _of_this_thread("read_packet")
decode_packet = _of_this_thread("decode_packet")
