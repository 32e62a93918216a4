// The transforms in 128-bit vectors, for every form: a register holds one row of the block. All
// eight columns of the column stage run at once in saturating 16-bit lanes; a row of the row stage
// is four pairs of products in 32-bit lanes.
#ifndef QRX_PRIMITIVES_TRANSFORM_TRANSFORM_SIMD_H_
#define QRX_PRIMITIVES_TRANSFORM_TRANSFORM_SIMD_H_

#include <emmintrin.h>

#include "primitives/transform/transform_ref.h"
#include "primitives/unaligned.h"

namespace {
namespace simd {

// Eight rows of eight 16-bit values.
struct Rows {
  __m128i row[8];
};

inline __m128i all(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
inline __m128i add(__m128i a, __m128i b) { return _mm_adds_epi16(a, b); }
inline __m128i sub(__m128i a, __m128i b) { return _mm_subs_epi16(a, b); }
inline __m128i high(int c, __m128i a) { return _mm_mulhi_epi16(all(c), a); }
inline __m128i odd(__m128i a) { return _mm_or_si128(a, all(1)); }

inline __m128i loadRow(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void storeRow(void* p, __m128i row) { _mm_storeu_si128(static_cast<__m128i*>(p), row); }

// Four pairs of 16-bit factors, for _mm_madd_epi16 with a pair of values in all lanes.
constexpr int pair(int first, int second) {
  return static_cast<int>((static_cast<unsigned>(first) & 0xFFFF) | static_cast<unsigned>(second)
                                                                        << 16);
}

struct alignas(16) Pairs {
  int lane[4];
  __m128i vector() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(lane)); }
};

// Factors of one row of the forward row stage: of (s0, s1) and (s2, s3) for the even outputs, of
// (d0, d1) and (d2, d3) for the odd ones.
struct ForwardPairs {
  Pairs even01, even23, odd01, odd23;
};

constexpr ForwardPairs forwardPairs(const RowFactors& w) {
  return {{{pair(w.a, w.a), pair(w.c2, w.c6), pair(w.a, -w.a), pair(w.c6, -w.c2)}},
          {{pair(w.a, w.a), pair(-w.c6, -w.c2), pair(-w.a, w.a), pair(w.c2, -w.c6)}},
          {{pair(w.c1, w.c3), pair(w.c3, -w.c7), pair(w.c5, -w.c1), pair(w.c7, -w.c5)}},
          {{pair(w.c5, w.c7), pair(-w.c1, -w.c5), pair(w.c7, w.c3), pair(w.c3, -w.c1)}}};
}

// The same for the inverse row stage: of (w0, w2) and (w4, w6), of (w1, w3) and (w5, w7).
struct InversePairs {
  Pairs even02, even46, odd13, odd57;
};

constexpr InversePairs inversePairs(const RowFactors& w) {
  return {{{pair(w.a, w.c2), pair(w.a, w.c6), pair(w.a, -w.c6), pair(w.a, -w.c2)}},
          {{pair(w.a, w.c6), pair(-w.a, -w.c2), pair(-w.a, w.c2), pair(w.a, -w.c6)}},
          {{pair(w.c1, w.c3), pair(w.c3, -w.c7), pair(w.c5, -w.c1), pair(w.c7, -w.c5)}},
          {{pair(w.c5, w.c7), pair(-w.c1, -w.c5), pair(w.c7, w.c3), pair(w.c3, -w.c1)}}};
}

template <typename PairsOfRow>
struct PerRow {
  PairsOfRow row[8];
};

template <typename PairsOfRow>
constexpr PerRow<PairsOfRow> perRow(PairsOfRow (*make)(const RowFactors&)) {
  PerRow<PairsOfRow> result = {};
  for (int i = 0; i < 8; ++i) result.row[i] = make(kRowFactors[i]);
  return result;
}

constexpr PerRow<ForwardPairs> kForwardPairs = perRow(forwardPairs);
constexpr PerRow<InversePairs> kInversePairs = perRow(inversePairs);

inline void forwardColumns(Rows* block) {
  __m128i* x = block->row;
  const __m128i sum16 = _mm_slli_epi16(add(x[1], x[6]), 3);
  const __m128i sum25 = _mm_slli_epi16(add(x[2], x[5]), 3);
  const __m128i p = add(x[0], x[7]);
  const __m128i q = add(x[3], x[4]);
  const __m128i diff16 = _mm_slli_epi16(sub(x[1], x[6]), 4);
  const __m128i diff25 = _mm_slli_epi16(sub(x[2], x[5]), 4);
  const __m128i g = _mm_slli_epi16(sub(x[3], x[4]), 3);
  const __m128i j = _mm_slli_epi16(sub(x[0], x[7]), 3);

  const __m128i a = sub(sum16, sum25);
  const __m128i b = add(sum16, sum25);
  const __m128i c = _mm_slli_epi16(sub(p, q), 3);
  const __m128i d = _mm_slli_epi16(add(p, q), 3);
  x[0] = add(d, b);
  x[4] = sub(d, b);
  x[2] = odd(add(high(kTan2, a), c));
  x[6] = odd(sub(high(kTan2, c), a));

  const __m128i e = odd(high(kCos4, add(diff16, diff25)));
  const __m128i f = high(kCos4, sub(diff16, diff25));
  const __m128i h = add(g, f);
  const __m128i k = sub(g, f);
  const __m128i m = sub(j, e);
  const __m128i l = add(j, e);
  x[1] = odd(add(high(kTan1, h), l));
  x[7] = sub(high(kTan1, l), h);
  x[3] = sub(m, add(high(kTan3, k), k));
  x[5] = add(add(high(kTan3, m), m), k);
}

inline __m128i forwardRow(__m128i row, const ForwardPairs& factors) {
  // The right half in reverse, so that sums and differences of opposite values are lanes 0 to 3.
  const __m128i right = _mm_shufflelo_epi16(_mm_srli_si128(row, 8), _MM_SHUFFLE(0, 1, 2, 3));
  const __m128i s = add(row, right);
  const __m128i d = sub(row, right);
  const auto output = [](__m128i values, const Pairs& first, const Pairs& second) {
    const __m128i v01 = _mm_shuffle_epi32(values, _MM_SHUFFLE(0, 0, 0, 0));
    const __m128i v23 = _mm_shuffle_epi32(values, _MM_SHUFFLE(1, 1, 1, 1));
    const __m128i sum =
        _mm_add_epi32(_mm_madd_epi16(v01, first.vector()), _mm_madd_epi16(v23, second.vector()));
    return _mm_srai_epi32(_mm_add_epi32(sum, _mm_set1_epi32(524288)), 20);
  };
  const __m128i even = output(s, factors.even01, factors.even23);
  const __m128i odds = output(d, factors.odd01, factors.odd23);
  const __m128i packed = _mm_packs_epi32(even, odds);  // z0 z2 z4 z6 z1 z3 z5 z7
  return _mm_unpacklo_epi16(packed, _mm_srli_si128(packed, 8));
}

// Products with 15 fraction bits, rounded to the nearest integer, ties to even. The multiplier is
// unsigned: where its top bit is set, the signed product lacks one coefficient in its upper half.
inline __m128i quantise(__m128i coefficient, __m128i multiplier) {
  const __m128i low = _mm_mullo_epi16(coefficient, multiplier);
  const __m128i missing = _mm_and_si128(coefficient, _mm_srai_epi16(multiplier, 15));
  const __m128i upper = _mm_add_epi16(_mm_mulhi_epi16(coefficient, multiplier), missing);
  const auto round = [](__m128i product) {
    const __m128i tie = _mm_and_si128(_mm_srli_epi32(product, 15), _mm_set1_epi32(1));
    const __m128i sum = _mm_add_epi32(_mm_add_epi32(product, _mm_set1_epi32(16383)), tie);
    return _mm_srai_epi32(sum, 15);
  };
  return _mm_packs_epi32(round(_mm_unpacklo_epi16(low, upper)),
                         round(_mm_unpackhi_epi16(low, upper)));
}

inline void forwardBlock(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst,
                         const Ipp16u* pQuantFwdTable) {
  Rows block;
  for (int j = 0; j < 8; ++j) {
    const void* samples = rowAt(pSrc, j, srcStep);
    const __m128i bytes = _mm_loadl_epi64(static_cast<const __m128i*>(samples));
    block.row[j] = _mm_sub_epi16(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()), all(128));
  }
  forwardColumns(&block);
  for (int j = 0; j < 8; ++j) {
    const __m128i row = forwardRow(block.row[j], kForwardPairs.row[j]);
    const void* multipliers = pQuantFwdTable + 8 * j;
    void* target = pDst + 8 * j;
    storeRow(target, quantise(row, loadRow(multipliers)));
  }
}

inline bool isZero(__m128i v) {
  return _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) == 0xFFFF;
}

