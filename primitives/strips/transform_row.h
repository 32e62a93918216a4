// Blocks of a strip from coefficients to samples: an inverse transform that works no more rows than
// hold something, on two blocks at once where vectors allow it.
#ifndef QRX_PRIMITIVES_STRIPS_TRANSFORM_ROW_H_
#define QRX_PRIMITIVES_STRIPS_TRANSFORM_ROW_H_

#include "primitives/strips/strips.h"
#include "primitives/transform/inverse_simd.h"

namespace {
namespace strips {

using namespace qrx::strips;

// A block of a DC coefficient alone: what the stages of the transform leave of it.
inline void transformDc(int dc, const Ipp16u* quant, Ipp8u* to, int step) {
  const auto factor = static_cast<uint32_t>(kRowFactors[0].a);
  const auto product = static_cast<Ipp16s>(dc * quant[0]);
  const uint32_t sum = factor * static_cast<uint32_t>(product) + kRowRounding[0];
  const int row = clampTo16s(static_cast<int32_t>(sum) >> 11);
  const auto line = [](int sample) {
    return clampTo8u((sample >> 6) + 128) * uint64_t{0x0101010101010101};
  };
  // Of the rounding terms of the other rows no more is left than a step in the two middle lines.
  const uint64_t usual = line(row), middle = line(row - 1);
  for (int j = 0; j < 8; ++j) {
    __builtin_memcpy(to + ptrdiff_t{j} * step, j == 3 || j == 4 ? &middle : &usual, 8);
  }
}

template <int kRows>
inline void transformOne(const Ipp16s* block, const Ipp16u* quant, Ipp8u* to, int step) {
  using namespace simd;
  Rows<Vec128> rows;
  for (int j = 0; j < kRows; ++j) rows.row[j] = Vec128::load(block + 8 * j);
  inverseTransform<kRows>(&rows, quant);
  for (int j = 0; j < 8; j += 2) {
    const Vec128 bytes = levelShiftedBack(rows.row[j], rows.row[j + 1]);
    storeLower(to + ptrdiff_t{j} * step, bytes);
    storeUpper(to + ptrdiff_t{j + 1} * step, bytes);
  }
}

constexpr Ipp16s kAllButFirst[8] = {0, -1, -1, -1, -1, -1, -1, -1};

// The lower four rows of a block, all in one.
template <typename Vec>
inline Vec lowerHalf(const Ipp16s* block) {
  using namespace simd;
  constexpr int kWidth = sizeof(Vec) / sizeof(Ipp16s);
  Vec all = Vec::load(block + 32);
  for (int i = 32 + kWidth; i < 64; i += kWidth) all = bitOr(all, Vec::load(block + i));
  return all;
}

inline void transformBlock(const Ipp16s* block, bool hasAc, const Ipp16u* quant, Ipp8u* to,
                           int step) {
  if (!hasAc) {
    transformDc(block[0], quant, to, step);
  } else if (simd::isZero(lowerHalf<simd::Vec128>(block))) {
    transformOne<4>(block, quant, to, step);
  } else {
    transformOne<8>(block, quant, to, step);
  }
}

#ifdef __AVX2__
template <int kRows>
inline void transformTwo(const Ipp16s* left, const Ipp16s* right, const Ipp16u* quant, Ipp8u* to,
                         int step) {
  using namespace simd;
  Rows<Vec256> rows;
  for (int j = 0; j < kRows; ++j) {
    rows.row[j] = Vec256::joined(Vec128::load(left + 8 * j), Vec128::load(right + 8 * j));
  }
  inverseTransform<kRows>(&rows, quant);
  for (int j = 0; j < 8; j += 2) {
    const Vec256 bytes = exchangeMiddle64(levelShiftedBack(rows.row[j], rows.row[j + 1]));
    store(to + ptrdiff_t{j} * step, bytes.lower());
    store(to + ptrdiff_t{j + 1} * step, bytes.upper());
  }
}
#endif

// Two blocks side by side.
__attribute__((always_inline)) inline void transformPair(const Ipp16s* left, const Ipp16s* right,
                                                         bool leftHasAc, bool rightHasAc,
                                                         const Ipp16u* quant, Ipp8u* to, int step) {
#ifdef __AVX2__
  if (leftHasAc || rightHasAc) {
    using namespace simd;
    const bool isUpper = isZero(bitOr(lowerHalf<Vec256>(left), lowerHalf<Vec256>(right)));
    return isUpper ? transformTwo<4>(left, right, quant, to, step)
                   : transformTwo<8>(left, right, quant, to, step);
  }
#endif
  transformBlock(left, leftHasAc, quant, to, step);
  transformBlock(right, rightHasAc, quant, to + 8, step);
}

// Which blocks of an MCU may have AC coefficients.
struct BlocksWithAc {
  bool of[6];
};

// MCUs of Y, Cb, Cr, or with one component, of gray.
template <int kBlocksAcross, int kBlocksDown, int kCount = qrx::strips::kComponents>
struct McuPlace {
  static constexpr int kAcross = kBlocksAcross, kDown = kBlocksDown, kComponents = kCount;
  static constexpr int kLuma = kAcross * kDown;
  static constexpr int kBlocks = kLuma + kComponents - 1;

