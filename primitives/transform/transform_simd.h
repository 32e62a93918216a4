// What both transforms share in vectors: a register holds one row of a block, or in each half that
// of another block.
#ifndef QRX_PRIMITIVES_TRANSFORM_TRANSFORM_SIMD_H_
#define QRX_PRIMITIVES_TRANSFORM_TRANSFORM_SIMD_H_

#include "primitives/simd.h"
#include "primitives/transform/columns.h"

namespace {
namespace simd {

template <typename Vec>
struct Lanes {
  using Value = Vec;
  static Vec add(Vec a, Vec b) { return addSaturated16(a, b); }
  static Vec sub(Vec a, Vec b) { return subSaturated16(a, b); }
  static Vec high(int c, Vec a) { return upperProduct(Vec::all16(c), a); }
  static Vec odd(Vec a) { return bitOr(a, Vec::all16(1)); }
  template <int kBits>
  static Vec left(Vec a) {
    return left16<kBits>(a);
  }
};

template <typename Vec>
struct Rows {
  Vec row[8];
};

// Four pairs of 16-bit factors, for pairProducts with pairs of values.
constexpr int pair(int first, int second) {
  return static_cast<int>((static_cast<unsigned>(first) & 0xFFFF) | static_cast<unsigned>(second)
                                                                        << 16);
}

struct alignas(16) Pairs {
  int lane[4];
  template <typename Vec>
  Vec vector() const {
    return Vec::repeat(Vec128::load(lane));
  }
};

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

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_TRANSFORM_SIMD_H_
