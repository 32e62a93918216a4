"""Memory of other objects, looked at where it is."""

import ctypes
from contextlib import contextmanager

from ._library import Code, Error, Format, Layout

_WRITABLE, _FORMAT, _STRIDES = 0x0001, 0x0004, 0x0018  # of the buffer protocol (PyBUF_...)


class _Buffer(ctypes.Structure):
    _fields_ = [
        ("buf", ctypes.c_void_p),
        ("obj", ctypes.c_void_p),
        ("len", ctypes.c_ssize_t),
        ("itemsize", ctypes.c_ssize_t),
        ("readonly", ctypes.c_int),
        ("ndim", ctypes.c_int),
        ("format", ctypes.c_char_p),
        ("shape", ctypes.POINTER(ctypes.c_ssize_t)),
        ("strides", ctypes.POINTER(ctypes.c_ssize_t)),
        ("suboffsets", ctypes.POINTER(ctypes.c_ssize_t)),
        ("internal", ctypes.c_void_p),
    ]


_get = ctypes.pythonapi.PyObject_GetBuffer
_get.restype = ctypes.c_int
_get.argtypes = [ctypes.py_object, ctypes.POINTER(_Buffer), ctypes.c_int]
_release = ctypes.pythonapi.PyBuffer_Release
_release.restype = None
_release.argtypes = [ctypes.POINTER(_Buffer)]


def refuse(text):
    raise Error(Code.BAD_ARGUMENT, text)


def number(value, low, high, name):
    """An int in range: ctypes would cut off the bits that don't fit."""
    value = value.__index__()
    if not low <= value <= high:
        refuse(f"{name} {value} is not {low} to {high}")
    return value


def choice(kind, value, name):
    try:
        return kind(value)
    except ValueError:
        refuse(f"{value!r} is no {name}")


@contextmanager
def _view(thing, flags):
    view = _Buffer()
    _get(thing, view, flags)  # raises TypeError or BufferError itself
    try:
        yield view
    finally:
        _release(view)


@contextmanager
def flat(thing, writable=False):
    """Address and length of memory in one piece."""
    with _view(thing, _WRITABLE if writable else 0) as view:
        yield view.buf, view.len


@contextmanager
def picture(pixels, format=None, size=None, stride=0, writable=False):
    """Address of the upper left pixel, and the layout."""
    with _view(pixels, _STRIDES | _FORMAT | (_WRITABLE if writable else 0)) as view:
        form = (view.format or b"B").lstrip(b"@=<>!|")
        if view.itemsize != 1 or view.ndim < 1 or form not in (b"B", b"c"):
            refuse("the pixels are not unsigned bytes")
        if view.ndim == 1:
            yield _by_numbers(view, format, size, stride)
        else:
            if size is not None or stride != 0:
                refuse("size and stride are for bytes without a shape")
            yield _by_shape(view, format)


def _layout(width, height, format, stride):
    number(width, 1, 0x7FFFFFFF, "width")
    number(height, 1, 0x7FFFFFFF, "height")
    return Layout(stride, width, height, format, 0)


def _by_numbers(view, format, size, stride):
    if format is None or size is None:
        refuse("bytes without a shape need format and size=(width, height)")
    if view.shape[0] > 1 and view.strides[0] != 1:
        refuse("the bytes don't stand side by side")
    width, height = size
    format = choice(Format, format, "pixel format")
    layout = _layout(width, height, format, number(stride, -(2**62), 2**62, "stride"))
    line = layout.width * format.bytes
    step = abs(stride) or line
    if step < line:
        refuse(f"a stride of {stride} bytes for rows of {line}")
    to_last = step * (layout.height - 1)
    if to_last + line > view.len:
        refuse(f"{width} x {height} pixels take {to_last + line} bytes, not {view.len}")
    return view.buf + (to_last if stride < 0 else 0), layout


def _by_shape(view, format):
    shape = view.shape[: view.ndim]
    strides = view.strides[: view.ndim]
    if view.ndim > 3 or min(shape) < 1:
        refuse(f"an array of {tuple(shape)} is no picture")
    height, width, channels = (*shape, 1)[:3]
    if format is None:
        if channels not in (1, 3, 4):
            refuse(f"pixels of {channels} bytes: 1, 3 or 4 can be")
        format = {1: Format.GRAY, 3: Format.RGB, 4: Format.RGBX}[channels]
    format = choice(Format, format, "pixel format")
    if channels != format.bytes:
        refuse(f"pixels of {channels} bytes are not {format.name}")
    # The step of a side of 1 has no meaning, and may be anything.
    side_by_side = (width == 1 or strides[1] == channels) and (
        channels == 1 or strides[2] == 1
    )
    step = strides[0] if height > 1 else width * channels
    if not side_by_side or abs(step) < width * channels:
        refuse("the bytes of a row don't stand side by side, or rows overlap: make a copy first")
    return view.buf, _layout(width, height, format, step)
