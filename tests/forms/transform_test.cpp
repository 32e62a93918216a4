// Transforms and their tables: exact worked values, and the DCT of T.81 A.3.3 in floating point.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <numeric>

#include "qrx/primitives.h"
#include "tests/forms/huffman_kit.h"
#include "tests/forms/random.h"

#define QRX_FORM ref
#include "primitives/form.h"

namespace {

using Samples = std::array<Ipp8u, 64>;
using QuantTable = std::array<Ipp16u, 64>;

QuantTable filled(int value) {
  QuantTable table;
  table.fill(static_cast<Ipp16u>(value));
  return table;
}

Block forward(const Samples& samples, int multiplier = 32768) {
  Block block;
  const QuantTable table = filled(multiplier);
  EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, block.data(), table.data()), 0);
  return block;
}

Samples inverse(const Block& block, int quantiser = 1) {
  Samples samples;
  const QuantTable table = filled(quantiser);
  EXPECT_EQ(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), samples.data(), 8, table.data()), 0);
  return samples;
}

// Basis function u, v at sample x, y of the 8 x 8 DCT, orthonormal.
double basis(size_t u, size_t v, size_t x, size_t y) {
  const auto wave = [](size_t frequency, size_t place) {
    const double angle = static_cast<double>((2 * place + 1) * frequency) * std::numbers::pi / 16;
    return std::cos(angle) * (frequency == 0 ? std::sqrt(0.125) : 0.5);
  };
  return wave(u, x) * wave(v, y);
}

TEST(ForwardTransform, FlatBlocks) {
  for (int v = 0; v < 256; ++v) {
    Samples samples;
    samples.fill(static_cast<Ipp8u>(v));
    Block expected = {};
    expected[0] = static_cast<Ipp16s>(8 * (v - 128));
    ASSERT_EQ(forward(samples), expected) << v;
  }
}

TEST(ForwardTransform, IsTheDct) {
  Random random(1);
  double squares = 0;
  for (int trial = 0; trial < 200; ++trial) {
    Samples samples;
    for (Ipp8u& sample : samples) {
      sample = trial % 2 == 0 ? random.byte() : static_cast<Ipp8u>(random() % 2 * 255);
    }
    const Block block = forward(samples);
    for (size_t i = 0; i < 64; ++i) {
      double exact = 0;
      for (size_t k = 0; k < 64; ++k) {
        exact += (samples[k] - 128) * basis(i % 8, i / 8, k % 8, k / 8);
      }
      ASSERT_NEAR(block[i], exact, 1.0);
      squares += (block[i] - exact) * (block[i] - exact);
    }
  }
  EXPECT_LT(squares / (200 * 64), 0.12);  // rounding to integers alone is 1/12
}

TEST(ForwardTransform, RoundsHalvesToEven) {
  // The transform of a flat block is 8 * level, and 8 * 2048 / 32768 is one half.
  for (const auto& [multiplier, level, quantised] : {std::tuple{2048, 1, 0},
                                                     {2048, 3, 2},
                                                     {2048, 5, 2},
                                                     {2048, -1, 0},
                                                     {2048, -3, -2},
                                                     {2049, 1, 1},
                                                     {2047, 1, 0}}) {
    Samples samples;
    samples.fill(static_cast<Ipp8u>(128 + level));
    EXPECT_EQ(forward(samples, multiplier)[0], quantised) << multiplier << " " << level;
  }
}

TEST(InverseTransform, FlatBlocks) {
  for (int v = -2048; v <= 2047; ++v) {
    Block block = {};
    block[0] = static_cast<Ipp16s>(v);
    const Samples samples = inverse(block);
    const int level = std::min(255, std::max(0, 128 + ((v + 4) >> 3)));
    ASSERT_EQ(samples[0], level) << v;
    if (v % 8 == 4 || v % 8 == -4) continue;  // a tie may fall the other way in other rows
    for (const Ipp8u sample : samples) ASSERT_EQ(sample, level) << v;
  }
}

TEST(InverseTransform, IsTheInverseDct) {
  Random random(2);
  for (int trial = 0; trial < 200; ++trial) {
    Block block = {};
    for (int i = 0; i <= trial % 12; ++i) {
      block[random() % 64] = static_cast<Ipp16s>(static_cast<int>(random() % 300) - 150);
    }
    const Samples samples = inverse(block);
    for (size_t k = 0; k < 64; ++k) {
      double exact = 128;
      for (size_t i = 0; i < 64; ++i) exact += block[i] * basis(i % 8, i / 8, k % 8, k / 8);
      ASSERT_NEAR(samples[k], std::fmin(255, std::fmax(0, exact)), 1.0);
    }
  }
}

