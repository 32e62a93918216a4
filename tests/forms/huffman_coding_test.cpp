// Huffman coding and decoding: bits worked by hand, ends of buffers and segments, and round trips.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/forms/huffman_kit.h"

namespace {

TEST(EncodeBlock, WorkedBits) {
  EncodeTable dc(typicalDcTable()), ac(typicalAcTable());
  // DC 0 00, DC 3 100; EOB 1010, 0/1 00, 2/1 11100, F/0 11111111001, E/1 1111111111101011. A last
  // coefficient leaves no end of block.
  const std::pair<Block, const char*> rows[] = {
      {{}, "00 1010"},
      {blockOf({{0, 5}, {1, -1}}), "100 101 00 0 1010"},
      {blockOf({{0, -5}, {3, 1}}), "100 010 11100 1 1010"},
      {blockOf({{17, 1}}), "00 11111111001 00 1 1010"},
      {blockOf({{63, -1}}), "00 11111111001 11111111001 11111111001 1111111111101011 0"}};
  for (const auto& [block, bits] : rows) {
    Coder scan{dc.get(), ac.get()};
    EXPECT_EQ(scan.call(kEncodeBlock, block.data()), 0);
    EXPECT_EQ(scan.call(kEncodeBlock, nullptr), 0);
    EXPECT_EQ(scan.written(), BitMaker().bits(bits).segment()) << bits;
  }
}

TEST(EncodeBlock, LargeDifferencesAndSymbolsWithoutCode) {
  const HuffmanList list = fullTable();
  EncodeTable full(list), dc(typicalDcTable()), ac(typicalAcTable());
  Coder wide{full.get(), full.get()};
  const Block low = blockOf({{0, -32768}}), high = blockOf({{0, 32767}, {1, -32768}});
  EXPECT_EQ(wide.call(kEncodeBlock, low.data()), 0);
  // A difference of 65535 has category 16, but there is none for a coefficient of -32768.
  EXPECT_EQ(wide.call(kEncodeBlock, high.data()), ippStsJPEGHuffTableErr);
  EXPECT_EQ(wide.call(kEncodeBlock, nullptr), 0);
  BitMaker expected;
  expected.symbol(list, 16).bits(0x7FFF, 16).symbol(list, 0).symbol(list, 16).bits(0xFFFF, 16);
  EXPECT_EQ(wide.written(), expected.segment());

  Coder scan{dc.get(), ac.get()};
  const Block block = blockOf({{1, 1}, {2, 5000}}), steep = blockOf({{0, 5000}});
  EXPECT_EQ(scan.call(kEncodeBlock, block.data()), ippStsJPEGHuffTableErr);
  EXPECT_EQ(scan.call(kEncodeBlock, nullptr), 0);
  EXPECT_EQ(scan.written(), BitMaker().bits("00 00 1").segment()) << "what came before stays";
  EXPECT_EQ(scan.call(kEncodeBlock, steep.data()), ippStsJPEGHuffTableErr);
  EXPECT_EQ(scan.lastDc, 5000);
}

TEST(Flush, PendingBitsAndStuffing) {
  const Ipp16s bits[] = {0, 2};  // the band's Al is 1
  for (const auto& [bit, bytes] : {std::pair{0, Bytes{0x7F}}, {1, Bytes{0xFF, 0x00}}}) {
    Coder scan{};
    EXPECT_EQ(scan.call(kEncodeDcRefine, nullptr), 0);
    EXPECT_EQ(scan.call(kEncodeDcRefine, &bits[bit]), 0);
    EXPECT_EQ(scan.position, 0);
    EXPECT_EQ(scan.call(kEncodeDcRefine, nullptr), 0);
    EXPECT_EQ(scan.call(kEncodeDcRefine, nullptr), 0) << "the state is clear";
    EXPECT_EQ(scan.written(), bytes);
  }
}

// With each capacity the bytes that fit are those of the whole scan, and the statuses tell. A
// position that is not in the buffer counts as a full one and leads nowhere.
TEST(EncodeBlock, BufferTooSmall) {
  EncodeTable table(fullTable());
  const std::vector<Block> blocks = randomBlocks(32, 3, 9);
  Bytes expected;
  for (size_t capacity = 1 << 12; capacity > 0;
       capacity = std::min(capacity, expected.size()) - 1) {
    Coder scan{table.get(), table.get(), capacity};
    IppStatus status = 0;
    for (size_t b = 0; b <= 3 && status == 0; ++b) {
      status = scan.call(kEncodeBlock, b == 3 ? nullptr : blocks[b].data());
    }
    if (expected.empty()) expected = scan.written();
    ASSERT_EQ(status, capacity < expected.size() ? ippStsJPEGOutOfBufErr : 0) << capacity;
    ASSERT_EQ(scan.written(), Bytes(expected.begin(), expected.begin() + scan.position));
    ASSERT_EQ(size_t(scan.position), std::min(capacity, expected.size()));
    ASSERT_TRUE(scan.guarded());
  }
  for (const int position : {-1, 17, INT32_MIN, INT32_MAX}) {
    Coder scan{table.get(), table.get(), 16};
    scan.position = position;
    EXPECT_EQ(scan.call(kEncodeBlock, blocks[0].data()), ippStsJPEGOutOfBufErr);
    EXPECT_EQ(scan.position, position);
    EXPECT_EQ(scan.bytes, Bytes(32, 0x5A));
  }
}

TEST(One, WorkedBits) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  Coder scan{table.get(), nullptr};
  BitMaker expected;
  const int rows[][3] = {{0, 0, 0},     {1, 1, 1},       {-1, 1, 0},         {-2, 2, 1},
                         {300, 9, 300}, {-32767, 15, 0}, {32767, 15, 32767}, {-32768, 16, 0}};
  for (const auto& [difference, size, bits] : rows) {
    const auto value = Ipp16s(difference);
    EXPECT_EQ(scan.call(kEncodeOne, &value), 0);
    expected.symbol(list, size).bits(unsigned(bits), size == 16 ? 0 : size);
  }
  EXPECT_EQ(scan.call(kEncodeOne, nullptr), 0);
  EXPECT_EQ(scan.written(), expected.segment());
}

