// Planes of a strip to pixels: chroma is enlarged a piece at a time, and the piece converted while
// it is in the nearest cache.
#ifndef QRX_PRIMITIVES_STRIPS_TO_PIXELS_H_
#define QRX_PRIMITIVES_STRIPS_TO_PIXELS_H_

#include "primitives/colour/colour_simd.h"
#include "primitives/sampling/sampling_simd.h"
#include "primitives/strips/planes.h"

namespace {
namespace strips {

// What is enlarged, then converted. Where the lines of the destination run on into each other, the
// processor foresees the memory behind best by whole lines; pieces of lines that lie apart arrive
// sooner by some lines in turn, and so do lines that are converted as fast as memory allows.
struct Extent {
  int columns, lines;
};
constexpr Extent kOfOneLine = {512, 1};
constexpr Extent kOfSomeLines = {128, 4};
constexpr Extent kNotEnlarged = {128, 8};
constexpr int kEnlarged = 512;  // samples
static_assert(kOfOneLine.columns * kOfOneLine.lines == kEnlarged);
static_assert(kOfSomeLines.columns * kOfSomeLines.lines == kEnlarged);

inline Extent extentFor(const PixelsOut& out) {
  const ptrdiff_t step = out.step < 0 ? -out.step : out.step;
  const ptrdiff_t bytes = ptrdiff_t{out.format.bytes} * (out.last - out.first);
  return step - bytes > bytes / 4 ? kOfSomeLines : kOfOneLine;
}

inline int lesser(int a, int b) { return a < b ? a : b; }

// Where the samples of some lines stand, and where their pixels go.
struct Lines {
  const Ipp8u* y;
  const Ipp8u* cb;
  const Ipp8u* cr;
  int yStep, cbStep, crStep;
  Ipp8u* pixels;
  ptrdiff_t step;
  int count, inBlocks, width;
};

template <int kRed, int kBytes>
void convertLines(const Lines& lines) {
  for (int j = 0; j < lines.count; ++j) {
    const auto down = [&](const Ipp8u* samples, int step) { return samples + ptrdiff_t{j} * step; };
    simd::inverseRow<kRed, kBytes, simd::Rest::kOverlaps>(
        down(lines.y, lines.yStep), down(lines.cb, lines.cbStep), down(lines.cr, lines.crStep),
        lines.pixels + j * lines.step, lines.inBlocks, lines.width);
  }
}

using ConvertLines = void (*)(const Lines& lines);

inline ConvertLines lineConverterOf(const PixelFormat& format) {
  if (format.bytes == 3) return format.red == 0 ? convertLines<0, 3> : convertLines<2, 3>;
  return format.red == 0 ? convertLines<0, 4> : convertLines<2, 4>;
}

// Enlarged chroma of a piece of line `line` of the strip, from luma column `x` on. What does not
// fill a vector is filled up from what lies behind it.
template <int kDown>
inline void enlarge(const PixelsOut& out, const Planes& planes, int i, int line, int x, Ipp8u* to,
                    int width) {
  constexpr int kSamples = 2 * simd::Vec128::kBytes;
  static_assert(kOfOneLine.columns % kSamples == 0 && kOfSomeLines.columns % kSamples == 0);
  static_assert(kSamples / 2 <= kGuard);
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
  const ConvertLines convert = lineConverterOf(out.format);
  const int inBlocks = pixelsInInverseBlocks(out.width);
  if constexpr (kAcross == 2) setGuards(planes, out.samples / 2);
  const Extent piece = kAcross == 1 ? kNotEnlarged : extentFor(out);
  alignas(32) Ipp8u chroma[2][kEnlarged];
  for (int j = 0; j < out.lines; j += piece.lines) {
    for (int x = out.first; x < out.last; x += piece.columns) {
      Lines lines = {};
      lines.count = lesser(out.lines - j, piece.lines);
      lines.width = lesser(out.last - x, piece.columns);
      lines.inBlocks = lesser(inBlocks - x, lines.width);
      if (lines.inBlocks < 0) lines.inBlocks = 0;
      lines.y = lineOf(planes, 0, j) + x;
      lines.yStep = planes.step[0];
      lines.pixels = out.pixels + j * out.step + ptrdiff_t{out.format.bytes} * (x - out.first);
      lines.step = out.step;
      if constexpr (kAcross == 1) {
        lines.cb = lineOf(planes, 1, j) + x;
        lines.cr = lineOf(planes, 2, j) + x;
        lines.cbStep = planes.step[1];
        lines.crStep = planes.step[2];
      } else {
        for (int i = 0; i < 2; ++i) {
          for (int k = 0; k < lines.count; ++k) {
            enlarge<kDown>(out, planes, i + 1, j + k, x, chroma[i] + k * piece.columns,
                           lines.width);
          }
        }
        lines.cb = chroma[0];
        lines.cr = chroma[1];
        lines.cbStep = lines.crStep = piece.columns;
      }
      convert(lines);
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
