// Dequantisation, inverse DCT, level shift and clamp of one block: the scalar reference.
#ifndef QRX_PRIMITIVES_TRANSFORM_INVERSE_REF_H_
#define QRX_PRIMITIVES_TRANSFORM_INVERSE_REF_H_

#include "primitives/transform/columns.h"
#include "primitives/unaligned.h"

namespace {
namespace scalar {

inline bool isZero(const Ipp16s (&row)[8]) {
  uint64_t halves[2];
  __builtin_memcpy(halves, row, sizeof halves);
  return (halves[0] | halves[1]) == 0;
}

// Row stage, one row in place; its 32-bit sums wrap.
inline void inverseRow(Ipp16s (&row)[8], const RowFactors& factors, uint32_t rounding) {
  if (isZero(row)) {  // most rows of most blocks
    for (Ipp16s& value : row) value = static_cast<Ipp16s>(rounding >> 11);
    return;
  }
  const auto product = [&row](int factor, int i) { return static_cast<uint32_t>(factor * row[i]); };
  const RowFactors& w = factors;
  const uint32_t even04 = product(w.a, 0) + product(w.a, 4) + rounding;
  const uint32_t odd04 = product(w.a, 0) - product(w.a, 4) + rounding;
  const uint32_t even26 = product(w.c2, 2) + product(w.c6, 6);
  const uint32_t odd26 = product(w.c6, 2) - product(w.c2, 6);
  const uint32_t e[4] = {even04 + even26, odd04 + odd26, odd04 - odd26, even04 - even26};
  const uint32_t o[4] = {product(w.c1, 1) + product(w.c3, 3) + product(w.c5, 5) + product(w.c7, 7),
                         product(w.c3, 1) - product(w.c7, 3) - product(w.c1, 5) - product(w.c5, 7),
                         product(w.c5, 1) - product(w.c1, 3) + product(w.c7, 5) + product(w.c3, 7),
                         product(w.c7, 1) - product(w.c5, 3) + product(w.c3, 5) - product(w.c1, 7)};
  for (int j = 0; j < 4; ++j) {
    row[j] = clampTo16s(static_cast<int32_t>(e[j] + o[j]) >> 11);
    row[7 - j] = clampTo16s(static_cast<int32_t>(e[j] - o[j]) >> 11);
  }
}

// Whether plain sums serve: no value of the column stage exceeds 1.67 times the sum of its column's
// magnitudes. Those are summed here in units of 8.
inline bool sumsStayIn16Bits(const Ipp16s (&x)[8][8]) {
  constexpr int kLimit = (19000 - 8 * 8) / 8;
  Ipp16u sums[8] = {};
  for (int row = 0; row < 8; ++row) {
    for (int i = 0; i < 8; ++i) {
      const auto magnitude = static_cast<Ipp16s>(x[row][i] ^ (x[row][i] >> 15));
      sums[i] = static_cast<Ipp16u>(sums[i] + (magnitude >> 3));
    }
  }
  Ipp16u largest = 0;
  for (const Ipp16u sum : sums) largest = sum > largest ? sum : largest;
  return largest <= kLimit;
}

struct Range {
  int level, low, high;
};

inline void inverseTransform(Ipp16s (&block)[8][8], Ipp8u* pDst, int dstStep, const Range& range) {
  for (int j = 0; j < 8; ++j) inverseRow(block[j], kRowFactors[j], kRowRounding[j]);
  if (sumsStayIn16Bits(block)) {
    eachColumn<PlainLanes>(block, [](PlainLanes::Value* x) { inverseColumns<PlainLanes>(x); });
  } else {
    eachColumn<SaturatingLanes>(
        block, [](SaturatingLanes::Value* x) { inverseColumns<SaturatingLanes>(x); });
  }
  for (int j = 0; j < 8; ++j) {
    Ipp8u* row = rowAt(pDst, j, dstStep);
    for (int i = 0; i < 8; ++i) {
      const int sample = (block[j][i] >> 6) + range.level;
      row[i] = static_cast<Ipp8u>(sample < range.low    ? range.low
                                  : sample > range.high ? range.high
                                                        : sample);
    }
  }
}

inline void inverseBlock(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                         const Ipp16u* pQuantInvTable) {
  Ipp16s block[8][8];
  for (int j = 0; j < 8; ++j) {
    for (int i = 0; i < 8; ++i) {
      const int product = load(pSrc + 8 * j + i) * load(pQuantInvTable + 8 * j + i);
      block[j][i] = static_cast<Ipp16s>(product);
    }
  }
  inverseTransform(block, pDst, dstStep, {128, 0, 255});
}

}  // namespace scalar
}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_INVERSE_REF_H_