TEST(InverseTransform, RestoresWhatWasTransformed) {
  Random random(3);
  for (int trial = 0; trial < 200; ++trial) {
    Samples samples;
    for (Ipp8u& sample : samples) sample = random.byte();
    const Samples back = inverse(forward(samples));
    for (size_t i = 0; i < 64; ++i) ASSERT_NEAR(back[i], samples[i], 1) << trial;
  }
}

TEST(InverseTransform, ProductsKeepTheirLow16Bits) {
  Block block = {};
  block[0] = 256;
  EXPECT_EQ(inverse(block, 256), inverse(Block{}));
  block[0] = 257;  // 257 * 256 = 65536 + 256
  EXPECT_EQ(inverse(block, 256)[9], 128 + 32);
}

// The generator and the digest of transform_model.py.
struct Lcg {
  uint32_t state;
  int next() {
    state = state * 1664525 + 1013904223;
    return static_cast<int>(state >> 8);
  }
};

template <typename Values>
uint64_t digest(uint64_t start, const Values& values) {
  for (const auto value : values) {
    for (size_t byte = 0; byte < sizeof value; ++byte) {
      start = (start ^ (static_cast<unsigned>(value) >> 8 * byte & 255)) * 1099511628211u;
    }
  }
  return start;
}

constexpr uint64_t kDigestStart = 14695981039346656037u;

// Expected values are those of transform_model.py, which shares no code with the library.
TEST(ForwardTransform, AgreesWithTheModel) {
  Samples texture;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      texture[static_cast<size_t>(8 * r + c)] =
          static_cast<Ipp8u>((r + c) % 2 != 0 ? 16 * r + 2 * c : 200 - 3 * r * c);
    }
  }
  const Block expected = {-122, 87, -5,  19, -6,  19, -11, 49,  -46, -49, 7,  9,  9,  21,  17, 65,
                          -5,   15, -7,  17, -9,  26, -17, 74,  0,   9,   8,  17, 11, 27,  20, 77,
                          -6,   19, -9,  23, -12, 34, -22, 96,  6,   21,  12, 27, 16, 41,  29, 116,
                          -11,  35, -17, 42, -22, 62, -41, 177, 22,  65,  35, 77, 45, 116, 84, 329};
  EXPECT_EQ(forward(texture), expected);

  Lcg random{1};
  uint64_t sum = kDigestStart;
  for (int trial = 0; trial < 400; ++trial) {
    Samples samples;
    QuantTable table;
    Block block;
    for (Ipp8u& sample : samples) {
      sample = static_cast<Ipp8u>(trial % 2 == 0 ? random.next() : 255 * (random.next() & 1));
    }
    for (Ipp16u& m : table) m = static_cast<Ipp16u>(32768 / (1 + random.next() % (1 + trial)));
    EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, block.data(), table.data()),
              0);
    sum = digest(sum, block);
  }
  EXPECT_EQ(sum, 0xa3360f9aeb64442fu);
}

// Coefficients far outside of any valid stream, where sums saturate and products wrap.
TEST(InverseTransform, AgreesWithTheModel) {
  Block extreme = {};
  extreme[0] = 30000;
  extreme[1] = -20000;
  extreme[8] = 12345;
  extreme[27] = -32768;
  extreme[63] = 777;
  const Samples expected = {255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
                            255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
                            241, 255, 255, 255, 255, 255, 4,   255, 255, 255, 255, 127, 255,
                            255, 48,  255, 255, 255, 255, 255, 255, 255, 245, 255, 255, 255,
                            255, 255, 255, 255, 255, 128, 128, 128, 255, 255, 255, 128};
  EXPECT_EQ(inverse(extreme), expected);

  Lcg random{2};
  uint64_t sum = kDigestStart;
  for (int trial = 0; trial < 400; ++trial) {
    Samples samples;
    QuantTable table;
    Block block = {};
    for (Ipp16s& value : block) {
      const bool kept = random.next() % 64 <= trial % 64;
      if (kept) value = static_cast<Ipp16s>(static_cast<Ipp16s>(random.next()) >> trial % 12);
    }
    for (Ipp16u& q : table) q = static_cast<Ipp16u>(1 + random.next() % (1 + trial));
    EXPECT_EQ(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), samples.data(), 8, table.data()),
              0);
    sum = digest(sum, samples);
  }
  EXPECT_EQ(sum, 0x1d5d36185276c220u);
}

