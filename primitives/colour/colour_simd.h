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

// A factor for 16-bit products that round halves up. The rounding term of the definition is a
// little lower, which makes a difference for one chroma: its result is too high by one.
struct RoundedFactor {
  int factor;
  int tooHigh;  // the chroma, less 128

  constexpr int product(int chroma) const {
    return ((factor * 2 * chroma + 16384) >> 15) - (chroma == tooHigh ? 1 : 0);
  }
};

constexpr int exactProduct(const ChromaFactor& f, int chroma) {
  return (f.factor * (chroma + 128) + f.rounding) >> 14;
}

constexpr bool sameProducts(const ChromaFactor& f, const RoundedFactor& rounded) {
  for (int chroma = -128; chroma < 128; ++chroma) {
    if (rounded.product(chroma) != exactProduct(f, chroma)) return false;
  }
  return true;
}

constexpr RoundedFactor kRoundedRed = {kBlockRed.factor, 51};
constexpr RoundedFactor kRoundedBlue = {kBlockBlue.factor, -125};
static_assert(sameProducts(kBlockRed, kRoundedRed) && sameProducts(kBlockBlue, kRoundedBlue));

// Eight pixels a half in lanes of 16 bits. The chroma is less 128 and doubled, so that products
// have 15 fraction bits.
template <typename Vec>
struct YCbCrLanes {
  Vec y, cb, cr;

  static Vec product(Vec chroma, const RoundedFactor& f) {
    const Vec factor = Vec::all16(f.factor);
#ifdef __SSSE3__
    const Vec rounded = roundedProduct(chroma, factor);
#else
    const Vec twice = upperProduct(left16<2>(chroma), factor);
    const Vec rounded = signedRight16<1>(add16(twice, Vec::all16(1)));
#endif
    return add16(rounded, equal16(chroma, Vec::all16(2 * f.tooHigh)));  // equal is -1
  }

  Vec red() const { return add16(y, product(cr, kRoundedRed)); }
  Vec blue() const { return add16(y, product(cb, kRoundedBlue)); }
  Vec green() const {
    const Vec f = factors<Vec>(kBlockGreen.cb, kBlockGreen.cr);
    const Vec rounding =
        Vec::all32(2 * (kBlockGreen.rounding + 128 * (kBlockGreen.cb + kBlockGreen.cr)));
    const auto sum = [&](Vec pairs) {
      return signedRight32<15>(add32(pairProducts(pairs, f), rounding));
    };
    return add16(y, narrow32(sum(interleaveLow16(cb, cr)), sum(interleaveHigh16(cb, cr))));
  }
};

template <int kRed, int kBytes, typename Vec>
inline void inverseStep(const Ipp8u* y, const Ipp8u* cb, const Ipp8u* cr, Ipp8u* dst) {
  const Vec zero = Vec::all16(0);
  const Vec luma = Vec::load(y);
  const auto centred = [](const Ipp8u* chroma) {
    return bitXor(Vec::load(chroma), Vec::all16(0x8080));
  };
  const Vec centredCb = centred(cb);
  const Vec centredCr = centred(cr);
  const YCbCrLanes<Vec> low = {interleaveLow8(luma, zero),
                               signedRight16<7>(interleaveLow8(zero, centredCb)),
                               signedRight16<7>(interleaveLow8(zero, centredCr))};
  const YCbCrLanes<Vec> high = {interleaveHigh8(luma, zero),
                                signedRight16<7>(interleaveHigh8(zero, centredCb)),
                                signedRight16<7>(interleaveHigh8(zero, centredCr))};
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
