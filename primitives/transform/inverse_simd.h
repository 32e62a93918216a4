// Dequantisation, inverse DCT, level shift and clamp in vectors: row by row in pairs of products,
// then the eight columns at once in saturating 16-bit lanes.
#ifndef QRX_PRIMITIVES_TRANSFORM_INVERSE_SIMD_H_
#define QRX_PRIMITIVES_TRANSFORM_INVERSE_SIMD_H_

#include "primitives/transform/transform_simd.h"
#include "primitives/unaligned.h"

namespace {
namespace simd {

// Factors of one row: of (w0, w2) and (w4, w6), of (w1, w3) and (w5, w7).
struct InversePairs {
  Pairs even02, even46, odd13, odd57;
};

constexpr InversePairs inversePairs(const RowFactors& w) {
  return {{{pair(w.a, w.c2), pair(w.a, w.c6), pair(w.a, -w.c6), pair(w.a, -w.c2)}},
          {{pair(w.a, w.c6), pair(-w.a, -w.c2), pair(-w.a, w.c2), pair(w.a, -w.c6)}},
          {{pair(w.c1, w.c3), pair(w.c3, -w.c7), pair(w.c5, -w.c1), pair(w.c7, -w.c5)}},
          {{pair(w.c5, w.c7), pair(-w.c1, -w.c5), pair(w.c7, w.c3), pair(w.c3, -w.c1)}}};
}

constexpr PerRow<InversePairs> kInversePairs = perRow(inversePairs);

template <typename Vec>
inline Vec inverseRow(Vec row, const InversePairs& factors, unsigned rounding) {
  row = shuffleHigh16<0xD8>(shuffleLow16<0xD8>(row));  // w0 w2 | w1 w3 | w4 w6 | w5 w7
  const auto sum = [](Vec a, const Pairs& first, Vec b, const Pairs& second) {
    return add32(pairProducts(a, first.template vector<Vec>()),
                 pairProducts(b, second.template vector<Vec>()));
  };
  const Vec even = sum(shuffle32<0x00>(row), factors.even02, shuffle32<0xAA>(row), factors.even46);
  const Vec odd = sum(shuffle32<0x55>(row), factors.odd13, shuffle32<0xFF>(row), factors.odd57);
  const Vec rounded = add32(even, Vec::all32(static_cast<int>(rounding)));
  const Vec left = signedRight32<11>(add32(rounded, odd));
  const Vec right = signedRight32<11>(sub32(rounded, odd));
  return shuffleHigh16<0x1B>(narrow32(left, right));  // the right half comes in reverse
}

// A row of zeros leaves its rounding term.
template <typename Vec>
inline Vec emptyRow(int row) {
  return Vec::all16(static_cast<int>(kRowRounding[row] >> 11));
}

// Coefficients become samples less 128, in place. Of rows from `kRows` on all coefficients are
// zero; they need not be set.
template <int kRows, typename Vec>
inline void inverseTransform(Rows<Vec>* block, const Ipp16u* pQuantInvTable) {
  for (int j = 0; j < 8; ++j) {
    if (j >= kRows) {
      block->row[j] = emptyRow<Vec>(j);
      continue;
    }
    const Vec factors = Vec::repeat(Vec128::load(pQuantInvTable + 8 * j));
    block->row[j] =
        inverseRow(lowerProduct(block->row[j], factors), kInversePairs.row[j], kRowRounding[j]);
  }
  inverseColumns<Lanes<Vec>>(block->row);
  for (Vec& row : block->row) row = signedRight16<6>(row);
}

// Samples less 128 as bytes, two rows in a vector.
template <typename Vec>
inline Vec levelShiftedBack(Vec upper, Vec lower) {
  const Vec level = Vec::all16(128);
  return clamp16(addSaturated16(upper, level), addSaturated16(lower, level));
}

template <typename Vec>
inline bool isZero(Vec v) {
  return ~signs8(equal8(v, Vec::all16(0))) << (32 - sizeof(Vec)) == 0;
}

inline void inverseBlock(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                         const Ipp16u* pQuantInvTable) {
  Rows<Vec128> block;
  for (int j = 0; j < 8; ++j) {
    const Vec128 row =
        lowerProduct(Vec128::load(pSrc + 8 * j), Vec128::load(pQuantInvTable + 8 * j));
    // Most rows of most blocks are zero.
    block.row[j] =
        isZero(row) ? emptyRow<Vec128>(j) : inverseRow(row, kInversePairs.row[j], kRowRounding[j]);
  }
  inverseColumns<Lanes<Vec128>>(block.row);
  for (int j = 0; j < 8; j += 2) {
    const Vec128 bytes =
        levelShiftedBack(signedRight16<6>(block.row[j]), signedRight16<6>(block.row[j + 1]));
    storeLower(rowAt(pDst, j, dstStep), bytes);
    storeUpper(rowAt(pDst, j + 1, dstStep), bytes);
  }
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_INVERSE_SIMD_H_
