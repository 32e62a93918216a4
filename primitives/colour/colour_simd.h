// Colour conversion of rows: whole blocks in vectors, the pixels that are left by the scalar text.
#ifndef QRX_PRIMITIVES_COLOUR_COLOUR_SIMD_H_
#define QRX_PRIMITIVES_COLOUR_COLOUR_SIMD_H_

#include "primitives/colour/colour_ref.h"
#include "primitives/colour/pixels_simd.h"

namespace {
namespace simd {

// Four pixels a half: red and blue in the order of the pixel, and green beside a one.
template <typename Vec>
struct PixelPairs {
  Vec redBlue, greenOne;

  explicit PixelPairs(Vec lanes)
      : redBlue(bitAnd(lanes, Vec::all32(0xFF00FF))),
        greenOne(bitOr(right16<8>(lanes), Vec::all32(0x10000))) {}

  template <int kRed>
  Vec weigh(const ForwardFactors& f) const {
    const Vec redBlueFactors =
        kRed == 0 ? factors<Vec>(f.red, f.blue) : factors<Vec>(f.blue, f.red);
    const Vec sum = add32(pairProducts(redBlue, redBlueFactors),
                          pairProducts(greenOne, factors<Vec>(f.green, f.rounding)));
    return signedRight32<15>(sum);
  }
};

// Of sixteen pixels in each half the four from pixel 4 * kGroup on, each in a lane of 32 bits.
template <int kBytes, int kGroup, typename Vec>
inline PixelPairs<Vec> pixelGroup(const Ipp8u* src) {
  if constexpr (kBytes == 4) {
    const Vec lanes = Vec::loadHalves(src + 16 * kGroup, 64);
    return PixelPairs<Vec>(bitAnd(lanes, Vec::all32(0xFFFFFF)));
  } else if constexpr (kGroup == 3) {
    // Ends with the pixels, to read no byte beyond them.
    return PixelPairs<Vec>(spread<4>(Vec::loadHalves(src + 32, 48)));
  } else {
    return PixelPairs<Vec>(spread<0>(Vec::loadHalves(src + 12 * kGroup, 48)));
  }
}

template <int kRed, int kBytes, typename Vec>
inline void forwardStep(const Ipp8u* src, Ipp8u* y, Ipp8u* cb, Ipp8u* cr) {
  const PixelPairs<Vec> groups[4] = {
      pixelGroup<kBytes, 0, Vec>(src), pixelGroup<kBytes, 1, Vec>(src),
      pixelGroup<kBytes, 2, Vec>(src), pixelGroup<kBytes, 3, Vec>(src)};
  const auto weigh = [&](int first, const ForwardFactors& f) {
    return narrow32(groups[first].template weigh<kRed>(f),
                    groups[first + 1].template weigh<kRed>(f));
  };
  // Chroma saturates before its offset of 128 is added, which leaves the same.
  const auto chroma = [&](const ForwardFactors& f) {
    return bitXor(narrow16(weigh(0, f), weigh(2, f)), Vec::all16(static_cast<short>(0x8080)));
  };
  store(y, clamp16(weigh(0, kBlockLuma), weigh(2, kBlockLuma)));
  store(cb, chroma(kBlockCb));
  store(cr, chroma(kBlockCr));
}

template <int kRed, int kBytes>
inline void forwardRow(const Ipp8u* __restrict src, Ipp8u* __restrict y, Ipp8u* __restrict cb,
                       Ipp8u* __restrict cr, int inBlocks, int width) {
  const ptrdiff_t done = forVectors<1>(inBlocks, [&](ptrdiff_t i, auto vector) {
    forwardStep<kRed, kBytes, decltype(vector)>(src + kBytes * i, y + i, cb + i, cr + i);
  });
  scalar::forwardRow<kRed, kBytes>(src + kBytes * done, y + done, cb + done, cr + done,
                                   inBlocks - static_cast<int>(done),
                                   width - static_cast<int>(done));
}

// What a chroma adds to a colour, by the upper half of one 16-bit product: exact for each of the
// 256 values, with a chroma in the lower byte of a lane and a constant that shifts where the
// product is rounded in the upper one.
struct ChromaProduct {
  int upperByte, factor;  // the factor stands for a fraction, beside a whole chroma
  int offset;             // of the sum of both

