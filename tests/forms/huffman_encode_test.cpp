// Huffman coding: bits worked by hand, ends of the buffer, and round trips through the decoders.
#include <gtest/gtest.h>

#include "tests/forms/huffman_kit.h"

namespace {

TEST(EncodeBlock, WorkedBits) {
  EncodeTable dc(typicalDcTable()), ac(typicalAcTable());
  const auto encoded = [&](const Block& block) {
    Coder scan{dc.get(), ac.get()};
    EXPECT_EQ(scan.call(kEncodeBlock, block.data()), 0);
    EXPECT_EQ(scan.call(kEncodeBlock, nullptr), 0);
    return scan.written();
  };
  // Codes: DC 0 00, DC 3 100, EOB 1010, 0/1 00, 2/1 11100, F/0 11111111001.
  EXPECT_EQ(encoded({}), BitMaker().bits(0b001010, 6).segment());
  EXPECT_EQ(encoded(blockOf({{0, 5}, {1, -1}})), (Bytes{0x94, 0x57}));  // 100101 000 1010
  EXPECT_EQ(encoded(blockOf({{0, -5}, {3, 1}})), BitMaker().bits(0b1000101110011010, 16).segment());
  // 16 zeros are one F/0; zeros up to the end are none.
  EXPECT_EQ(encoded(blockOf({{17, 1}})),
            BitMaker().bits(0b0011111111001, 13).bits(0b0011010, 7).segment());
  // A last coefficient leaves no end of block: three F/0, then E/1 1111111111101011.
  BitMaker last;
  last.bits(0b00, 2);
  for (int i = 0; i < 3; ++i) last.bits(0b11111111001, 11);
  EXPECT_EQ(encoded(blockOf({{63, -1}})), last.bits(0b1111111111101011, 16).bits(0, 1).segment());
}

TEST(EncodeBlock, LargeDifferencesAndSymbolsWithoutCode) {
  const HuffmanList list = fullTable();
  EncodeTable full(list), dc(typicalDcTable()), ac(typicalAcTable());
  Coder wide{full.get(), full.get()};
  const Block low = blockOf({{0, -32768}}), high = blockOf({{0, 32767}});
  EXPECT_EQ(wide.call(kEncodeBlock, low.data()), 0);
  EXPECT_EQ(wide.call(kEncodeBlock, high.data()), 0);  // 65535: category 16
  EXPECT_EQ(wide.call(kEncodeBlock, nullptr), 0);
  BitMaker expected;
  for (const unsigned bits : {0x7FFFu, 0xFFFFu})
    expected.symbol(list, 16).bits(bits, 16).symbol(list, 0);
  EXPECT_EQ(wide.written(), expected.segment());

  Coder scan{dc.get(), ac.get()};
  const Block block = blockOf({{1, 1}, {2, 5000}}), steep = blockOf({{0, 5000}});
  EXPECT_EQ(scan.call(kEncodeBlock, block.data()), ippStsJPEGHuffTableErr);
  EXPECT_EQ(scan.call(kEncodeBlock, nullptr), 0);
  EXPECT_EQ(scan.written(), BitMaker().bits(0b00001, 5).segment()) << "what came before stays";
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

TEST(One, WorkedBitsThereAndBack) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  DecodeTable lookup(list);
  Coder scan{table.get(), nullptr};
  BitMaker expected;
  const int rows[][3] = {{0, 0, 0},     {1, 1, 1},       {-1, 1, 0},         {-2, 2, 1},
                         {300, 9, 300}, {-32767, 15, 0}, {32767, 15, 32767}, {-32768, 16, 0}};
  Ipp16s value;
  for (const auto& [difference, size, bits] : rows) {
    value = Ipp16s(difference);
    EXPECT_EQ(scan.call(kEncodeOne, &value), 0);
    expected.symbol(list, size).bits(unsigned(bits), size == 16 ? 0 : size);
  }
  EXPECT_EQ(scan.call(kEncodeOne, nullptr), 0);
  EXPECT_EQ(scan.written(), expected.segment());
  Cursor cursor{lookup.get(), nullptr, expected.symbol(list, 200).segment()};
  for (const auto& row : rows) {
    EXPECT_EQ(cursor.call(kDecodeOne, &value), 0);
    EXPECT_EQ(value, row[0]);
  }
  EXPECT_EQ(cursor.call(kDecodeOne, &value), 0);
  EXPECT_EQ(value, -32768) << "any size above 15";
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
  // Blocks whose correction bits fill up the state: no new coefficient in the last refinement.
  pictures[2].resize(200);
  for (size_t i = 0; i < 200 * 64; ++i)
    pictures[2][i / 64][i % 64] = Ipp16s(i % 64 * (i / 64) % 3 + 4);
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

// The sequence of symbols of a band, worked by hand (T.81 figures G.3 to G.7). Symbols from 0x100
// stand for single bits.
TEST(Progressive, WorkedBits) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  constexpr int k0 = 0x100, k1 = 0x101;
  const Block empty = {};
  const struct {
    bool refinement;
    std::vector<Block> blocks;
    std::vector<int> symbols;
  } rows[] = {
      // Runs of one and of five empty bands.
      {false, {empty}, {0x00}},
      {false, {empty, empty, empty, empty, empty}, {0x20, k0, k1}},
      // The run goes out before the next coefficient; -7 >> 1 is magnitude 3.
      {false, {empty, blockOf({{3, -7}})}, {0x00, 0x22, k0, k0, 0x00}},
      {false, {blockOf({{20, 2}, {63, 2}})}, {0xF0, 0x31, k1, 0xF0, 0xF0, 0xA1, k1}},
      // 6 has magnitude 3, corrected by 1; 2 is new; 4 (magnitude 2) behind it is held.
      {true, {blockOf({{1, 6}, {3, 2}, {5, 4}}), empty}, {0x11, k1, k1, 0x10, k0, k0}},
      // 16 zeros before the last new coefficient are an F/0, after it none.
      {true, {blockOf({{18, -2}, {40, 6}})}, {0xF0, 0x11, k0, 0x00, k1}},
      // No new coefficient at all: only the end of the band. A new one behind three that stand.
      {true,
       {blockOf({{1, 6}, {2, -6}, {3, 4}, {5, -2}, {63, 6}})},
       {0x11, k0, k1, k1, k0, 0x00, k1}},
      {true, {blockOf({{40, 6}})}, {0x00, k1}},
  };
  for (const auto& row : rows) {
    Coder scan{nullptr, table.get()};
    const auto encode = row.refinement ? kEncodeAcRefine : kEncodeAcFirst;
    for (const Block& block : row.blocks) EXPECT_EQ(scan.call(encode, block.data()), 0);
    EXPECT_EQ(scan.call(encode, nullptr), 0);
    BitMaker expected;
    for (const int s : row.symbols) s < k0 ? expected.symbol(list, s) : expected.bits(s & 1, 1);
    EXPECT_EQ(scan.written(), expected.segment()) << &row - rows;
  }
}

TEST(Progressive, CategoryAndRunLimits) {
  constexpr auto kCount = ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
  constexpr Band kBand = {1, 63, 0};
  EncodeTable table(fullTable());
  const struct {
    int value;
    IppStatus coded, counted;
  } rows[] = {{1023, 0, 0},
              {1024, 0, ippStsJPEGDCTRangeErr},
              {2047, 0, ippStsJPEGDCTRangeErr},
              {-2048, ippStsJPEGDCTRangeErr, ippStsJPEGDCTRangeErr}};
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

}  // namespace