inline __m128i inverseRow(__m128i row, const InversePairs& factors, unsigned rounding) {
  // w0 w2 | w1 w3 | w4 w6 | w5 w7
  row = _mm_shufflelo_epi16(row, _MM_SHUFFLE(3, 1, 2, 0));
  row = _mm_shufflehi_epi16(row, _MM_SHUFFLE(3, 1, 2, 0));
  const __m128i w02 = _mm_shuffle_epi32(row, _MM_SHUFFLE(0, 0, 0, 0));
  const __m128i w13 = _mm_shuffle_epi32(row, _MM_SHUFFLE(1, 1, 1, 1));
  const __m128i w46 = _mm_shuffle_epi32(row, _MM_SHUFFLE(2, 2, 2, 2));
  const __m128i w57 = _mm_shuffle_epi32(row, _MM_SHUFFLE(3, 3, 3, 3));
  const __m128i even = _mm_add_epi32(_mm_madd_epi16(w02, factors.even02.vector()),
                                     _mm_madd_epi16(w46, factors.even46.vector()));
  const __m128i odds = _mm_add_epi32(_mm_madd_epi16(w13, factors.odd13.vector()),
                                     _mm_madd_epi16(w57, factors.odd57.vector()));
  const __m128i rounded = _mm_add_epi32(even, _mm_set1_epi32(static_cast<int>(rounding)));
  const __m128i left = _mm_srai_epi32(_mm_add_epi32(rounded, odds), 11);
  const __m128i right = _mm_srai_epi32(_mm_sub_epi32(rounded, odds), 11);
  return _mm_packs_epi32(left, _mm_shuffle_epi32(right, _MM_SHUFFLE(0, 1, 2, 3)));
}

