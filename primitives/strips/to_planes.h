// Pixels of a strip to planes: colour, reduction of chroma and padding in one pass over its lines.
#ifndef QRX_PRIMITIVES_STRIPS_TO_PLANES_H_
#define QRX_PRIMITIVES_STRIPS_TO_PLANES_H_

#include "primitives/colour/colour_simd.h"
#include "primitives/sampling/sampling_simd.h"
#include "primitives/strips/planes.h"

namespace {
namespace strips {

// Full-size chroma is worked in pieces that stay in the nearest cache.
constexpr int kPiece = 512;
constexpr int kMostPadding = 32;  // two MCUs less a pixel

// A piece of a line: `width` pixels, of which the first `inBlocks` lie in whole blocks, and padding
// up to `padded`.
struct Piece {
  const Ipp8u* pixels;
  int inBlocks, width, padded;
};

template <int kRed, int kBytes>
void convertPixels(const Piece& piece, Ipp8u* y, Ipp8u* cb, Ipp8u* cr) {
  simd::forwardRow<kRed, kBytes>(piece.pixels, y, cb, cr, piece.inBlocks, piece.width);
}

using ConvertPixels = void (*)(const Piece& piece, Ipp8u* y, Ipp8u* cb, Ipp8u* cr);

inline ConvertPixels converterOf(const PixelFormat& format) {
  if (format.bytes == 3) return format.red == 0 ? convertPixels<0, 3> : convertPixels<2, 3>;
  return format.red == 0 ? convertPixels<0, 4> : convertPixels<2, 4>;
}

// Converts a piece and repeats its last pixel.
inline void convertPiece(ConvertPixels convert, const Piece& piece, Ipp8u* y, Ipp8u* cb,
                         Ipp8u* cr) {
  convert(piece, y, cb, cr);
  if (piece.padded == piece.width) return;
  Ipp8u* const lines[] = {y, cb, cr};
  for (Ipp8u* line : lines) {
    const auto padding = static_cast<size_t>(piece.padded - piece.width);
    __builtin_memset(line + piece.width, line[piece.width - 1], padding);
  }
}

template <int kAcross, int kDown>
inline void fillPlanes(const PixelsIn& in, int mcus, const Planes& planes) {
  const ConvertPixels convert = converterOf(in.format);
  const int inBlocks = pixelsInForwardBlocks(in.width);
  const int padded = 8 * kAcross * (mcus + mcus % 2);
  alignas(32) Ipp8u full[2][kDown][kPiece + kMostPadding];  // chroma before reduction
  for (int line = 0; line < 8 * kDown; line += kDown) {
    for (int x = 0; x < in.width; x += kPiece) {
      const bool isLast = x + kPiece >= in.width;
      const int width = isLast ? in.width - x : kPiece;
      const int blocks = inBlocks - x < width ? inBlocks - x : width;
      Piece piece = {nullptr, blocks > 0 ? blocks : 0, width, isLast ? padded - x : kPiece};
      for (int d = 0; d < kDown; ++d) {
        // Below the image its last line is repeated.
        const int source = line + d < in.lines ? line + d : in.lines - 1;
        piece.pixels = in.pixels + ptrdiff_t{source} * in.step + ptrdiff_t{in.format.bytes} * x;
        Ipp8u* y = lineOf(planes, 0, line + d) + x;
        if constexpr (kAcross == 1) {
          convertPiece(convert, piece, y, lineOf(planes, 1, line) + x, lineOf(planes, 2, line) + x);
        } else {
          convertPiece(convert, piece, y, full[0][d], full[1][d]);
        }
      }
      for (int i = 1; i < kComponents && kAcross == 2; ++i) {
        Ipp8u* reduced = lineOf(planes, i, line / kDown) + x / 2;
        if constexpr (kDown == 2) {
          simd::downH2V2Row(full[i - 1][0], full[i - 1][1], reduced, piece.padded / 2);
        } else {
          simd::downH2V1Row(full[i - 1][0], reduced, piece.padded / 2);
        }
      }
    }
  }
}

void toPlanes(const PixelsIn& in, Layout layout, int mcus, const Planes& planes) {
  if (layout.across == 1) {
    fillPlanes<1, 1>(in, mcus, planes);
  } else if (layout.down == 1) {
    fillPlanes<2, 1>(in, mcus, planes);
  } else {
    fillPlanes<2, 2>(in, mcus, planes);
  }
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_TO_PLANES_H_