// --- Progressive coding

// A scan of the blocks by `encode`, and what `decode` makes of it.
template <typename Encode, typename Decode>
void transmit(Encode encode, Decode decode, const HuffmanList& list, Band band,
              const std::vector<Block>& blocks, std::vector<Block>* received) {
  EncodeTable codes(list);
  DecodeTable lookup(list);
  Coder scan{codes.get(), codes.get()};
  for (const Block& block : blocks) ASSERT_EQ(scan.call(encode, block.data(), band), 0);
  ASSERT_EQ(scan.call(encode, nullptr, band), 0);
  Cursor cursor{lookup.get(), lookup.get(), scan.written()};
  for (Block& block : *received) ASSERT_EQ(cursor.call(decode, block.data(), band), 0);
  EXPECT_EQ(cursor.position, scan.position);
}

// The same for a band, with the table that its statistics give.
void transmitBand(bool refinement, Band band, const std::vector<Block>& blocks,
                  std::vector<Block>* received) {
  const auto count = refinement ? ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                                : ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
  Counter counter;
  for (const Block& block : blocks) ASSERT_EQ(counter.call(count, block.data(), band), 0);
  ASSERT_EQ(counter.call(count, nullptr, band), 0);
  HuffmanList list{{}, Bytes(256)};
  ippiEncodeHuffmanRawTableInit_JPEG_8u(counter.counts.data(), list.bits.data(),
                                        list.values.data());
  transmit(refinement ? kEncodeAcRefine : kEncodeAcFirst,
           refinement ? kDecodeAcRefine : kDecodeAcFirst, list, band, blocks, received);
}

TEST(Progressive, RoundTrips) {
  std::vector<std::vector<Block>> pictures = {randomBlocks(34, 500, 9), {}, {}};
  // Sparse blocks with long end-of-band runs between them.
  pictures[1].resize(70000);
  for (size_t b = 7; b < 70000; b = b * 2 + 3) pictures[1][b][b % 63 + 1] = 5;
  // Blocks whose correction bits fill up the state, since none of their coefficients is new: the
  // first one's 55 bits and 14 times 63 stay below the limit, and another 63 make the most held.
  pictures[2].resize(200);
  for (size_t i = 0; i < 200 * 64; ++i)
    pictures[2][i / 64][i % 64] = Ipp16s(i < 9 ? 0 : i % 64 * (i / 64) % 3 + 4);
  for (const std::vector<Block>& blocks : pictures) {
    std::vector<Block> received(blocks.size(), Block{});
    transmit(kEncodeDcFirst, kDecodeDcFirst, typicalDcTable(), {0, 0, 1}, blocks, &received);
    transmit(kEncodeDcRefine, kDecodeDcRefine, {}, {0, 0, 0}, blocks, &received);
    transmitBand(false, {1, 5, 2}, blocks, &received);
    transmitBand(false, {6, 63, 2}, blocks, &received);
    transmitBand(true, {1, 63, 1}, blocks, &received);
    transmitBand(true, {1, 20, 0}, blocks, &received);
    transmitBand(true, {21, 63, 0}, blocks, &received);
    EXPECT_EQ(received, blocks);
  }
}

