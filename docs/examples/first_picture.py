"""A gradient to a JPEG file, by the Python package."""

import numpy

pixels = numpy.zeros((480, 640, 3), numpy.uint8)
pixels[...] = numpy.arange(640)[:, None] // 3
# first picture: begin
import qrx_jpeg

# pixels: a numpy array of (480, 640, 3) bytes, R, G and B
jpeg = qrx_jpeg.encode(pixels, quality=85, sampling=qrx_jpeg.Sampling.S420)
with open("first_picture_py.jpg", "wb") as file:
    file.write(jpeg)

info = qrx_jpeg.read_info(jpeg)
back = qrx_jpeg.decode(jpeg)
print(info.width, "x", info.height, back.pixels.shape, "whole" if back.whole else back.text)
# first picture: end
assert back.whole and abs(back.pixels.astype(int) - pixels).max() < 16
