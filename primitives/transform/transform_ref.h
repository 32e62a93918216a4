// Arithmetic and constants that the forward and the inverse transform share.
#ifndef QRX_PRIMITIVES_TRANSFORM_TRANSFORM_REF_H_
#define QRX_PRIMITIVES_TRANSFORM_TRANSFORM_REF_H_

#include "primitives/checks.h"

namespace {

// Tangents and a cosine in 16 fraction bits. Those above one half are stored less one, so that a
// product with them is mulhi(c, v) + v.
constexpr int kTan1 = 13036;     // tan(pi/16)
constexpr int kTan2 = 27146;     // tan(2 pi/16)
constexpr int kTan3 = -21746;    // tan(3 pi/16) - 1
constexpr int kCos4 = 23170;     // cos(4 pi/16), 15 fraction bits
constexpr int kCos4m1 = -19195;  // cos(4 pi/16) - 1

// The upper 16 bits of the product, rounding towards minus infinity.
inline int mulhi(int c, int a) { return (c * a) >> 16; }

// Factors of one row of the row stage: cosines times the scale that the column stage leaves out.
struct RowFactors {
  int a, c1, c2, c3, c5, c6, c7;
};

constexpr RowFactors kRows04 = {16384, 22725, 21407, 19266, 12873, 8867, 4520};
constexpr RowFactors kRows17 = {22725, 31521, 29692, 26722, 17855, 12299, 6270};
constexpr RowFactors kRows26 = {21407, 29692, 27969, 25172, 16819, 11585, 5906};
constexpr RowFactors kRows35 = {19266, 26722, 25172, 22654, 15137, 10426, 5315};

constexpr RowFactors kRowFactors[8] = {kRows04, kRows17, kRows26, kRows35,
                                       kRows04, kRows35, kRows26, kRows17};

// Rounding terms of the row stages.
constexpr int kForwardRounding = 524288;
constexpr uint32_t kRowRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_TRANSFORM_REF_H_
