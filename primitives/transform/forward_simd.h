// Level shift, forward DCT and quantisation in vectors: the eight columns at once in 16-bit lanes,
// then row by row in pairs of products.
#ifndef QRX_PRIMITIVES_TRANSFORM_FORWARD_SIMD_H_
#define QRX_PRIMITIVES_TRANSFORM_FORWARD_SIMD_H_

#include "primitives/transform/transform_simd.h"
#include "primitives/unaligned.h"

namespace {
namespace simd {

// Factors of one row, for outputs 0 to 3 and 4 to 7. Even outputs take sums of opposite values, odd
// ones differences: of the pairs 0 and 1, and of the pairs 2 and 3.
struct ForwardPairs {
  Pairs lower01, lower23, upper01, upper23;
};

constexpr ForwardPairs forwardPairs(const RowFactors& w) {
  return {{{pair(w.a, w.a), pair(w.c1, w.c3), pair(w.c2, w.c6), pair(w.c3, -w.c7)}},
          {{pair(w.a, w.a), pair(w.c5, w.c7), pair(-w.c6, -w.c2), pair(-w.c1, -w.c5)}},
          {{pair(w.a, -w.a), pair(w.c5, -w.c1), pair(w.c6, -w.c2), pair(w.c7, -w.c5)}},
          {{pair(-w.a, w.a), pair(w.c7, w.c3), pair(w.c2, -w.c6), pair(w.c3, -w.c1)}}};
}

constexpr PerRow<ForwardPairs> kForwardPairs = perRow(forwardPairs);

// The column stage is exact in what it does to a shift of all samples: the first row alone changes,
// and none of its sums leaves its lane. So the level is shifted there.
constexpr int kLevelInFirstRow = 8 * 128 * 8;

// The four upper values of each half, in reverse, as the four lower ones.
template <typename Vec>
inline Vec opposites(Vec row) {
#ifdef __SSSE3__
  constexpr static Places kReverse = {{14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1}};
  return choose8(row, kReverse.template vector<Vec>());
#else
  return shuffle32<0x4E>(shuffleHigh16<0x1B>(row));
#endif
}

template <typename Vec>
inline Vec forwardRow(Vec row, const ForwardPairs& factors) {
  using L = Lanes<Vec>;
  const Vec right = opposites(row);
  const Vec both = interleaveLow64(L::add(row, right), L::sub(row, right));
  const Vec pairs01 = shuffle32<0x88>(both), pairs23 = shuffle32<0xDD>(both);
  const auto outputs = [&](const Pairs& first, const Pairs& second) {
    const Vec sum = add32(pairProducts(pairs01, first.template vector<Vec>()),
                          pairProducts(pairs23, second.template vector<Vec>()));
    return signedRight32<20>(add32(sum, Vec::all32(kForwardRounding)));
  };
  return narrow32(outputs(factors.lower01, factors.lower23),
                  outputs(factors.upper01, factors.upper23));
}

// Products with 15 fraction bits, rounded to the nearest integer, ties to even, for multipliers up
// to 32768, which quantisation tables give: the negative fits a signed lane. Coefficients are those
// of 8-bit samples. `canTie`: whether there may be ties, or a multiplier of 32768.
template <typename Vec>
inline Vec quantise(Vec coefficient, Vec multiplier, [[maybe_unused]] bool canTie) {
#ifdef __SSSE3__
  if (!canTie) return roundedProduct(coefficient, multiplier);
  const Vec negative = sub16(Vec::all16(0), multiplier);
  const Vec low = lowerProduct(coefficient, negative);
  // A half is rounded up, that is down for the result; where that left it odd, one more is even.
  const Vec rounded = roundedProduct(coefficient, negative);
  const Vec tie = equal16(add16(low, low), Vec::all16(-32768));
  return sub16(bitAnd(bitAnd(tie, Vec::all16(1)), rounded), rounded);
#else
  // Of twice the product the upper half is the integer, the lower one an even fraction. What is
  // above a half, or a half above an odd integer, is rounded up.
  const Vec negative = sub16(Vec::all16(0), multiplier);
  const Vec twice = add16(coefficient, coefficient);
  const Vec floor = upperProduct(twice, negative);
  const Vec fraction = bitOr(lowerProduct(twice, negative), bitAnd(floor, Vec::all16(1)));
  const Vec aboveHalf = add16(fraction, Vec::all16(-32768));
  return sub16(greater16(aboveHalf, Vec::all16(0)), floor);  // greater is -1
#endif
}

// The same for any multiplier of 16 bits, in lanes of 32.
template <typename Vec>
inline Vec quantiseByAny(Vec coefficient, Vec multiplier) {
  const Vec low = lowerProduct(coefficient, multiplier);
  // Where the multiplier's top bit is set, the signed product lacks one coefficient above.
  const Vec missing = bitAnd(coefficient, signedRight16<15>(multiplier));
  const Vec upper = add16(upperProduct(coefficient, multiplier), missing);
  const auto round = [](Vec product) {
    const Vec odd = bitAnd(signedRight32<15>(product), Vec::all32(1));
    return signedRight32<15>(add32(add32(product, Vec::all32(16383)), odd));
  };
  return narrow32(round(interleaveLow16(low, upper)), round(interleaveHigh16(low, upper)));
}

enum class Multipliers { kOfTables, kAny };

inline Multipliers kindOf(const Ipp16u* pQuantFwdTable) {
  Vec128 above = Vec128::all16(0);
  for (int j = 0; j < 8; ++j) {
    const Vec128 less = sub16(Vec128::load(pQuantFwdTable + 8 * j), Vec128::all16(1));
    above = bitOr(above, less);  // the top bit of those from 32769 on, and of 0
  }
  return signs8(above) & 0xAAAA ? Multipliers::kAny : Multipliers::kOfTables;
}

// What coefficients are multiplied with.
struct Quantiser {
  const Ipp16u* multipliers;
  unsigned rowsWithTies = 0xFF;  // by bits, the first row's the lowest
};

// Looks for the rows in which there can be ties. Coefficients of 8-bit samples stay below 2^11, so
// that a multiplier needs four factors of 2 for one.
inline Quantiser quantiserOf(const Ipp16u* multipliers) {
  Quantiser quantiser = {multipliers, 0};
  for (int i = 0; i < 64; ++i) {
    const bool canTie = multipliers[i] != 0 && multipliers[i] % 16 == 0;
    quantiser.rowsWithTies |= unsigned{canTie} << i / 8;
  }
  return quantiser;
}

// Samples become quantised coefficients, in place.
template <Multipliers kMultipliers = Multipliers::kOfTables, typename Vec>
inline void forwardTransform(Rows<Vec>* block, const Quantiser& quantiser) {
  forwardColumns<Lanes<Vec>>(block->row);
  block->row[0] = sub16(block->row[0], Vec::all16(kLevelInFirstRow));
  for (int j = 0; j < 8; ++j) {
    const Vec multipliers = Vec::repeat(Vec128::load(quantiser.multipliers + 8 * j));
    const Vec row = forwardRow(block->row[j], kForwardPairs.row[j]);
    block->row[j] = kMultipliers == Multipliers::kAny
                        ? quantiseByAny(row, multipliers)
                        : quantise(row, multipliers, (quantiser.rowsWithTies >> j & 1) != 0);
  }
}

// A row of a block; in 256 bits of two blocks side by side.
template <typename Vec>
inline Vec loadSamples(const Ipp8u* samples) {
#ifdef __AVX2__
  if constexpr (Vec::kBytes == 32) return Vec::widened(samples);
#endif
  if constexpr (Vec::kBytes == 16) {
    return interleaveLow8(Vec128::loadLower(samples), Vec128::all16(0));
  }
}

template <typename Vec>
inline Rows<Vec> loadBlock(const Ipp8u* samples, ptrdiff_t step) {
  Rows<Vec> rows;
  for (int j = 0; j < 8; ++j) rows.row[j] = loadSamples<Vec>(samples + j * step);
  return rows;
}

inline void forwardBlock(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst,
                         const Ipp16u* pQuantFwdTable) {
  Rows<Vec128> block = loadBlock<Vec128>(pSrc, srcStep);
  if (kindOf(pQuantFwdTable) == Multipliers::kAny) {
    forwardTransform<Multipliers::kAny>(&block, {pQuantFwdTable});
  } else {
    forwardTransform(&block, {pQuantFwdTable});
  }
  for (int j = 0; j < 8; ++j) store(pDst + 8 * j, block.row[j]);
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_FORWARD_SIMD_H_
