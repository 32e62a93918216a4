// Arithmetic of down-sampling (box average) and up-sampling (triangle filter). The filters read
// neighbours of the row unconditionally: margins are the caller's.
#ifndef QRX_PRIMITIVES_SAMPLING_SAMPLING_REF_H_
#define QRX_PRIMITIVES_SAMPLING_SAMPLING_REF_H_

#include <stddef.h>

#include "qrx/primitive_types.h"

namespace {
namespace scalar {

inline void downH2V1Row(const Ipp8u* __restrict src, Ipp8u* __restrict dst, int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    dst[i] = static_cast<Ipp8u>((src[2 * i] + src[2 * i + 1] + 1) >> 1);
  }
}

inline void downH2V2Row(const Ipp8u* __restrict upper, const Ipp8u* __restrict lower,
                        Ipp8u* __restrict dst, int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    const int sum = upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
    dst[i] = static_cast<Ipp8u>((sum + 3) >> 2);
  }
}

// Writes `width` samples; an odd width ends on an even column.
inline void upH2V1Row(const Ipp8u* __restrict src, Ipp8u* __restrict dst, int width) {
  const int pairs = width / 2;
  const auto left = [&](ptrdiff_t i) {
    return static_cast<Ipp8u>((3 * src[i] + src[i - 1] + 1) >> 2);
  };
  for (ptrdiff_t i = 0; i < pairs; ++i) {
    dst[2 * i] = left(i);
    dst[2 * i + 1] = static_cast<Ipp8u>((3 * src[i] + src[i + 1] + 2) >> 2);
  }
  if (width % 2 != 0) dst[width - 1] = left(pairs);
}

// `near` is the source row that covers the destination row, `far` its neighbour on that side.
inline void upH2V2Row(const Ipp8u* __restrict near, const Ipp8u* __restrict far,
                      Ipp8u* __restrict dst, int width) {
  const int pairs = width / 2;
  const auto column = [&](ptrdiff_t i) { return 3 * near[i] + far[i]; };
  const auto left = [&](ptrdiff_t i) {
    return static_cast<Ipp8u>((3 * column(i) + column(i - 1) + 8) >> 4);
  };
  for (ptrdiff_t i = 0; i < pairs; ++i) {
    dst[2 * i] = left(i);
    dst[2 * i + 1] = static_cast<Ipp8u>((3 * column(i) + column(i + 1) + 7) >> 4);
  }
  if (width % 2 != 0) dst[width - 1] = left(pairs);
}

}  // namespace scalar
}  // namespace

#endif  // QRX_PRIMITIVES_SAMPLING_SAMPLING_REF_H_
