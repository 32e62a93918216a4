"""libqrx_jpeg for Python: pictures to JPEGs and packets, and back.

    jpeg = qrx_jpeg.encode(pixels, quality=85, sampling=qrx_jpeg.Sampling.S420)
    info = qrx_jpeg.read_info(jpeg)
    back = qrx_jpeg.decode(jpeg).pixels

Pixels are anything with the buffer protocol: numpy arrays, bytes, bytearray, memoryview, mmap.
An array of (height, width) is gray, of (height, width, 3) RGB and of (height, width, 4) RGBX unless
`format` says otherwise; bytes without a shape take `format`, `size=(width, height)` and, where rows
have a gap or the bottom row is stored first, `stride`. The library works on that memory itself: the
bytes of a row have to stand side by side, and rows at one distance, which may be negative.

A refusal is raised as Error, with code and text. Damage is none: decoding tells of it beside the
pixels.

These functions use a coder of the calling thread. A Coder has the same ones as methods, and ends
when it is told to. Any number of coders work at once; the interpreter's lock is free meanwhile.
"""

from ._coder import (
    Coder,
    Decoded,
    DecodedPacket,
    Info,
    Packet,
    Place,
    decode,
    decode_packet,
    encode,
    encode_packets,
    read_info,
    read_packet,
)
from ._library import Code, Color, Error, Format, Mode, Sampling, slot, version

__all__ = [
    "Code",
    "Coder",
    "Color",
    "Decoded",
    "DecodedPacket",
    "Error",
    "Format",
    "Info",
    "Mode",
    "Packet",
    "Place",
    "Sampling",
    "decode",
    "decode_packet",
    "encode",
    "encode_packets",
    "read_info",
    "read_packet",
    "slot",
    "version",
]
