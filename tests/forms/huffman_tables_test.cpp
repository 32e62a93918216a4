// Huffman tables: code lengths from statistics, codes, counts that do not fit.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>

#include "tests/forms/huffman_kit.h"

namespace {

using Statistics = std::array<int, 256>;

struct MadeList : HuffmanList {
  IppStatus status;
  std::array<int, 256> lengths = {};  // of the codes, by symbol; 0 for none

  explicit MadeList(const Statistics& statistics) {
    values.assign(256, 0xEE);
    status = ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), bits.data(), values.data());
    size_t listed = 0;
    for (size_t length = 1; length <= 16; ++length) {
      for (int i = 0; i < bits[length - 1]; ++i) lengths[values[listed++]] = int(length);
    }
    EXPECT_TRUE(listed == 256 || values[listed] == 0xEE) << "more values than codes";
    values.resize(listed);
  }
};

// Cost in bits of the best prefix code for the frequencies and the reserved symbol.
int64_t bestCost(const Statistics& statistics) {
  std::multiset<int64_t> trees = {1};
  for (const int count : statistics) {
    if (count != 0) trees.insert(count);
  }
  int64_t cost = 0;
  while (trees.size() > 1) {
    const int64_t both = *trees.begin() + *std::next(trees.begin());
    trees.erase(trees.begin(), std::next(trees.begin(), 2));
    trees.insert(both);
    cost += both;
  }
  return cost;
}

// The code is as short as any: the reserved symbol has the longest code, which is not listed.
TEST(TableFromStatistics, IsOptimal) {
  Random random(1);
  for (unsigned trial = 0; trial < 100; ++trial) {
    Statistics statistics = {};
    for (int& count : statistics) {
      if (random() % 100 < trial) count = 1 + int(random() % 100);
    }
    const MadeList list(statistics);
    ASSERT_EQ(list.status, 0);
    int64_t cost = 0;
    for (size_t symbol = 0; symbol < 256; ++symbol) {
      ASSERT_EQ(list.lengths[symbol] != 0, statistics[symbol] != 0);
      cost += int64_t{list.lengths[symbol]} * statistics[symbol];
    }
    const int longest = *std::max_element(list.lengths.begin(), list.lengths.end());
    ASSERT_EQ(bestCost(statistics) - cost, longest);
    ASSERT_EQ(EncodeTable(list).status, 0);
    ASSERT_TRUE(std::is_sorted(list.values.begin(), list.values.end(), [&](Ipp8u a, Ipp8u b) {
      return std::pair{list.lengths[a], a} < std::pair{list.lengths[b], b};
    }));
  }
}

TEST(TableFromStatistics, FewOddAndUnevenFrequencies) {
  Statistics statistics = {};
  EXPECT_TRUE(MadeList(statistics).values.empty());
  // Among equals the highest symbol joins first, and so gets the longer code.
  statistics[3] = statistics[9] = 1;
  const MadeList two(statistics);
  EXPECT_EQ(two.bits, (std::array<Ipp8u, 16>{1, 1}));
  EXPECT_EQ(two.values, (Bytes{3, 9}));

  // Frequencies that are never picked get no code.
  const MadeList odd(Statistics{0, 1000000001, -5, 7});
  EXPECT_EQ(odd.status, 0);
  EXPECT_EQ(odd.values, Bytes{3});
  statistics.fill(999999999);
  MadeList{statistics};
  statistics.fill(0x7FFFFFFF);
  EXPECT_TRUE(MadeList{statistics}.values.empty());

  // Those like Fibonacci's numbers give a code of each length.
  const auto fibonacci = [](size_t count) {
    Statistics result = {1, 2};
    for (size_t i = 2; i < count; ++i) result[i] = result[i - 1] + result[i - 2];
    return result;
  };
  const MadeList limited(fibonacci(24));
  EXPECT_EQ(limited.status, 0);
  EXPECT_EQ(limited.values.size(), 24u);
  int taken = 0;  // of the 65536 words of 16 bits
  for (size_t length = 1; length <= 16; ++length)
    taken += limited.bits[length - 1] << (16 - length);
  EXPECT_EQ(taken, 65535) << "one code of 16 bits is left free";
  EXPECT_EQ(MadeList(fibonacci(40)).status, ippStsJPEGHuffTableErr);
}

// Encoding leaves the code of all ones free; decoding takes it.
TEST(Tables, CountsThatDoNotFit) {
  constexpr IppStatus kBad = ippStsJPEGHuffTableErr;
  const Bytes values(16 * 255);
  struct Row {
    std::array<Ipp8u, 16> bits;
    IppStatus encode, decode;
  } rows[] = {{{}, 0, 0},
              {{1}, 0, 0},
              {{2}, kBad, 0},
              {{1, 2}, kBad, 0},
              {{3}, kBad, kBad},
              {{2, 1}, kBad, kBad},
              {{1, 1, 1, 1, 1, 1, 1, 1, 2}, kBad, 0},
              {{1, 1, 1, 1, 1, 1, 1, 1, 3}, kBad, kBad},
              {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, 0, 0},
              {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2}, kBad, 0},
              {{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 3}, kBad, kBad},
              {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 255}, 0, 0},
              {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 255}, kBad, kBad}};  // 257 codes
  for (const Row& row : rows) {
    EXPECT_EQ(EncodeTable({row.bits, values}).status, row.encode) << &row - rows;
    EXPECT_EQ(DecodeTable({row.bits, values}).status, row.decode) << &row - rows;
  }
}

TEST(Tables, RecordSizes) {
  const std::pair<IppStatus (*)(int*), size_t> rows[] = {
      {ippiEncodeHuffmanSpecGetBufSize_JPEG_8u, sizeof(IppiEncodeHuffmanSpec)},
      {ippiEncodeHuffmanStateGetBufSize_JPEG_8u, sizeof(IppiEncodeHuffmanState)},
      {ippiDecodeHuffmanSpecGetBufSize_JPEG_8u, sizeof(IppiDecodeHuffmanSpec)},
      {ippiDecodeHuffmanStateGetBufSize_JPEG_8u, sizeof(IppiDecodeHuffmanState)}};
  for (const auto& [getSize, expected] : rows) {
    int size = 0;
    EXPECT_EQ(getSize(&size), 0);
    EXPECT_EQ(size_t(size), expected);
  }
}

}  // namespace
