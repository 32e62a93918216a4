"""The C interface (qrx/qrx.h) as ctypes sees it."""

import ctypes
import enum
import os
from ctypes import POINTER, c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint8, c_uint32, c_void_p


class Code(enum.IntEnum):
    DONE = 0
    DAMAGED = 1
    BAD_ARGUMENT = -1
    BAD_DATA = -2
    NOT_SUPPORTED = -3
    NO_ROOM = -4
    NO_MEMORY = -5


class Format(enum.IntEnum):
    """Bytes of a pixel, in the order of memory."""

    GRAY = 1
    RGB = 2
    BGR = 3
    RGBX = 4
    BGRX = 5
    CMYK = 6

    @property
    def bytes(self):
        return (0, 1, 3, 3, 4, 4, 4)[self]


class Sampling(enum.IntEnum):
    S444 = 0
    S422 = 1
    S420 = 2
    OTHER = 3


class Mode(enum.IntEnum):
    BASELINE = 0
    PROGRESSIVE = 1
    LOSSLESS = 2


class Color(enum.IntEnum):
    UNKNOWN = 0
    GRAY = 1
    RGB = 2
    YCBCR = 4
    CMYK = 5
    YCCK = 6


class Error(Exception):
    """A refusal: `code` is a Code, `text` one line for a person."""

    def __init__(self, code, text):
        super().__init__(code, text)
        self.code = Code(code)
        self.text = text

    def __str__(self):
        return f"{self.text} ({self.code.name})"


class Layout(ctypes.Structure):
    _fields_ = [
        ("stride", c_int64),
        ("width", c_uint32),
        ("height", c_uint32),
        ("format", c_int32),
        ("reserved", c_int32),
    ]


class InfoRecord(ctypes.Structure):
    _fields_ = [
        ("width", c_uint32),
        ("height", c_uint32),
        ("components", c_int32),
        ("precision", c_int32),
        ("color", c_int32),
        ("sampling", c_int32),
        ("mode", c_int32),
        ("restart_interval", c_int32),
        ("format", c_int32),
        ("reserved", c_int32 * 3),
    ]


class Report(ctypes.Structure):
    _fields_ = [("rows", c_uint32), ("reserved", c_uint32), ("covered", c_double)]


class PlaceRecord(ctypes.Structure):
    _fields_ = [
        ("window", c_uint32),
        ("index", c_int32),
        ("x", c_int32),
        ("y", c_int32),
        ("mark", c_uint8),
        ("reserved", c_uint8 * 7),
    ]


class PacketRecord(ctypes.Structure):
    _fields_ = [
        ("place", PlaceRecord),
        ("width", c_uint32),
        ("height", c_uint32),
        ("left", c_uint32),
        ("top", c_uint32),
        ("columns", c_uint32),
        ("rows", c_uint32),
        ("components", c_int32),
        ("sampling", c_int32),
        ("last", c_int32),
        ("reserved", c_int32),
        ("share", c_double),
    ]


PacketFunction = ctypes.CFUNCTYPE(None, c_void_p, c_void_p, c_size_t)

_FUNCTIONS = {
    "version": (c_int32,),
    "slot": (c_int32,),
    "open": (c_void_p,),
    "close": (None, c_void_p),
    "text": (c_char_p, c_void_p),
    "bound": (c_size_t, c_uint32, c_uint32, c_int32, c_int32),
    "encode": (c_int32, c_void_p, c_void_p, POINTER(Layout), c_int32, c_int32, c_void_p, c_size_t,
               POINTER(c_size_t)),
    "read_info": (c_int32, c_void_p, c_void_p, c_size_t, POINTER(InfoRecord)),
    "decode": (c_int32, c_void_p, c_void_p, c_size_t, c_void_p, POINTER(Layout), POINTER(Report)),
    "encode_packets": (c_int32, c_void_p, c_void_p, POINTER(Layout), c_int32, c_int32,
                       POINTER(PlaceRecord), PacketFunction, c_void_p),
    "read_packet": (c_int32, c_void_p, c_void_p, c_size_t, POINTER(PacketRecord)),
    "decode_packet": (c_int32, c_void_p, c_void_p, c_size_t, c_void_p, POINTER(Layout),
                      POINTER(PacketRecord), POINTER(Report)),
}  # fmt: skip


class Library:
    """The functions of the library without their prefix."""

    def __init__(self, name):
        try:
            loaded = ctypes.CDLL(name)
        except OSError as error:
            raise ImportError(
                f"{name} can't be loaded ({error}): install the library, or put the path of its "
                "file into the environment variable QRX_JPEG_LIBRARY"
            ) from error
        for short, (result, *arguments) in _FUNCTIONS.items():
            try:
                function = getattr(loaded, "qrxc_" + short)
            except AttributeError as error:
                raise ImportError(f"{name} is older than version 1.1") from error
            function.restype = result
            function.argtypes = arguments
            setattr(self, short, function)


library = Library(os.environ.get("QRX_JPEG_LIBRARY") or "libqrx_jpeg.so.1")


def version():
    """The library's version, such as (1, 1, 0)."""
    number = library.version()
    return number // 10000, number // 100 % 100, number % 100


def slot():
    """The dispatch slot that the library chose for this processor, 0 to 6."""
    return library.slot()