inline void inverseColumns(Rows* block) {
  __m128i* x = block->row;
  const __m128i a = add(add(high(kTan3, x[5]), x[5]), x[3]);
  const __m128i b = add(high(kTan3, x[3]), x[3]);
  const __m128i c = sub(x[5], b);
  const __m128i d = sub(high(kTan1, x[1]), x[7]);
  const __m128i e = add(high(kTan1, x[7]), x[1]);
  const __m128i f = add(a, e);
  const __m128i g = sub(e, a);
  const __m128i h = add(high(kTan2, x[6]), x[2]);
  const __m128i i = sub(high(kTan2, x[2]), x[6]);
  const __m128i j = sub(d, c);
  const __m128i k = add(d, c);
  const __m128i l = add(g, j);
  const __m128i m = sub(g, j);
  const __m128i o = add(l, high(kCos4m1, l));
  const __m128i r = add(high(kCos4m1, m), m);
  const __m128i p = add(x[4], x[0]);
  const __m128i q = sub(x[0], x[4]);
  const __m128i s = add(p, h);
  const __m128i t = sub(p, h);
  const __m128i u = add(q, i);
  const __m128i v = sub(q, i);
  x[0] = add(f, s);
  x[1] = add(u, o);
  x[2] = add(v, r);
  x[3] = add(k, t);
  x[4] = sub(t, k);
  x[5] = sub(v, r);
  x[6] = sub(u, o);
  x[7] = sub(s, f);
  for (int row = 0; row < 8; ++row) x[row] = _mm_srai_epi16(x[row], 6);
}

inline void inverseBlock(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                         const Ipp16u* pQuantInvTable) {
  Rows block;
  for (int j = 0; j < 8; ++j) {
    const void* coefficients = pSrc + 8 * j;
    const void* factors = pQuantInvTable + 8 * j;
    block.row[j] = _mm_mullo_epi16(loadRow(coefficients), loadRow(factors));
  }
  for (int j = 0; j < 8; ++j) {
    // Most rows of most blocks are zero, which leaves the rounding term.
    block.row[j] = isZero(block.row[j])
                       ? all(static_cast<int>(kRowRounding[j] >> 11))
                       : inverseRow(block.row[j], kInversePairs.row[j], kRowRounding[j]);
  }
  inverseColumns(&block);
  for (int j = 0; j < 8; ++j) {
    const __m128i samples = _mm_packus_epi16(add(block.row[j], all(128)), _mm_setzero_si128());
    void* target = rowAt(pDst, j, dstStep);
    _mm_storel_epi64(static_cast<__m128i*>(target), samples);
  }
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_TRANSFORM_SIMD_H_
