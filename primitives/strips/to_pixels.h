// Planes of a strip to pixels: chroma is enlarged a piece of a line at a time, and the piece
// converted while it is in the nearest cache.
#ifndef QRX_PRIMITIVES_STRIPS_TO_PIXELS_H_
#define QRX_PRIMITIVES_STRIPS_TO_PIXELS_H_

#include "primitives/colour/colour_simd.h"
#include "primitives/sampling/sampling_simd.h"
#include "primitives/strips/planes.h"

namespace {
namespace strips {

constexpr int kEnlarged = 512;

struct Line {
  const Ipp8u* y;
  const Ipp8u* cb;
  const Ipp8u* cr;
  Ipp8u* pixels;
  int inBlocks, width;
};

template <int kRed, int kBytes>
void convertLine(const Line& line) {
  simd::inverseRow<kRed, kBytes, simd::Rest::kOverlaps>(line.y, line.cb, line.cr, line.pixels,
                                                        line.inBlocks, line.width);
}

using ConvertLine = void (*)(const Line& line);

inline ConvertLine lineConverterOf(const PixelFormat& format) {
  if (format.bytes == 3) return format.red == 0 ? convertLine<0, 3> : convertLine<2, 3>;
  return format.red == 0 ? convertLine<0, 4> : convertLine<2, 4>;
}

// Enlarged chroma of a piece of line `line` of the strip, from luma column `x` on. What does not
// fill a vector is filled up from what lies behind it.
template <int kDown>
inline void enlarge(const PixelsOut& out, const Planes& planes, int i, int line, int x, Ipp8u* to,
                    int width) {
  constexpr int kSamples = 2 * simd::Vec128::kBytes;
  static_assert(kEnlarged % kSamples == 0 && kSamples / 2 <= kGuard);
  width = (width + kSamples - 1) / kSamples * kSamples;
  const ptrdiff_t step = planes.step[i];
  const Ipp8u* near = lineOf(planes, i, line / kDown) + x / 2;
  if constexpr (kDown == 1) {
    simd::upH2V1Vectors(near, to, width);
  } else {
    // Above stands the line of the strip before; below, where the next strip is not decoded yet,
    // the last line is repeated.
    const Ipp8u* far = line % 2 == 0 ? (line == 0 ? out.above[i] + x / 2 : near - step)
                                     : (line == 15 ? near : near + step);
    simd::upH2V2Vectors(near, far, to, width);
  }
}

template <int kAcross, int kDown>
inline void convertStrip(const PixelsOut& out, const Planes& planes) {
  const ConvertLine convert = lineConverterOf(out.format);
  const int inBlocks = pixelsInInverseBlocks(out.width);
  if constexpr (kAcross == 2) setGuards(planes, out.samples / 2);
  alignas(32) Ipp8u chroma[2][kEnlarged];
  for (int j = 0; j < out.lines; ++j) {
    for (int x = out.first; x < out.last; x += kEnlarged) {
      const int width = out.last - x < kEnlarged ? out.last - x : kEnlarged;
      const auto plane = [&](int i) { return lineOf(planes, i, j) + x; };
      const int blocks = inBlocks - x < width ? inBlocks - x : width;
      Line line = {plane(0),
                   nullptr,
                   nullptr,
                   out.pixels + j * out.step + ptrdiff_t{out.format.bytes} * (x - out.first),
                   blocks > 0 ? blocks : 0,
                   width};
      if constexpr (kAcross == 1) {
        line.cb = plane(1);
        line.cr = plane(2);
      } else {
        enlarge<kDown>(out, planes, 1, j, x, chroma[0], width);
        enlarge<kDown>(out, planes, 2, j, x, chroma[1], width);
        line.cb = chroma[0];
        line.cr = chroma[1];
      }
      convert(line);
    }
  }
}

void toPixels(const PixelsOut& out, Layout layout, const Planes& planes) {
  if (layout.across == 1) {
    convertStrip<1, 1>(out, planes);
  } else if (layout.down == 1) {
    convertStrip<2, 1>(out, planes);
  } else {
    convertStrip<2, 2>(out, planes);
  }
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_TO_PIXELS_H_
