// Huffman tables: code lengths from statistics, codes, counts that do not fit.
#include <gtest/gtest.h>

#include <numeric>

#include "tests/forms/huffman_kit.h"

namespace {

using Statistics = std::array<int, 256>;

struct MadeList : HuffmanList {
  IppStatus status;

  explicit MadeList(const Statistics& statistics) {
    values.assign(256, 0xEE);
    status = ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), bits.data(), values.data());
    const auto listed = std::accumulate(bits.begin(), bits.end(), size_t{0});
    EXPECT_TRUE(listed == 256 || values[listed] == 0xEE) << "more values than codes";
    values.resize(listed);
  }
};

// The reserved symbol, which is not listed, has the longest code. Codes of one length are in the
// order of their symbols.
TEST(TableFromStatistics, WorkedLengths) {
  const MadeList uneven(Statistics{45, 13, 12, 16, 9, 5, 5, 5, 1, 0, 7});
  EXPECT_EQ(uneven.bits, (std::array<Ipp8u, 16>{1, 0, 1, 4, 3, 1}));
  EXPECT_EQ(uneven.values, (Bytes{0, 3, 1, 2, 4, 10, 5, 6, 7, 8}));
  Statistics statistics;
  statistics.fill(1);
  const MadeList even(statistics);
  EXPECT_EQ(even.bits, (std::array<Ipp8u, 16>{0, 0, 0, 0, 0, 0, 0, 255, 1}));
  EXPECT_EQ(even.values.back(), 255) << "among equals the highest symbol joins first";
}

TEST(TableFromStatistics, FewOddAndUnevenFrequencies) {
  Statistics statistics = {};
  EXPECT_TRUE(MadeList(statistics).values.empty());
  statistics[3] = statistics[9] = 1;
  const MadeList two(statistics);
  EXPECT_EQ(two.bits, (std::array<Ipp8u, 16>{1, 1}));
  EXPECT_EQ(two.values, (Bytes{3, 9}));

  // Frequencies that are never picked get no code.
  const MadeList odd(Statistics{0, 1000000001, -5, 7});
  EXPECT_EQ(odd.status, 0);
  EXPECT_EQ(odd.values, Bytes{3});
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
  int sizes[4] = {};
  ippiEncodeHuffmanSpecGetBufSize_JPEG_8u(&sizes[0]);
  ippiEncodeHuffmanStateGetBufSize_JPEG_8u(&sizes[1]);
  ippiDecodeHuffmanSpecGetBufSize_JPEG_8u(&sizes[2]);
  ippiDecodeHuffmanStateGetBufSize_JPEG_8u(&sizes[3]);
  EXPECT_EQ((std::vector<int>{sizes, sizes + 4}), (std::vector<int>{1024, 1044, 1644, 20}));
}

}  // namespace
