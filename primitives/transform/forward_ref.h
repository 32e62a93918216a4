// Level shift, forward DCT and quantisation of one block: the scalar reference.
#ifndef QRX_PRIMITIVES_TRANSFORM_FORWARD_REF_H_
#define QRX_PRIMITIVES_TRANSFORM_FORWARD_REF_H_

#include "primitives/transform/columns.h"
#include "primitives/unaligned.h"

namespace {
namespace scalar {

inline Ipp16s roundRow(int sum) { return clampTo16s((sum + kForwardRounding) >> 20); }

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
  Ipp16s block[8][8];
  for (int j = 0; j < 8; ++j) {
    const Ipp8u* row = rowAt(pSrc, j, srcStep);
    for (int i = 0; i < 8; ++i) block[j][i] = static_cast<Ipp16s>(row[i] - 128);
  }
  eachColumn<PlainLanes>(block, forwardColumns<PlainLanes>);
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
