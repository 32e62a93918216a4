// Huffman tables: code lengths from statistics, codes, look-up.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <queue>
#include <utility>

#include "tests/forms/huffman_kit.h"
#include "tests/forms/random.h"

namespace {

using Statistics = std::array<int, 256>;

struct MadeList : HuffmanList {
  IppStatus status;
  explicit MadeList(const Statistics& statistics) {
    values.assign(256, 0xEE);
    status = ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), bits.data(), values.data());
    size_t listed = 0;
    for (const Ipp8u count : bits) listed += count;
    EXPECT_TRUE(listed == 256 || values[listed] == 0xEE) << "more values than codes";
    values.resize(listed);
  }
  // Code length by symbol, 0 for none.
  std::array<int, 256> lengths() const {
    std::array<int, 256> result = {};
    size_t index = 0;
    for (size_t length = 1; length <= 16; ++length) {
      for (int i = 0; i < bits[length - 1]; ++i) {
        result[values[index++]] = static_cast<int>(length);
      }
    }
    return result;
  }
};

// Cost in bits of the best prefix code for the frequencies and the reserved symbol.
int64_t bestCost(const Statistics& statistics) {
  std::priority_queue<int64_t, std::vector<int64_t>, std::greater<>> trees;
  trees.push(1);
  for (const int count : statistics) {
    if (count != 0) trees.push(count);
  }
  int64_t cost = 0;
  while (trees.size() > 1) {
    const int64_t first = trees.top();
    trees.pop();
    const int64_t both = first + trees.top();
    trees.pop();
    trees.push(both);
    cost += both;
  }
  return cost;
}

TEST(TableFromStatistics, FewSymbols) {
  MadeList none(Statistics{});
  EXPECT_EQ(none.status, 0);
  EXPECT_TRUE(none.values.empty());

  Statistics statistics = {};
  statistics[77] = 5;
  MadeList one(statistics);
  EXPECT_EQ(one.bits, (std::array<Ipp8u, 16>{1}));
  EXPECT_EQ(one.values, Bytes{77});

  // Among equals the highest symbol joins first, and so gets the longer code.
  statistics = {};
  statistics[3] = statistics[9] = 1;
  MadeList two(statistics);
  EXPECT_EQ(two.bits, (std::array<Ipp8u, 16>{1, 1}));
  EXPECT_EQ(two.values, (Bytes{3, 9}));
}

// The code is as short as any: the reserved symbol has the longest code, which is not listed.
TEST(TableFromStatistics, IsOptimal) {
  Random random(1);
  for (int trial = 0; trial < 100; ++trial) {
    Statistics statistics = {};
    for (int& count : statistics) {
      if (random() % 100 < static_cast<unsigned>(trial)) {
        count = 1 + static_cast<int>(random() % 100);
      }
    }
    const MadeList list(statistics);
    ASSERT_EQ(list.status, 0);
    const auto lengths = list.lengths();
    int64_t cost = 0;
    int longest = 1;
    for (size_t symbol = 0; symbol < 256; ++symbol) {
      ASSERT_EQ(lengths[symbol] != 0, statistics[symbol] != 0);
      cost += int64_t{lengths[symbol]} * statistics[symbol];
      longest = std::max(longest, lengths[symbol]);
    }
    // What is missing is the reserved symbol, as long as the longest code.
    const int64_t reserved = bestCost(statistics) - cost;
    if (!list.values.empty()) {
      ASSERT_EQ(reserved, longest);
    }
    ASSERT_EQ(EncodeTable(list).status, 0);
    ASSERT_TRUE(std::is_sorted(list.values.begin(), list.values.end(), [&](Ipp8u a, Ipp8u b) {
      return std::pair{lengths[a], a} < std::pair{lengths[b], b};
    }));
  }
}

// Frequencies like Fibonacci's numbers give a code of each length.
TEST(TableFromStatistics, LimitsLengths) {
  const auto fibonacci = [](size_t count) {
    Statistics statistics = {};
    int a = 1, b = 1;
    for (size_t i = 0; i < count; ++i) {
      statistics[i] = a;
      b = std::exchange(a, a + b);
    }
    return statistics;
  };
  const MadeList limited(fibonacci(24));
  EXPECT_EQ(limited.status, 0);
  EXPECT_EQ(limited.values.size(), 24u);
  double kraft = 0;
  for (size_t length = 1; length <= 16; ++length) {
    kraft += limited.bits[length - 1] / std::exp2(length);
  }
  EXPECT_DOUBLE_EQ(kraft, 1 - std::exp2(-16)) << "one code of 16 bits is left free";
  EXPECT_EQ(MadeList(fibonacci(40)).status, ippStsJPEGHuffTableErr);
}

// Frequencies that are never picked get no code; whatever stands there, nothing breaks.
TEST(TableFromStatistics, OddFrequencies) {
  Statistics statistics = {};
  statistics[1] = 1000000001;
  statistics[2] = -5;
  statistics[3] = 7;
  const MadeList list(statistics);
  EXPECT_EQ(list.status, 0);
  EXPECT_EQ(list.values, Bytes{3});
  statistics.fill(999999999);
  MadeList{statistics};
  statistics.fill(0x7FFFFFFF);
  EXPECT_TRUE(MadeList{statistics}.values.empty());
}

uint32_t entry(EncodeTable& table, int symbol) {
  uint32_t value;
  std::memcpy(&value, reinterpret_cast<const char*>(table.get()) + 4 * symbol, 4);
  return value;
}