TEST(InverseTransform, ClipsToTheRangeGiven) {
  Block block = {};
  block[0] = 80;
  Samples samples = {};
  EXPECT_EQ(ref_ippiDCT8x8InvLSClip_16s8u_C1R(block.data(), samples.data(), 8, 100, 0, 255), 0);
  EXPECT_EQ(samples[5], 110);
  EXPECT_EQ(ref_ippiDCT8x8InvLSClip_16s8u_C1R(block.data(), samples.data(), 8, 100, 0, 105), 0);
  EXPECT_EQ(samples[5], 105);
  EXPECT_EQ(ref_ippiDCT8x8InvLSClip_16s8u_C1R(block.data(), samples.data(), 8, -300, 16, 235), 0);
  EXPECT_EQ(samples[5], 16);
}

TEST(QuantTables, QualityScaling) {
  struct {
    int quality, entry, expected;
  } const cases[] = {{50, 16, 16},   {50, 255, 255}, {100, 99, 1}, {1, 16, 255}, {1, 1, 50},
                     {25, 16, 32},   {75, 16, 8},    {90, 11, 2},  {97, 99, 6},  {49, 100, 102},
                     {1000, 255, 1}, {100000, 1, 1}, {50, 0, 1}};
  for (const auto& c : cases) {
    Samples table;
    table.fill(static_cast<Ipp8u>(c.entry));
    EXPECT_EQ(ippiQuantFwdRawTableInit_JPEG_8u(table.data(), c.quality), 0);
    EXPECT_EQ(table[0], c.expected) << c.quality << " " << c.entry;
    EXPECT_EQ(table[63], c.expected);
  }
  Samples any = {7};
  EXPECT_EQ(ippiQuantFwdRawTableInit_JPEG_8u(any.data(), 0x7FFFFFFF), 0);  // wraps, quietly
}

TEST(QuantTables, NaturalOrderAndReciprocals) {
  Samples raw;
  std::iota(raw.begin(), raw.end(), Ipp8u{1});
  QuantTable inverseTable, forwardTable;
  EXPECT_EQ(ippiQuantInvTableInit_JPEG_8u16u(raw.data(), inverseTable.data()), 0);
  EXPECT_EQ(ippiQuantFwdTableInit_JPEG_8u16u(raw.data(), forwardTable.data()), 0);
  EXPECT_EQ(inverseTable[1], 2);
  EXPECT_EQ(inverseTable[8], 3);
  for (int k = 0; k < 64; ++k) {
    const auto place = static_cast<size_t>(naturalIndex(k));
    EXPECT_EQ(inverseTable[place], k + 1);
    EXPECT_EQ(forwardTable[place], (2 * 32768 + k + 1) / (2 * (k + 1)));
  }
  EXPECT_EQ(forwardTable[0], 32768);
  EXPECT_EQ(forwardTable[8], 10923);
  raw[2] = 0;
  raw[3] = 255;
  EXPECT_EQ(ippiQuantFwdTableInit_JPEG_8u16u(raw.data(), forwardTable.data()), ippStsDivByZero);
  EXPECT_EQ(forwardTable[8], 65535);
  EXPECT_EQ(forwardTable[16], 129);
}

TEST(Transform, ChecksInOrder) {
  Samples samples = {5};
  Block block = {5};
  QuantTable table = filled(1);
  EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(nullptr, 0, block.data(), nullptr),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 0, nullptr, nullptr),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 0, block.data(), nullptr),
            ippStsStepErr);
  EXPECT_EQ(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, block.data(), nullptr),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(nullptr, samples.data(), 0, nullptr),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), samples.data(), 0, nullptr),
            ippStsStepErr);
  EXPECT_EQ(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), samples.data(), 8, nullptr),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiQuantFwdRawTableInit_JPEG_8u(nullptr, 0), ippStsNullPtrErr);
  EXPECT_EQ(ippiQuantFwdRawTableInit_JPEG_8u(samples.data(), 0), ippStsBadArgErr);
  EXPECT_EQ(ippiQuantFwdRawTableInit_JPEG_8u(samples.data(), -1), ippStsBadArgErr);
  EXPECT_EQ(ippiQuantFwdTableInit_JPEG_8u16u(nullptr, table.data()), ippStsNullPtrErr);
  EXPECT_EQ(ippiQuantInvTableInit_JPEG_8u16u(samples.data(), nullptr), ippStsNullPtrErr);
  EXPECT_EQ(ref_ippiZigzagInv8x8_16s_C1(block.data(), nullptr), ippStsNullPtrErr);
  EXPECT_EQ(samples, Samples{5});
  EXPECT_EQ(block, Block{5});
}

}  // namespace
