// Level shift, forward DCT and quantisation of one block: the scalar reference.
#ifndef QRX_PRIMITIVES_TRANSFORM_FORWARD_REF_H_
#define QRX_PRIMITIVES_TRANSFORM_FORWARD_REF_H_

#include "primitives/transform/transform_ref.h"
#include "primitives/unaligned.h"

namespace {
namespace scalar {

// Samples of 8 bits keep every sum of the transform inside 16 bits, so that plain sums serve;
// keeping them in 16 bits lets the eight columns run in 16-bit lanes.
inline Ipp16s add(int a, int b) { return static_cast<Ipp16s>(a + b); }
inline Ipp16s sub(int a, int b) { return static_cast<Ipp16s>(a - b); }
inline Ipp16s shl(int a, int n) { return static_cast<Ipp16s>(a * (1 << n)); }
inline Ipp16s odd(int a) { return static_cast<Ipp16s>(a | 1); }
inline Ipp16s high(int c, int a) { return static_cast<Ipp16s>(mulhi(c, a)); }

// Column stage, all eight columns of the level-shifted block.
inline void forwardColumns(const Ipp16s (&x)[8][8], Ipp16s (&y)[8][8]) {
  for (int i = 0; i < 8; ++i) {
    const Ipp16s p = add(x[0][i], x[7][i]);
    const Ipp16s q = add(x[3][i], x[4][i]);
    const Ipp16s sum16 = add(x[1][i], x[6][i]);
    const Ipp16s sum25 = add(x[2][i], x[5][i]);
    const Ipp16s a = sub(shl(sum16, 3), shl(sum25, 3));
    const Ipp16s b = add(shl(sum16, 3), shl(sum25, 3));
    const Ipp16s c = shl(sub(p, q), 3);
    const Ipp16s d = shl(add(p, q), 3);
    y[0][i] = add(d, b);
    y[4][i] = sub(d, b);
    y[2][i] = odd(add(high(kTan2, a), c));
    y[6][i] = odd(sub(high(kTan2, c), a));

    const Ipp16s diff16 = shl(sub(x[1][i], x[6][i]), 4);
    const Ipp16s diff25 = shl(sub(x[2][i], x[5][i]), 4);
    const Ipp16s e = odd(high(kCos4, add(diff16, diff25)));
    const Ipp16s f = high(kCos4, sub(diff16, diff25));
    const Ipp16s g = shl(sub(x[3][i], x[4][i]), 3);
    const Ipp16s h = add(g, f);
    const Ipp16s k = sub(g, f);
    const Ipp16s j = shl(sub(x[0][i], x[7][i]), 3);
    const Ipp16s m = sub(j, e);
    const Ipp16s l = add(j, e);
    y[1][i] = odd(add(high(kTan1, h), l));
    y[7][i] = sub(high(kTan1, l), h);
    y[3][i] = sub(m, add(high(kTan3, k), k));
    y[5][i] = add(add(high(kTan3, m), m), k);
  }
}

inline Ipp16s roundRow(int sum) { return clampTo16s((sum + 524288) >> 20); }

// Row stage, one row in place.
inline void forwardRow(Ipp16s (&row)[8], const RowFactors& w) {
  const int s0 = row[0] + row[7], s1 = row[1] + row[6], s2 = row[2] + row[5], s3 = row[3] + row[4];
  const int d0 = row[0] - row[7], d1 = row[1] - row[6], d2 = row[2] - row[5], d3 = row[3] - row[4];
  row[0] = roundRow(w.a * (s0 + s1 + s2 + s3));
  row[1] = roundRow(w.c1 * d0 + w.c3 * d1 + w.c5 * d2 + w.c7 * d3);
  row[2] = roundRow(w.c2 * (s0 - s3) + w.c6 * (s1 - s2));
  row[3] = roundRow(w.c3 * d0 - w.c7 * d1 - w.c1 * d2 - w.c5 * d3);
  row[4] = roundRow(w.a * (s0 - s1 - s2 + s3));
  row[5] = roundRow(w.c5 * d0 - w.c1 * d1 + w.c7 * d2 + w.c3 * d3);
  row[6] = roundRow(w.c6 * (s0 - s3) - w.c2 * (s1 - s2));
  row[7] = roundRow(w.c7 * d0 - w.c5 * d1 + w.c3 * d2 - w.c1 * d3);
}

// The product has 15 fraction bits; an exact half goes to the even neighbour.
inline Ipp16s quantise(int coefficient, int multiplier) {
  const int product = coefficient * multiplier;
  return clampTo16s((product + 16383 + ((product >> 15) & 1)) >> 15);
}

inline void forwardBlock(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst,
                         const Ipp16u* pQuantFwdTable) {
  Ipp16s shifted[8][8];
  for (int j = 0; j < 8; ++j) {
    const Ipp8u* row = rowAt(pSrc, j, srcStep);
    for (int i = 0; i < 8; ++i) shifted[j][i] = static_cast<Ipp16s>(row[i] - 128);
  }
  Ipp16s block[8][8];
  forwardColumns(shifted, block);
  for (int j = 0; j < 8; ++j) forwardRow(block[j], kRowFactors[j]);
  for (int j = 0; j < 8; ++j) {
    for (int i = 0; i < 8; ++i) {
      store(pDst + 8 * j + i, quantise(block[j][i], load(pQuantFwdTable + 8 * j + i)));
    }
  }
}

}  // namespace scalar
}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_FORWARD_REF_H_
