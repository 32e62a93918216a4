// Transforms and their tables: exact worked values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "primitives/transform/transform_ref.h"
#include "tests/forms/huffman_kit.h"

namespace {

using Samples = std::array<Ipp8u, 64>;
using QuantTable = std::array<Ipp16u, 64>;

template <typename Array>
Array filled(int value) {
  Array array;
  array.fill(static_cast<typename Array::value_type>(value));
  return array;
}

Block forward(const Samples& samples, int multiplier = 32768) {
  Block block;
  const auto table = filled<QuantTable>(multiplier);
  EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, block.data(), table.data()), 0);
  return block;
}

Samples inverse(const Block& block, int quantiser = 1) {
  Samples samples;
  const auto table = filled<QuantTable>(quantiser);
  EXPECT_EQ(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), samples.data(), 8, table.data()), 0);
  return samples;
}

// Worked in unlimited integers, apart from the library's code.
TEST(Transform, WorkedBlocks) {
  Samples texture;
  for (int i = 0; i < 64; ++i) {
    const int r = i / 8, c = i % 8;
    texture[size_t(i)] = Ipp8u((r + c) % 2 != 0 ? 16 * r + 2 * c : 200 - 3 * r * c);
  }
  const Block expected = {-122, 87, -5,  19, -6,  19, -11, 49,  -46, -49, 7,  9,  9,  21,  17, 65,
                          -5,   15, -7,  17, -9,  26, -17, 74,  0,   9,   8,  17, 11, 27,  20, 77,
                          -6,   19, -9,  23, -12, 34, -22, 96,  6,   21,  12, 27, 16, 41,  29, 116,
                          -11,  35, -17, 42, -22, 62, -41, 177, 22,  65,  35, 77, 45, 116, 84, 329};
  EXPECT_EQ(forward(texture), expected);

  // Coefficients far outside of any valid stream, where sums saturate and products wrap.
  Block extreme = {30000, -20000};
  extreme[8] = 12345;
  extreme[27] = -32768;
  extreme[63] = 777;
  auto clipped = filled<Samples>(255);
  const int inside[][2] = {{26, 241}, {32, 4},   {37, 127}, {40, 48}, {48, 245},
                           {57, 128}, {58, 128}, {59, 128}, {63, 128}};
  for (const auto& [place, value] : inside) clipped[size_t(place)] = Ipp8u(value);
  EXPECT_EQ(inverse(extreme), clipped);
}

// Row j of the inverse is scaled by the cosine of its column stage.
TEST(Transform, RowFactorsAreCosines) {
  const auto cosine = [](int k) { return std::sqrt(2.0) * std::cos(k * M_PI / 16); };
  for (int j = 0; j < 8; ++j) {
    const double scale = 16384 * cosine(j == 0 ? 4 : std::min(j, 8 - j));
    const RowFactors& f = kRowFactors[j];
    const std::pair<int, int> factors[] = {{f.a, 4},  {f.c1, 1}, {f.c2, 2}, {f.c3, 3},
                                           {f.c5, 5}, {f.c6, 6}, {f.c7, 7}};
    for (const auto& [factor, k] : factors) EXPECT_EQ(factor, std::lround(scale * cosine(k))) << j;
  }
}

TEST(Transform, FlatBlocksAndHalves) {
  for (int v = 0; v < 256; ++v) {
    ASSERT_EQ(forward(filled<Samples>(v)), (Block{Ipp16s(8 * (v - 128))})) << v;
  }
  for (int v = -2048; v <= 2047; ++v) {
    const int level = std::min(255, std::max(0, 128 + ((v + 4) >> 3)));
    const Samples samples = inverse(Block{Ipp16s(v)});
    ASSERT_EQ(samples[0], level) << v;
    if (v % 8 == 4 || v % 8 == -4) continue;  // a tie may fall the other way in other rows
    ASSERT_EQ(samples, filled<Samples>(level)) << v;
  }
  // 8 * level * 2048 / 32768 is a half of the level; halves go to even.
  const int rows[][3] = {{2048, 1, 0},   {2048, 3, 2}, {2048, 5, 2}, {2048, -1, 0},
                         {2048, -3, -2}, {2049, 1, 1}, {2047, 1, 0}};
  for (const auto& [multiplier, level, quantised] : rows) {
    EXPECT_EQ(forward(filled<Samples>(128 + level), multiplier)[0], quantised)
        << multiplier << " " << level;
  }
  // Products keep their low 16 bits: 257 * 256 = 65536 + 256.
  EXPECT_EQ(inverse(Block{256}, 256), inverse(Block{}));
  EXPECT_EQ(inverse(Block{257}, 256)[9], 128 + 32);
}

TEST(QuantTables, QualityScaling) {
  const int rows[][3] = {{50, 16, 16},   {50, 255, 255}, {100, 99, 1}, {1, 16, 255}, {1, 1, 50},
                         {25, 16, 32},   {75, 16, 8},    {90, 11, 2},  {97, 99, 6},  {49, 100, 102},
                         {1000, 255, 1}, {100000, 1, 1}, {50, 0, 1}};
  for (const auto& [quality, entry, expected] : rows) {
    auto table = filled<Samples>(entry);
    EXPECT_EQ(ippiQuantFwdRawTableInit_JPEG_8u(table.data(), quality), 0);
    EXPECT_EQ(table, filled<Samples>(expected)) << quality << " " << entry;
  }
}

TEST(QuantTables, NaturalOrderAndReciprocals) {
  Samples raw;
  std::iota(raw.begin(), raw.end(), Ipp8u{1});
  QuantTable inverseTable, forwardTable;
  EXPECT_EQ(ippiQuantInvTableInit_JPEG_8u16u(raw.data(), inverseTable.data()), 0);
  EXPECT_EQ(ippiQuantFwdTableInit_JPEG_8u16u(raw.data(), forwardTable.data()), 0);
  for (int k = 0; k < 64; ++k) {
    EXPECT_EQ(inverseTable[kNatural[k]], k + 1);
    EXPECT_EQ(forwardTable[kNatural[k]], (2 * 32768 + k + 1) / (2 * (k + 1)));
  }
  raw[2] = 0;
  raw[3] = 255;
  EXPECT_EQ(ippiQuantFwdTableInit_JPEG_8u16u(raw.data(), forwardTable.data()), ippStsDivByZero);
  EXPECT_EQ(forwardTable[8], 65535);
  EXPECT_EQ(forwardTable[16], 129);
}

}  // namespace
