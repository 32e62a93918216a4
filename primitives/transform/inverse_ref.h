// Dequantisation, inverse DCT, level shift and clamp of one block: the scalar reference.
#ifndef QRX_PRIMITIVES_TRANSFORM_INVERSE_REF_H_
#define QRX_PRIMITIVES_TRANSFORM_INVERSE_REF_H_

#include "primitives/transform/transform_ref.h"
#include "primitives/unaligned.h"

namespace {
namespace scalar {

// The column stage saturates, which damaged streams reach.
struct Saturating {
  using Value = int;
  static int add(int a, int b) { return clampTo16s(a + b); }
  static int sub(int a, int b) { return clampTo16s(a - b); }
};

// The same where no sum leaves 16 bits; all eight columns then run in 16-bit lanes.
struct Plain {
  using Value = Ipp16s;
  static Ipp16s add(int a, int b) { return static_cast<Ipp16s>(a + b); }
  static Ipp16s sub(int a, int b) { return static_cast<Ipp16s>(a - b); }
};

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

// Column stage, all eight columns.
template <typename Sums>
inline void inverseColumns(const Ipp16s (&x)[8][8], Ipp16s (&y)[8][8]) {
  using Value = typename Sums::Value;
  constexpr auto add = Sums::add;
  constexpr auto sub = Sums::sub;
  const auto high = [](int c, Value v) { return static_cast<Value>(mulhi(c, v)); };
  for (int column = 0; column < 8; ++column) {
    const Value x0 = x[0][column], x1 = x[1][column], x2 = x[2][column], x3 = x[3][column];
    const Value x4 = x[4][column], x5 = x[5][column], x6 = x[6][column], x7 = x[7][column];
    const Value a = add(add(high(kTan3, x5), x5), x3);
    const Value b = add(high(kTan3, x3), x3);
    const Value c = sub(x5, b);
    const Value d = sub(high(kTan1, x1), x7);
    const Value e = add(high(kTan1, x7), x1);
    const Value f = add(a, e);
    const Value g = sub(e, a);
    const Value h = add(high(kTan2, x6), x2);
    const Value i = sub(high(kTan2, x2), x6);
    const Value j = sub(d, c);
    const Value k = add(d, c);
    const Value l = add(g, j);
    const Value m = sub(g, j);
    const Value o = add(l, high(kCos4m1, l));
    const Value r = add(high(kCos4m1, m), m);
    const Value p = add(x4, x0);
    const Value q = sub(x0, x4);
    const Value s = add(p, h);
    const Value t = sub(p, h);
    const Value u = add(q, i);
    const Value v = sub(q, i);
    y[0][column] = static_cast<Ipp16s>(add(f, s) >> 6);
    y[1][column] = static_cast<Ipp16s>(add(u, o) >> 6);
    y[2][column] = static_cast<Ipp16s>(add(v, r) >> 6);
    y[3][column] = static_cast<Ipp16s>(add(k, t) >> 6);
    y[4][column] = static_cast<Ipp16s>(sub(t, k) >> 6);
    y[5][column] = static_cast<Ipp16s>(sub(v, r) >> 6);
    y[6][column] = static_cast<Ipp16s>(sub(u, o) >> 6);
    y[7][column] = static_cast<Ipp16s>(sub(s, f) >> 6);
  }
}

struct Range {
  int level, low, high;
};

inline void inverseTransform(Ipp16s (&block)[8][8], Ipp8u* pDst, int dstStep, const Range& range) {
  for (int j = 0; j < 8; ++j) inverseRow(block[j], kRowFactors[j], kRowRounding[j]);
  Ipp16s samples[8][8];
  if (sumsStayIn16Bits(block)) {
    inverseColumns<Plain>(block, samples);
  } else {
    inverseColumns<Saturating>(block, samples);
  }
  for (int j = 0; j < 8; ++j) {
    Ipp8u* row = rowAt(pDst, j, dstStep);
    for (int i = 0; i < 8; ++i) {
      const int sample = samples[j][i] + range.level;
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
