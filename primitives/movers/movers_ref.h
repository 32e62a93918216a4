// Row and vector kernels of the data movers.
#ifndef QRX_PRIMITIVES_MOVERS_MOVERS_REF_H_
#define QRX_PRIMITIVES_MOVERS_MOVERS_REF_H_

#include "primitives/checks.h"
#include "primitives/unaligned.h"

namespace {

// Interleaved pixels of kSrc channels to kDst channels: the first three bytes of each. A fourth
// destination byte is not touched.
template <int kSrc, int kDst>
inline void copyColourRow(const Ipp8u* __restrict src, Ipp8u* __restrict dst, int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    if constexpr (kDst == 4) {
      __builtin_memcpy(dst + 4 * i, src + kSrc * i, 2);  // two stores, the fewest that will do
      dst[4 * i + 2] = src[kSrc * i + 2];
    } else {
      for (int c = 0; c < 3; ++c) dst[3 * i + c] = src[kSrc * i + c];
    }
  }
}

// Interleaved to planes; p3 is not looked at when there are three.
template <int kChannels>
inline void splitRow(const Ipp8u* __restrict src, Ipp8u* __restrict p0, Ipp8u* __restrict p1,
                     Ipp8u* __restrict p2, Ipp8u* __restrict p3, int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    p0[i] = src[kChannels * i];
    p1[i] = src[kChannels * i + 1];
    p2[i] = src[kChannels * i + 2];
    if constexpr (kChannels == 4) p3[i] = src[4 * i + 3];
  }
}

// Planes to interleaved, likewise.
template <int kChannels>
inline void joinRow(const Ipp8u* __restrict p0, const Ipp8u* __restrict p1,
                    const Ipp8u* __restrict p2, const Ipp8u* __restrict p3, Ipp8u* __restrict dst,
                    int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    dst[kChannels * i] = p0[i];
    dst[kChannels * i + 1] = p1[i];
    dst[kChannels * i + 2] = p2[i];
    if constexpr (kChannels == 4) dst[4 * i + 3] = p3[i];
  }
}

template <typename Wide>
inline void widenRow(const Ipp8u* __restrict src, Wide* __restrict dst, int width) {
  for (int i = 0; i < width; ++i) store(dst + i, src[i]);
}

inline void narrowRow(const Ipp16s* __restrict src, Ipp8u* __restrict dst, int width) {
  for (int i = 0; i < width; ++i) dst[i] = clampTo8u(load(src + i));
}

// value / divisor to the nearest integer, ties to even; 65535 for a zero divisor, unless the
// value is 0 as well.
inline Ipp16u divideRounded(unsigned value, unsigned divisor) {
  if (value == 0) return 0;
  if (divisor == 0) return 65535;
  unsigned quotient = value / divisor;
  const unsigned twice = 2 * (value % divisor);
  if (twice > divisor || (twice == divisor && quotient % 2 != 0)) ++quotient;
  return static_cast<Ipp16u>(quotient);
}

}  // namespace

#endif  // QRX_PRIMITIVES_MOVERS_MOVERS_REF_H_