// Bands worked by hand (T.81 figures G.3 to G.7).
TEST(Progressive, WorkedBits) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  const auto expectBits = [&](auto encode, const Block& block, const BitMaker& expected) {
    Coder scan{nullptr, table.get()};
    EXPECT_EQ(scan.call(encode, Block{}.data()), 0);
    EXPECT_EQ(scan.call(encode, block.data()), 0);
    EXPECT_EQ(scan.call(encode, nullptr), 0);
    EXPECT_EQ(scan.written(), expected.segment());
  };
  // The run of one empty band goes out before the next coefficient; -7 >> 1 is magnitude 3.
  BitMaker first, refined;
  first.symbol(list, 0x00).symbol(list, 0x22).bits("00");
  first.symbol(list, 0xF0).symbol(list, 0x01).bits("1").symbol(list, 0x00);
  expectBits(kEncodeAcFirst, blockOf({{3, -7}, {20, 2}}), first);
  // 6 has magnitude 3, corrected by 1, and goes with the next zeros or the next that is new.
  refined.symbol(list, 0x00).symbol(list, 0xF0).bits("1");
  refined.symbol(list, 0x01).bits("0").symbol(list, 0x00).bits("0");
  expectBits(kEncodeAcRefine, blockOf({{1, 6}, {18, -2}, {40, 4}}), refined);
}

TEST(Progressive, CategoryAndRunLimits) {
  constexpr auto kCount = ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
  constexpr Band kBand = {1, 63, 0};
  EncodeTable table(fullTable());
  constexpr IppStatus kRange = ippStsJPEGDCTRangeErr;
  const int rows[][3] = {
      {1023, 0, 0}, {1024, 0, kRange}, {2047, 0, kRange}, {-2048, kRange, kRange}};
  for (const auto& [value, coded, counted] : rows) {
    const Block block = blockOf({{1, value}});
    Coder scan{nullptr, table.get()};
    EXPECT_EQ(scan.call(kEncodeAcFirst, block.data(), kBand), coded);
    EXPECT_EQ(Counter().call(kCount, block.data(), kBand), counted);
  }
  Counter empty;
  for (int b = 0; b < 32767; ++b) {
    EXPECT_EQ(empty.counts[0xE0], 0);
    empty.call(kCount, Block{}.data(), kBand);
  }
  EXPECT_EQ(empty.counts[0xE0], 1) << "written with the block that completes it";
}

// --- Decoding: ends and markers, complete tables, runs past the block

constexpr IppStatus kEnded = ippStsJPEGOutOfBufErr;
constexpr IppStatus kCutOff = ippStsJPEGDCTRangeErr;

class Decode : public testing::Test {
 protected:
  DecodeTable dc{typicalDcTable()}, ac{typicalAcTable()};
  Block block = {};

  Cursor typical(const Bytes& segment) { return {dc.get(), ac.get(), segment}; }
};

// DC 5, AC -1 at zig-zag 1 and 3 at zig-zag 20, end of block; a marker, and more behind it.
TEST_F(Decode, WorkedBlockAndMarker) {
  Bytes stream = BitMaker().bits("100 101 00 0 11111111001 11111001 11 1010").segment();
  stream.insert(stream.end(), {0xFF, 0xD0, 0x00, 0x00});
  Cursor source = typical(stream);
  block.fill(99);
  EXPECT_EQ(source.call(kDecodeBlock, block.data()), 0);
  EXPECT_EQ(block, blockOf({{0, 5}, {1, -1}, {20, 3}}));
  EXPECT_EQ(source.lastDc, 5);
  for (int again = 0; again < 2; ++again) {  // nothing is read while the marker stands
    EXPECT_EQ(source.call(kDecodeBlock, block.data()), kCutOff);
    EXPECT_EQ(source.position, source.length - 2);
    EXPECT_EQ(source.marker, 0xD0);
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