  constexpr int sum(int chroma) const {
    const unsigned lane = static_cast<unsigned>(upperByte << 8 | chroma);
    return static_cast<int>(lane + (lane * static_cast<unsigned>(factor) >> 16)) + offset;
  }
};

constexpr bool isExact(const ChromaProduct& product, const ChromaFactor& f) {
  for (int chroma = 0; chroma < 256; ++chroma) {
    if (product.sum(chroma) != (f.factor * chroma + f.rounding) >> 14) return false;
  }
  return true;
}

constexpr ChromaProduct kRedProduct = {9, 26341, -1105 - (9 << 8)};
constexpr ChromaProduct kBlueProduct = {79, 50593, -15839 - (79 << 8)};
static_assert(isExact(kRedProduct, kBlockRed) && isExact(kBlueProduct, kBlockBlue));

// Eight pixels a half in lanes of 16 bits. Chroma has the upper bytes of the products.
template <typename Vec>
struct YCbCrLanes {
  Vec y, cb, cr;

  Vec coloured(Vec chroma, const ChromaProduct& p) const {
    const Vec product = upperProductUnsigned(chroma, Vec::all16(p.factor));
    return add16(add16(y, Vec::all16(p.offset)), add16(chroma, product));
  }

  Vec red() const { return coloured(cr, kRedProduct); }
  Vec blue() const { return coloured(cb, kBlueProduct); }
  Vec green() const {
    const Vec f = factors<Vec>(kBlockGreen.cb, kBlockGreen.cr);
    const Vec rounding =
        Vec::all32(kBlockGreen.rounding - (kBlockGreen.cb * kBlueProduct.upperByte << 8) -
                   (kBlockGreen.cr * kRedProduct.upperByte << 8));
    const auto sum = [&](Vec pairs) {
      return signedRight32<14>(add32(pairProducts(pairs, f), rounding));
    };
    return add16(y, narrow32(sum(interleaveLow16(cb, cr)), sum(interleaveHigh16(cb, cr))));
  }
};

template <int kRed, int kBytes, typename Vec>
inline void inverseStep(const Ipp8u* y, const Ipp8u* cb, const Ipp8u* cr, Ipp8u* dst) {
  const Vec zero = Vec::all16(0);
  const Vec upperCb = Vec::all16(kBlueProduct.upperByte * 0x101);
  const Vec upperCr = Vec::all16(kRedProduct.upperByte * 0x101);
  const Vec y8 = Vec::load(y), cb8 = Vec::load(cb), cr8 = Vec::load(cr);
  const YCbCrLanes<Vec> low = {interleaveLow8(y8, zero), interleaveLow8(cb8, upperCb),
                               interleaveLow8(cr8, upperCr)};
  const YCbCrLanes<Vec> high = {interleaveHigh8(y8, zero), interleaveHigh8(cb8, upperCb),
                                interleaveHigh8(cr8, upperCr)};
  const Vec red = clamp16(low.red(), high.red());
  const Vec green = clamp16(low.green(), high.green());
  const Vec blue = clamp16(low.blue(), high.blue());
  const Triple<Vec> pixels =
      kRed == 0 ? Triple<Vec>{{red, green, blue}} : Triple<Vec>{{blue, green, red}};
  if constexpr (kBytes == 3) {
    storePixels(dst, joinPlanes(pixels));
  } else {
    mergePixels(dst, pixels);
  }
}

// What becomes of pixels that do not fill a vector.
enum class Rest {
  kOneByOne,
  kOverlaps,  // they are converted by a vector that ends with them, others once more
};

template <int kRed, int kBytes, Rest kRest = Rest::kOneByOne>
inline void inverseRow(const Ipp8u* __restrict y, const Ipp8u* __restrict cb,
                       const Ipp8u* __restrict cr, Ipp8u* __restrict dst, int inBlocks, int width) {
  ptrdiff_t done = forVectors<1>(inBlocks, [&](ptrdiff_t i, auto vector) {
    inverseStep<kRed, kBytes, decltype(vector)>(y + i, cb + i, cr + i, dst + kBytes * i);
  });
  if (kRest == Rest::kOverlaps && done < inBlocks && inBlocks >= Vec128::kBytes) {
    const int i = inBlocks - Vec128::kBytes;
    inverseStep<kRed, kBytes, Vec128>(y + i, cb + i, cr + i, dst + kBytes * i);
    done = inBlocks;
  }
  scalar::inverseRow<kRed, kBytes>(y + done, cb + done, cr + done, dst + kBytes * done,
                                   inBlocks - static_cast<int>(done),
                                   width - static_cast<int>(done));
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_COLOUR_COLOUR_SIMD_H_