// T.81 tables K.3 and K.5.
TEST(EncodeTable, TypicalCodes) {
  struct {
    int symbol;
    uint32_t length, code;
  } const dcCodes[] = {{0, 2, 0b00},
                       {1, 3, 0b010},
                       {5, 3, 0b110},
                       {6, 4, 0b1110},
                       {11, 9, 0b111111110}},
          acCodes[] = {{0x00, 4, 0b1010},
                       {0x01, 2, 0b00},
                       {0x11, 4, 0b1100},
                       {0x22, 8, 0b11111001},
                       {0xF0, 11, 0b11111111001},
                       {0xE1, 16, 0b1111111111101011},
                       {0xFA, 16, 0b1111111111111110}};
  EncodeTable dc(typicalDcTable()), ac(typicalAcTable());
  for (const auto& c : dcCodes) EXPECT_EQ(entry(dc, c.symbol), c.length << 16 | c.code);
  for (const auto& c : acCodes) EXPECT_EQ(entry(ac, c.symbol), c.length << 16 | c.code);
  EXPECT_EQ(entry(dc, 12), 0u);
  EXPECT_EQ(entry(ac, 0x10), 0u);
}

// Encoding leaves the code of all ones free; decoding takes it.
TEST(Tables, CountsThatDoNotFit) {
  constexpr IppStatus kBad = ippStsJPEGHuffTableErr;
  const Bytes values(16 * 255);
  const std::pair<std::array<Ipp8u, 16>, std::array<IppStatus, 2>> cases[] = {
      {{}, {0, 0}},
      {{1}, {0, 0}},
      {{2}, {kBad, 0}},
      {{1, 2}, {kBad, 0}},
      {{3}, {kBad, kBad}},
      {{2, 1}, {kBad, kBad}},
      {{1, 1, 1, 1, 1, 1, 1, 1, 2}, {kBad, 0}},
      {{1, 1, 1, 1, 1, 1, 1, 1, 3}, {kBad, kBad}},
      {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 0}},
      {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2}, {kBad, 0}},
      {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 3}, {kBad, kBad}},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255}, {0, 0}},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 255}, {0, 0}},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 255}, {kBad, kBad}},  // 257 codes
      {{255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255},
       {kBad, kBad}},
  };
  for (const auto& [bits, expected] : cases) {
    EXPECT_EQ(EncodeTable({bits, values}).status, expected[0]) << int{bits[0]} << int{bits[1]};
    EXPECT_EQ(DecodeTable({bits, values}).status, expected[1]) << int{bits[0]} << int{bits[1]};
  }
}

TEST(Tables, NullPointers) {
  Bytes memory(2048);
  auto* encode = reinterpret_cast<IppiEncodeHuffmanSpec*>(memory.data());
  auto* decode = reinterpret_cast<IppiDecodeHuffmanSpec*>(memory.data());
  const Ipp8u* list = memory.data();
  const int statistics[256] = {};
  EXPECT_EQ(ippiEncodeHuffmanRawTableInit_JPEG_8u(nullptr, memory.data(), memory.data()),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics, nullptr, memory.data()),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics, memory.data(), nullptr),
            ippStsNullPtrErr);
  EXPECT_EQ(ippiEncodeHuffmanSpecInit_JPEG_8u(nullptr, list, encode), ippStsNullPtrErr);
  EXPECT_EQ(ippiEncodeHuffmanSpecInit_JPEG_8u(list, nullptr, encode), ippStsNullPtrErr);
  EXPECT_EQ(ippiEncodeHuffmanSpecInit_JPEG_8u(list, list, nullptr), ippStsNullPtrErr);
  EXPECT_EQ(ippiDecodeHuffmanSpecInit_JPEG_8u(nullptr, list, decode), ippStsNullPtrErr);
  EXPECT_EQ(ippiDecodeHuffmanSpecInit_JPEG_8u(list, nullptr, decode), ippStsNullPtrErr);
  EXPECT_EQ(ippiDecodeHuffmanSpecInit_JPEG_8u(list, list, nullptr), ippStsNullPtrErr);
  for (auto f :
       {ippiEncodeHuffmanSpecGetBufSize_JPEG_8u, ippiEncodeHuffmanStateGetBufSize_JPEG_8u,
        ippiDecodeHuffmanSpecGetBufSize_JPEG_8u, ippiDecodeHuffmanStateGetBufSize_JPEG_8u}) {
    EXPECT_EQ(f(nullptr), ippStsNullPtrErr);
  }
  EXPECT_EQ(ippiEncodeHuffmanStateInit_JPEG_8u(nullptr), ippStsNullPtrErr);
  EXPECT_EQ(ippiDecodeHuffmanStateInit_JPEG_8u(nullptr), ippStsNullPtrErr);
  EXPECT_EQ(memory, Bytes(2048));
}

TEST(Tables, RecordSizes) {
  int size = 0;
  ippiEncodeHuffmanSpecGetBufSize_JPEG_8u(&size);
  EXPECT_EQ(size, 1024);
  ippiEncodeHuffmanStateGetBufSize_JPEG_8u(&size);
  EXPECT_EQ(size, 1044);
  ippiDecodeHuffmanSpecGetBufSize_JPEG_8u(&size);
  EXPECT_EQ(size, 1644);
  ippiDecodeHuffmanStateGetBufSize_JPEG_8u(&size);
  EXPECT_EQ(size, 20);
}

}  // namespace
