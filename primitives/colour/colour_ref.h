// Fixed-point colour arithmetic, and the rule which pixels of a row use which form of it.
#ifndef QRX_PRIMITIVES_COLOUR_COLOUR_REF_H_
#define QRX_PRIMITIVES_COLOUR_COLOUR_REF_H_

#include <stddef.h>

#include "primitives/checks.h"

namespace {

struct YCbCr {
  Ipp8u y, cb, cr;
};

struct Rgb {
  Ipp8u r, g, b;
};

// Forward, 15 fraction bits: the pixels of whole blocks. An offset of 128, which the chroma has,
// is not part of the rounding term.
struct ForwardFactors {
  int red, green, blue, rounding;
};

constexpr ForwardFactors kBlockLuma = {9798, 19235, 3736, 16266};
constexpr ForwardFactors kBlockCb = {-5529, -10855, 16384, 16384};
constexpr ForwardFactors kBlockCr = {16384, -13720, -2664, 16400};

inline int weighed(const ForwardFactors& f, int r, int g, int b) {
  return (f.red * r + f.green * g + f.blue * b + f.rounding) >> 15;
}

inline Ipp8u lumaOfBlock(int r, int g, int b) { return clampTo8u(weighed(kBlockLuma, r, g, b)); }

inline YCbCr forwardOfBlock(int r, int g, int b) {
  return {lumaOfBlock(r, g, b), clampTo8u(weighed(kBlockCb, r, g, b) + 128),
          clampTo8u(weighed(kBlockCr, r, g, b) + 128)};
}

// Forward, 14 fraction bits: the pixels that are left over, and CMYK.
inline YCbCr forwardOfRest(int r, int g, int b) {
  return {clampTo8u((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
          clampTo8u((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
          clampTo8u((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14)};
}

constexpr int kForwardBlock = 8;
inline int pixelsInForwardBlocks(int width) { return width - width % kForwardBlock; }

// Inverse, 14 fraction bits: the pixels of whole blocks.
struct ChromaFactor {
  int factor, rounding;
};

struct GreenFactors {
  int cb, cr, rounding;
};

constexpr ChromaFactor kBlockRed = {22970, -2932015};
constexpr ChromaFactor kBlockBlue = {29032, -3707961};
constexpr GreenFactors kBlockGreen = {-5638, -11700, 2227566};

inline Rgb inverseOfBlock(int y, int cb, int cr) {
  return {clampTo8u(y + ((kBlockRed.factor * cr + kBlockRed.rounding) >> 14)),
          clampTo8u(y + ((kBlockGreen.cb * cb + kBlockGreen.cr * cr + kBlockGreen.rounding) >> 14)),
          clampTo8u(y + ((kBlockBlue.factor * cb + kBlockBlue.rounding) >> 14))};
}

// The same for the way to CMYK, whose rounding terms are its own.
inline Rgb inverseToCmyOfBlock(int y, int cb, int cr) {
  return {clampTo8u(y + ((22970 * cr - 2932015) >> 14)),
          clampTo8u(y - ((5638 * cb + 11700 * cr - 2211182) >> 14)),
          clampTo8u(y + ((29032 * cb - 3708561) >> 14))};
}

struct ChromaTable {
  int entries[256];
  constexpr int operator[](int chroma) const { return entries[chroma]; }
};

constexpr ChromaTable chromaTable(int factor, int rounding, int shift) {
  ChromaTable table{};
  for (int i = 0; i < 256; ++i) table.entries[i] = (factor * (i - 128) + rounding) >> shift;
  return table;
}

constexpr ChromaTable cr_r_tbl = chromaTable(91881, 32768, 16);
constexpr ChromaTable cb_b_tbl = chromaTable(116130, 32768, 16);
constexpr ChromaTable cr_g_tbl = chromaTable(-46802, 0, 0);  // 16 fraction bits
constexpr ChromaTable cb_g_tbl = chromaTable(-22554, 32768, 0);

// Inverse by table: the pixels that are left over.
inline Rgb inverseOfRest(int y, int cb, int cr) {
  return {clampTo8u(y + cr_r_tbl[cr]), clampTo8u(y + ((cb_g_tbl[cb] + cr_g_tbl[cr]) >> 16)),
          clampTo8u(y + cb_b_tbl[cb])};
}

constexpr int kInverseBlock = 4;
inline int pixelsInInverseBlocks(int width) { return width - width % kInverseBlock; }

namespace scalar {

// A row of pixels to planes. kRed is the place of red in a pixel, 0 or 2; kBytes are a pixel's, of
// which a fourth is not read. The first `inBlocks` pixels are those of whole blocks.
template <int kRed, int kBytes>
inline void forwardRow(const Ipp8u* __restrict src, Ipp8u* __restrict y, Ipp8u* __restrict cb,
                       Ipp8u* __restrict cr, int inBlocks, int width) {
  constexpr int kBlue = 2 - kRed;
  const auto convert = [&](ptrdiff_t i, auto&& forward) {
    const Ipp8u* in = src + kBytes * i;
    const YCbCr pixel = forward(in[kRed], in[1], in[kBlue]);
    y[i] = pixel.y;
    cb[i] = pixel.cb;
    cr[i] = pixel.cr;
  };
  ptrdiff_t i = 0;
  for (; i < inBlocks; ++i) convert(i, forwardOfBlock);
  for (; i < width; ++i) convert(i, forwardOfRest);
}

// The way back. A fourth byte is not changed.
template <int kRed, int kBytes>
inline void inverseRow(const Ipp8u* __restrict y, const Ipp8u* __restrict cb,
                       const Ipp8u* __restrict cr, Ipp8u* __restrict dst, int inBlocks, int width) {
  constexpr int kBlue = 2 - kRed;
  const auto convert = [&](ptrdiff_t i, auto&& inverse) {
    const Rgb pixel = inverse(y[i], cb[i], cr[i]);
    Ipp8u* out = dst + kBytes * i;
    out[kRed] = pixel.r;
    out[1] = pixel.g;
    out[kBlue] = pixel.b;
  };
  ptrdiff_t i = 0;
  for (; i < inBlocks; ++i) convert(i, inverseOfBlock);
  for (; i < width; ++i) convert(i, inverseOfRest);
}

}  // namespace scalar
}  // namespace

#endif  // QRX_PRIMITIVES_COLOUR_COLOUR_REF_H_
