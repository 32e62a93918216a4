// Rows of the sampling in vectors, the samples that are left over by the scalar text.
#ifndef QRX_PRIMITIVES_SAMPLING_SAMPLING_SIMD_H_
#define QRX_PRIMITIVES_SAMPLING_SAMPLING_SIMD_H_

#include "primitives/sampling/sampling_ref.h"
#include "primitives/simd.h"

namespace {
namespace simd {

// Sums of neighbouring bytes.
template <typename Vec>
inline Vec pairSums(Vec bytes) {
#ifdef __SSSE3__
  return bytePairProducts(bytes, Vec::all16(0x0101));
#else
  return add16(bitAnd(bytes, Vec::all16(0xFF)), right16<8>(bytes));
#endif
}

inline void downH2V1Row(const Ipp8u* __restrict src, Ipp8u* __restrict dst, int width) {
  const ptrdiff_t done = forVectors<2>(width, [&](ptrdiff_t i, auto vector) {
    using Vec = decltype(vector);
    storeClamped(dst + i, right16<1>(add16(pairSums(Vec::load(src + 2 * i)), Vec::all16(1))));
  });
  scalar::downH2V1Row(src + 2 * done, dst + done, width - static_cast<int>(done));
}

inline void downH2V2Row(const Ipp8u* __restrict upper, const Ipp8u* __restrict lower,
                        Ipp8u* __restrict dst, int width) {
  const ptrdiff_t done = forVectors<2>(width, [&](ptrdiff_t i, auto vector) {
    using Vec = decltype(vector);
    const Vec sums = add16(pairSums(Vec::load(upper + 2 * i)), pairSums(Vec::load(lower + 2 * i)));
    storeClamped(dst + i, right16<2>(add16(sums, Vec::all16(3))));
  });
  scalar::downH2V2Row(upper + 2 * done, lower + 2 * done, dst + done,
                      width - static_cast<int>(done));
}

// (3 * near + far + 1) / 4 and (3 * near + far + 2) / 4 by averages of bytes.
template <typename Vec>
inline Vec lowerAverage8(Vec a, Vec b) {
  return sub8(average8(a, b), bitAnd(bitXor(a, b), Vec::all16(0x0101)));
}
template <typename Vec>
inline Vec threeToOneDown(Vec near, Vec far) {
  return lowerAverage8(near, average8(near, far));
}
template <typename Vec>
inline Vec threeToOneUp(Vec near, Vec far) {
  return average8(near, lowerAverage8(near, far));
}

// As many whole vectors as fill `width`. Returns how many chroma samples that took.
inline ptrdiff_t upH2V1Vectors(const Ipp8u* __restrict src, Ipp8u* __restrict dst, int width) {
  return forVectors<1>(width / 2, [&](ptrdiff_t i, auto vector) {
    using Vec = decltype(vector);
    const Vec near = Vec::load(src + i);
    const Vec left = threeToOneDown(near, Vec::load(src + i - 1));
    const Vec right = threeToOneUp(near, Vec::load(src + i + 1));
    storeInterleaved(dst + 2 * i, interleaveLow8(left, right), interleaveHigh8(left, right));
  });
}

inline void upH2V1Row(const Ipp8u* __restrict src, Ipp8u* __restrict dst, int width) {
  const ptrdiff_t done = upH2V1Vectors(src, dst, width);
  scalar::upH2V1Row(src + done, dst + 2 * done, width - 2 * static_cast<int>(done));
}

// 3 * near + far of bytes that were interleaved.
template <typename Vec>
inline Vec threeToOneSums(Vec nearFar) {
#ifdef __SSSE3__
  return bytePairProducts(nearFar, Vec::all16(0x0103));
#else
  const Vec near = bitAnd(nearFar, Vec::all16(0xFF));
  return add16(add16(near, near), add16(near, right16<8>(nearFar)));
#endif
}

// Three times that.
template <typename Vec>
inline Vec nineToThreeSums(Vec nearFar) {
#ifdef __SSSE3__
  return bytePairProducts(nearFar, Vec::all16(0x0309));
#else
  const Vec sums = threeToOneSums(nearFar);
  return add16(sums, add16(sums, sums));
#endif
}

inline ptrdiff_t upH2V2Vectors(const Ipp8u* __restrict near, const Ipp8u* __restrict far,
                               Ipp8u* __restrict dst, int width) {
  return forVectors<1>(width / 2, [&](ptrdiff_t i, auto vector) {
    using Vec = decltype(vector);
    const Vec near0 = Vec::load(near + i), far0 = Vec::load(far + i);
    const Vec nearL = Vec::load(near + i - 1), farL = Vec::load(far + i - 1);
    const Vec nearR = Vec::load(near + i + 1), farR = Vec::load(far + i + 1);
    const auto words = [&](auto interleave) {
      const Vec columnL = threeToOneSums(interleave(nearL, farL));
      const Vec columnR = threeToOneSums(interleave(nearR, farR));
      const Vec three = nineToThreeSums(interleave(near0, far0));
      const Vec left = right16<4>(add16(three, add16(columnL, Vec::all16(8))));
      const Vec right = right16<4>(add16(three, add16(columnR, Vec::all16(7))));
      return bitOr(left, left16<8>(right));
    };
    storeInterleaved(dst + 2 * i, words([](Vec a, Vec b) { return interleaveLow8(a, b); }),
                     words([](Vec a, Vec b) { return interleaveHigh8(a, b); }));
  });
}

inline void upH2V2Row(const Ipp8u* __restrict near, const Ipp8u* __restrict far,
                      Ipp8u* __restrict dst, int width) {
  const ptrdiff_t done = upH2V2Vectors(near, far, dst, width);
  scalar::upH2V2Row(near + done, far + done, dst + 2 * done, width - 2 * static_cast<int>(done));
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_SAMPLING_SAMPLING_SIMD_H_