  // Of the MCU's block `b`.
  static constexpr int componentOf(int b) { return b < kLuma ? 0 : b - kLuma + 1; }

  // The samples of component `i` of MCU `column`, at line `line`.
  static Ipp8u* samples(const ScanIn& scan, int i, int column, int line) {
    const int width = i == 0 ? 8 * kAcross : 8;
    return scan.planes.plane[i] + ptrdiff_t{line} * scan.planes.step[i] + ptrdiff_t{width} * column;
  }
};

// The luma of an MCU that is two blocks wide.
template <typename Place>
inline void transformWideLuma(const ScanIn& scan, int column, const Ipp16s* blocks,
                              const BlocksWithAc& withAc) {
  for (int v = 0; v < Place::kDown; ++v) {
    transformPair(blocks + 128 * v, blocks + 128 * v + 64, withAc.of[2 * v], withAc.of[2 * v + 1],
                  scan.quant[0], Place::samples(scan, 0, column, 8 * v), scan.planes.step[0]);
  }
}

template <typename Place>
inline void transformMcu(const ScanIn& scan, int column, const BlocksWithAc& withAc) {
  const Ipp16s* blocks = scan.blocks + ptrdiff_t{64} * Place::kBlocks * column;
  if constexpr (Place::kAcross == 2) transformWideLuma<Place>(scan, column, blocks, withAc);
  for (int i = Place::kAcross == 2 ? 1 : 0; i < Place::kComponents; ++i) {
    const int b = i == 0 ? 0 : Place::kLuma + i - 1;
    transformBlock(blocks + 64 * b, withAc.of[b], scan.quant[i], Place::samples(scan, i, column, 0),
                   scan.planes.step[i]);
  }
}

template <typename Place>
inline void transformTwoMcus(const ScanIn& scan, int column, const BlocksWithAc (&withAc)[2]) {
  const Ipp16s* left = scan.blocks + ptrdiff_t{64} * Place::kBlocks * column;
  const Ipp16s* right = left + 64 * Place::kBlocks;
  if constexpr (Place::kAcross == 2) {
    transformWideLuma<Place>(scan, column, left, withAc[0]);
    transformWideLuma<Place>(scan, column + 1, right, withAc[1]);
  }
  for (int i = Place::kAcross == 2 ? 1 : 0; i < Place::kComponents; ++i) {
    const int b = i == 0 ? 0 : Place::kLuma + i - 1;
    transformPair(left + 64 * b, right + 64 * b, withAc[0].of[b], withAc[1].of[b], scan.quant[i],
                  Place::samples(scan, i, column, 0), scan.planes.step[i]);
  }
}

inline bool hasAc(const Ipp16s* block) {
  using namespace simd;
  Vec128 all = bitAnd(Vec128::load(block), Vec128::load(kAllButFirst));
  for (int i = 8; i < 64; i += 8) all = bitOr(all, Vec128::load(block + i));
  return !isZero(all);
}

template <typename Place>
inline void transformRow(const ScanIn& scan, int column, int count) {
  const auto withAcOf = [&](int mcu) {
    const Ipp16s* block = scan.blocks + ptrdiff_t{64} * Place::kBlocks * mcu;
    BlocksWithAc withAc = {};
    for (int b = 0; b < Place::kBlocks; ++b, block += 64) withAc.of[b] = hasAc(block);
    return withAc;
  };
  int done = 0;
  for (; done + 1 < count; done += 2) {
    const BlocksWithAc withAc[2] = {withAcOf(column + done), withAcOf(column + done + 1)};
    transformTwoMcus<Place>(scan, column + done, withAc);
  }
  if (done < count) transformMcu<Place>(scan, column + done, withAcOf(column + done));
}

// What `Route` does for MCUs that are made up as the scan says.
template <typename Route>
inline auto forPlaceOf(const ScanIn& scan, Route route) {
  if (scan.components == 1) return route(McuPlace<1, 1, 1>());
  if (scan.layout.across == 1) return route(McuPlace<1, 1>());
  return scan.layout.down == 1 ? route(McuPlace<2, 1>()) : route(McuPlace<2, 2>());
}

void transform(const ScanIn& scan, int column, int count) {
  forPlaceOf(scan, [&]<typename Place>(Place) { transformRow<Place>(scan, column, count); });
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_TRANSFORM_ROW_H_
