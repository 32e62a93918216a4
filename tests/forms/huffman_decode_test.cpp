// Huffman decoding: ends and markers, complete tables, runs past the block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "tests/forms/huffman_kit.h"

namespace {

constexpr IppStatus kEnded = ippStsJPEGOutOfBufErr;
constexpr IppStatus kCutOff = ippStsJPEGDCTRangeErr;

class Decode : public testing::Test {
 protected:
  DecodeTable dc{typicalDcTable()}, ac{typicalAcTable()};
  Block block = {};

  Cursor typical(const Bytes& segment) { return {dc.get(), ac.get(), segment}; }
};

// DC 5, AC -1 at zig-zag 1 and 3 at zig-zag 20, end of block; a marker; the same again.
TEST_F(Decode, WorkedBlockMarkerAndEnd) {
  BitMaker bits;
  bits.bits(0b100101, 6).bits(0b000, 3).bits(0b11111111001, 11);
  Bytes stream = bits.symbol(typicalAcTable(), 0x22).bits(3, 2).bits(0b1010, 4).segment();
  const Bytes second = stream;
  stream.insert(stream.end(), {0xFF, 0xD0});
  const int behind = int(stream.size());
  stream.insert(stream.end(), second.begin(), second.end());
  Cursor source = typical(stream);
  for (int pass = 0; pass < 2; ++pass) {
    block.fill(99);
    EXPECT_EQ(source.call(kDecodeBlock, block.data()), 0);
    EXPECT_EQ(block, blockOf({{0, 5}, {1, -1}, {20, 3}}));
    EXPECT_EQ(source.lastDc, 5);
    for (int again = 0; again < 2; ++again) {  // nothing is read while the marker stands
      EXPECT_EQ(source.call(kDecodeBlock, block.data()), pass == 0 ? kCutOff : kEnded);
      EXPECT_EQ(source.position, pass == 0 ? behind : source.length);
    }
    EXPECT_EQ(source.marker, pass == 0 ? 0xD0 : 0);
    // The caller deals with the marker and goes on behind it.
    source.marker = 0;
    source.lastDc = 0;
    ippiDecodeHuffmanStateInit_JPEG_8u(source.state.get());
  }
}

TEST_F(Decode, StuffedAndFillBytesAndEnds) {
  Cursor stuffed = typical({0xFF, 0x00});
  for (int i = 0; i < 8; ++i) EXPECT_EQ(stuffed.call(kDecodeDcRefine, block.data()), 0);
  EXPECT_EQ(stuffed.marker, 0);
  EXPECT_EQ(stuffed.call(kDecodeDcRefine, block.data()), kEnded);
  // Fill bytes before a marker are passed over, but in bands. A position outside is the end.
  const auto check = [&](auto decode, bool isBand) {
    Cursor source = typical({0xFF, 0xFF, 0xD9, 0x00});
    EXPECT_EQ(source.call(decode, block.data()), kCutOff);
    EXPECT_EQ(source.marker, isBand ? 0xFF : 0xD9);
    EXPECT_EQ(source.position, isBand ? 2 : 3);
    for (const int position : {-1, INT32_MIN, 41, INT32_MAX}) {
      Cursor outside = typical(Bytes(40));
      outside.position = position;
      EXPECT_EQ(outside.call(decode, block.data()), kEnded);
      EXPECT_EQ(outside.position, position);
    }
  };
  check(kDecodeBlock, false);
  check(kDecodeOne, false);
  check(kDecodeDcRefine, false);
  check(kDecodeAcFirst, true);
  Cursor cut = typical({0x00, 0xFF}), ones = typical({0xFF, 0x00, 0xFF, 0x00});
  EXPECT_EQ(cut.call(kDecodeBlock, block.data()), kEnded);
  EXPECT_EQ(cut.position, 2);
  EXPECT_EQ(ones.call(kDecodeBlock, block.data()), kCutOff) << "no code matches";
}

// The last of a table with a code of 16 ones.
TEST_F(Decode, CompleteTable) {
  HuffmanList complete;
  complete.bits.fill(1);
  complete.bits[15] = 2;
  for (int i = 0; i < 17; ++i) complete.values.push_back(Ipp8u(i));
  DecodeTable table(complete);
  const Bytes segment =
      BitMaker().bits(0xFFFF, 16).symbol(complete, 15).bits(0, 15).symbol(complete, 0).segment();
  Cursor source{table.get(), nullptr, segment};
  for (const int expected : {-32768, -32767, 0}) {
    EXPECT_EQ(source.call(kDecodeOne, block.data()), 0);
    EXPECT_EQ(block[0], expected);
  }
}

// A run that leads past the block puts its value at position 63 and nothing anywhere else.
TEST_F(Decode, RunPastTheBlock) {
  const HuffmanList list = fullTable();
  DecodeTable table(list);
  // A value behind so many zeros, from `before` on.
  const auto check = [&](auto decode, BitMaker before, int run, int size, int at62, int at63) {
    before.symbol(list, 16 * run + size).bits(5, size);
    for (int i = 0; i < 200; ++i) before.bits(0, 1);  // plain data behind
    Cursor source{table.get(), table.get(), before.segment()};
    std::array<Ipp16s, 96> guarded, expected;
    guarded.fill(0x5A5A);
    std::fill_n(guarded.begin() + 16, 64, Ipp16s{0});
    expected = guarded;
    expected[16 + 62] = Ipp16s(at62);
    expected[16 + 63] = Ipp16s(at63);
    EXPECT_EQ(source.call(decode, guarded.data() + 16, {63, 63, 1}), 0);
    EXPECT_EQ(guarded, expected) << run;
  };
  BitMaker to62;  // 48 + 13 zeros
  to62.symbol(list, 0).symbol(list, 0xF0).symbol(list, 0xF0).symbol(list, 0xF0);
  to62.symbol(list, 0xD1).bits(1, 1);
  for (int run = 1; run <= 15; ++run) {
    check(kDecodeBlock, to62, run, 3, 1, 5);
    check(kDecodeAcFirst, {}, run, 3, 0, 10);
    check(kDecodeAcRefine, {}, run, 1, 0, 2);
  }
}

}  // namespace
