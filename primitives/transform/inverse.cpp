// Dequantisation, inverse DCT, level shift and clamp of one block.
#include "primitives/form.h"
#include "primitives/transform/transform_ref.h"
#include "primitives/unaligned.h"

namespace {

// Damaged streams reach the limits, so that saturation is part of the result.
inline int sadd(int a, int b) { return clampTo16s(a + b); }
inline int ssub(int a, int b) { return clampTo16s(a - b); }

constexpr uint32_t kRowRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

inline bool isZero(const Ipp16s (&row)[8]) {
  uint64_t halves[2];
  __builtin_memcpy(halves, row, sizeof halves);
  return (halves[0] | halves[1]) == 0;
}

// Row stage, one row in place; its 32-bit sums wrap.
void inverseRow(Ipp16s (&row)[8], const RowFactors& factors, uint32_t rounding) {
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

// Column stage, all eight columns.
void inverseColumns(const Ipp16s (&x)[8][8], Ipp16s (&y)[8][8]) {
  for (int column = 0; column < 8; ++column) {
    const int x0 = x[0][column], x1 = x[1][column], x2 = x[2][column], x3 = x[3][column];
    const int x4 = x[4][column], x5 = x[5][column], x6 = x[6][column], x7 = x[7][column];
    const int a = sadd(sadd(mulhi(kTan3, x5), x5), x3);
    const int b = sadd(mulhi(kTan3, x3), x3);
    const int c = ssub(x5, b);
    const int d = ssub(mulhi(kTan1, x1), x7);
    const int e = sadd(mulhi(kTan1, x7), x1);
    const int f = sadd(a, e);
    const int g = ssub(e, a);
    const int h = sadd(mulhi(kTan2, x6), x2);
    const int i = ssub(mulhi(kTan2, x2), x6);
    const int j = ssub(d, c);
    const int k = sadd(d, c);
    const int l = sadd(g, j);
    const int m = ssub(g, j);
    const int o = sadd(l, mulhi(kCos4m1, l));
    const int r = sadd(mulhi(kCos4m1, m), m);
    const int p = sadd(x4, x0);
    const int q = ssub(x0, x4);
    const int s = sadd(p, h);
    const int t = ssub(p, h);
    const int u = sadd(q, i);
    const int v = ssub(q, i);
    y[0][column] = static_cast<Ipp16s>(sadd(f, s) >> 6);
    y[1][column] = static_cast<Ipp16s>(sadd(u, o) >> 6);
    y[2][column] = static_cast<Ipp16s>(sadd(v, r) >> 6);
    y[3][column] = static_cast<Ipp16s>(sadd(k, t) >> 6);
    y[4][column] = static_cast<Ipp16s>(ssub(t, k) >> 6);
    y[5][column] = static_cast<Ipp16s>(ssub(v, r) >> 6);
    y[6][column] = static_cast<Ipp16s>(ssub(u, o) >> 6);
    y[7][column] = static_cast<Ipp16s>(ssub(s, f) >> 6);
  }
}

struct Range {
  int level, low, high;
};

void inverseTransform(Ipp16s (&block)[8][8], Ipp8u* pDst, int dstStep, const Range& range) {
  for (int j = 0; j < 8; ++j) inverseRow(block[j], kRowFactors[j], kRowRounding[j]);
  Ipp16s samples[8][8];
  inverseColumns(block, samples);
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

}  // namespace

IppStatus FORM(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R)(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                                                    const Ipp16u* pQuantInvTable) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (dstStep < 1) return ippStsStepErr;
  if (pQuantInvTable == nullptr) return ippStsNullPtrErr;
  Ipp16s block[8][8];
  for (int j = 0; j < 8; ++j) {
    for (int i = 0; i < 8; ++i) {
      const int product = load(pSrc + 8 * j + i) * load(pQuantInvTable + 8 * j + i);
      block[j][i] = static_cast<Ipp16s>(product);
    }
  }
  inverseTransform(block, pDst, dstStep, {128, 0, 255});
  return ippStsNoErr;
}

IppStatus FORM(ippiDCT8x8InvLSClip_16s8u_C1R)(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                                              Ipp16s level, Ipp8u clipMin, Ipp8u clipMax) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (dstStep < 1) return ippStsStepErr;
  Ipp16s block[8][8];
  const void* coefficients = pSrc;
  __builtin_memcpy(block, coefficients, sizeof block);
  inverseTransform(block, pDst, dstStep, {level, clipMin, clipMax});
  return ippStsNoErr;
}
