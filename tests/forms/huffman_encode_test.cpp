// Huffman coding: bytes worked by hand from T.81's typical tables, ends of the buffer, checks, and
// round trips through decoders.
#include <gtest/gtest.h>

#include "tests/forms/huffman_kit.h"
#include "tests/forms/random.h"

namespace {

// A coder's destination with its state, for one scan.
struct Scan {
  Bytes bytes;
  int position = 0;
  Ipp16s lastDc = 0;
  EncodeState state = {};

  explicit Scan(size_t capacity = 1 << 16) : bytes(capacity, 0x5A) {}

  int length() const { return static_cast<int>(bytes.size()); }
  Bytes written() const { return {bytes.begin(), bytes.begin() + position}; }

  IppStatus block(const Block& block, EncodeTable& dc, EncodeTable& ac, bool flush = false) {
    return ippiEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), bytes.data(), length(), &position,
                                              &lastDc, dc.get(), ac.get(), state.get(), flush);
  }
  IppStatus bit(int value, bool flush = false) {
    const auto dc = static_cast<Ipp16s>(value);
    return ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(&dc, bytes.data(), length(), &position, 0,
                                                       state.get(), flush);
  }
  IppStatus sample(int value, EncodeTable& table, bool flush = false) {
    const auto difference = static_cast<Ipp16s>(value);
    return ippiEncodeHuffmanOne_JPEG_16s1u_C1(&difference, bytes.data(), length(), &position,
                                              table.get(), state.get(), flush);
  }
};

Block blockOf(std::initializer_list<std::pair<int, int>> coefficients) {
  Block block = {};
  for (const auto& [zigzag, value] : coefficients) {
    block[static_cast<size_t>(naturalIndex(zigzag))] = static_cast<Ipp16s>(value);
  }
  return block;
}

Bytes encoded(const Block& block) {
  EncodeTable dc(typicalDcTable()), ac(typicalAcTable());
  Scan scan;
  EXPECT_EQ(scan.block(block, dc, ac), 0);
  EXPECT_EQ(scan.block(block, dc, ac, true), 0);
  return scan.written();
}

TEST(EncodeBlock, WorkedBits) {
  // Codes: DC 0 00, DC 3 100, EOB 1010, 0/1 00, 2/1 11100, F/0 11111111001.
  EXPECT_EQ(encoded(Block{}), (BitMaker().bits(0b001010, 6).segment()));
  EXPECT_EQ(encoded(blockOf({{0, 5}, {1, -1}})),
            (BitMaker().bits(0b100101, 6).bits(0b000, 3).bits(0b1010, 4).segment()));
  EXPECT_EQ(encoded(blockOf({{0, 5}, {1, -1}})), (Bytes{0x94, 0x57}));
  EXPECT_EQ(encoded(blockOf({{0, -5}, {3, 1}})),
            (BitMaker().bits(0b100010, 6).bits(0b111001, 6).bits(0b1010, 4).segment()));
  // 16 zeros are one F/0; zeros up to the end are none.
  EXPECT_EQ(
      encoded(blockOf({{17, 1}})),
      (BitMaker().bits(0b00, 2).bits(0b11111111001, 11).bits(0b001, 3).bits(0b1010, 4).segment()));
  // A last coefficient leaves no end of block: three F/0, then E/1 1111111111101011.
  BitMaker last;
  last.bits(0b00, 2);
  for (int i = 0; i < 3; ++i) last.bits(0b11111111001, 11);
  EXPECT_EQ(encoded(blockOf({{63, -1}})), last.bits(0b1111111111101011, 16).bits(0, 1).segment());
}

// Everything that was coded, read back by the letter of T.81 F.2.2.
TEST(EncodeBlock, ReadsBack) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  const std::vector<Block> blocks = randomBlocks(31, 2000, 14);
  Scan scan(1 << 20);
  for (const Block& block : blocks) ASSERT_EQ(scan.block(block, table, table), 0);
  ASSERT_EQ(scan.block({}, table, table, true), 0);

  BitString bits(scan.written());
  int dc = 0;
  for (const Block& block : blocks) {
    Block read = {};
    dc += bits.extended(bits.symbol(list));
    read[0] = static_cast<Ipp16s>(dc);
    for (int k = 1; k < 64; ++k) {
      const int symbol = bits.symbol(list);
      if (symbol == 0) break;
      k += symbol >> 4;
      if (symbol != 0xF0) {
        read[static_cast<size_t>(naturalIndex(k))] =
            static_cast<Ipp16s>(bits.extended(symbol & 15));
      }
    }
    ASSERT_EQ(read, block);
  }
  EXPECT_TRUE(bits.onlyPaddingLeft());
}

TEST(EncodeBlock, DifferencesBeyond16Bits) {
  EncodeTable table(fullTable());
  Scan scan;
  ASSERT_EQ(scan.block(blockOf({{0, -32768}}), table, table), 0);
  ASSERT_EQ(scan.block(blockOf({{0, 32767}}), table, table), 0);  // 65535: category 16
  ASSERT_EQ(scan.block({}, table, table, true), 0);
  BitString bits(scan.written());
  EXPECT_EQ(bits.symbol(fullTable()), 16);
  EXPECT_EQ(bits.bits(16), 0x7FFF);
  bits.symbol(fullTable());
  EXPECT_EQ(bits.symbol(fullTable()), 16);
  EXPECT_EQ(bits.bits(16), 0xFFFF);
  EXPECT_EQ(scan.block(blockOf({{9, -32768}}), table, table), ippStsJPEGHuffTableErr);
}

TEST(EncodeBlock, SymbolWithoutCode) {
  EncodeTable dc(typicalDcTable()), ac(typicalAcTable());
  Scan scan;
  EXPECT_EQ(scan.block(blockOf({{1, 1}, {2, 5000}}), dc, ac), ippStsJPEGHuffTableErr);
  EXPECT_EQ(scan.block({}, dc, ac, true), 0);
  EXPECT_EQ(scan.written(), BitMaker().bits(0b00, 2).bits(0b001, 3).segment())
      << "what came before stays";
  EXPECT_EQ(scan.block(blockOf({{0, 5000}}), dc, ac), ippStsJPEGHuffTableErr);
  EXPECT_EQ(scan.lastDc, 5000);
}

TEST(Flush, PendingBits) {
  Scan none;
  EXPECT_EQ(none.bit(0, true), 0);
  EXPECT_EQ(none.position, 0);
  for (const auto& [bit, bytes] : {std::pair{0, Bytes{0x7F}}, {1, Bytes{0xFF, 0x00}}}) {
    Scan scan;
    EXPECT_EQ(scan.bit(bit), 0);
    EXPECT_EQ(scan.position, 0);
    EXPECT_EQ(scan.bit(0, true), 0);
    EXPECT_EQ(scan.written(), bytes);
    EXPECT_EQ(scan.bit(0, true), 0) << "the state is clear";
    EXPECT_EQ(scan.written(), bytes);
  }
}

// With each capacity the bytes that fit are those of the whole scan, and the statuses tell.
TEST(EncodeBlock, BufferTooSmall) {
  EncodeTable table(fullTable());
  const std::vector<Block> blocks = randomBlocks(32, 3, 9);
  Scan whole;
  for (const Block& block : blocks) ASSERT_EQ(whole.block(block, table, table), 0);
  ASSERT_EQ(whole.block({}, table, table, true), 0);
  const Bytes expected = whole.written();
  for (size_t capacity = 1; capacity < expected.size(); ++capacity) {
    Bytes guarded(capacity + 16, 0x5A);
    Scan scan;
    IppStatus status = 0;
    for (size_t b = 0; b <= blocks.size() && status == 0; ++b) {
      status = ippiEncodeHuffman8x8_JPEG_16s1u_C1(
          blocks[b % 3].data(), guarded.data(), static_cast<int>(capacity), &scan.position,
          &scan.lastDc, table.get(), table.get(), scan.state.get(), b == blocks.size());
    }
    ASSERT_EQ(status, ippStsJPEGOutOfBufErr) << capacity;
    ASSERT_EQ(scan.position, static_cast<int>(capacity));
    ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + static_cast<long>(capacity),
                           guarded.begin()));
    ASSERT_EQ(Bytes(guarded.end() - 16, guarded.end()), Bytes(16, 0x5A));
  }
}

TEST(EncodeBlock, OneByteShortFailsInTheFlush) {
  EncodeTable dc(typicalDcTable()), ac(typicalAcTable());
  Scan scan(3);  // 4 blocks of 6 bits are 3 bytes; a fifth leaves 6 bits for a fourth byte
  for (int b = 0; b < 5; ++b) EXPECT_EQ(scan.block({}, dc, ac), 0);
  EXPECT_EQ(scan.block({}, dc, ac, true), ippStsJPEGOutOfBufErr);
}

TEST(EncodeBlock, LastByteWithoutRoomForStuffing) {
  Scan scan(1);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(scan.bit(1), 0);
  EXPECT_EQ(scan.bit(1), ippStsJPEGOutOfBufErr);
  EXPECT_EQ(scan.position, 1);
  EXPECT_EQ(scan.bytes, Bytes{0xFF});
}

// A position that is not in the buffer counts as a full one and leads nowhere.
TEST(Encode, PositionOutsideTheBuffer) {
  EncodeTable table(fullTable());
  for (const int position : {-1, -100000, 17, 100000, INT32_MIN, INT32_MAX}) {
    Scan scan(16);
    scan.position = position;
    EXPECT_EQ(scan.block(randomBlocks(33, 1, 9)[0], table, table), ippStsJPEGOutOfBufErr);
    IppStatus status = 0;
    for (int i = 0; i < 20 && status == 0; ++i) {
      const Block block = blockOf({{1, 900}, {40, -300}, {63, 1}});
      status = ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block.data(), scan.bytes.data(), 16,
                                                          &scan.position, 1, 63, 0, table.get(),
                                                          scan.state.get(), 0);
    }
    EXPECT_EQ(status, ippStsJPEGOutOfBufErr);
    EXPECT_EQ(scan.position, position);
    EXPECT_EQ(scan.bytes, Bytes(16, 0x5A));
  }
}

TEST(EncodeOne, WorkedBits) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  Scan scan;
  BitMaker expected;
  for (const auto& [value, size, bits] : {std::tuple{0, 0, 0u},
                                          {1, 1, 1u},
                                          {-1, 1, 0u},
                                          {-2, 2, 1u},
                                          {300, 9, 300u},
                                          {-32767, 15, 0u},
                                          {32767, 15, 32767u},
                                          {-32768, 16, 0u}}) {
    EXPECT_EQ(scan.sample(value, table), 0);
    expected.symbol(list, size).bits(bits, size == 16 ? 0 : size);
  }
  EXPECT_EQ(scan.sample(0, table, true), 0);
  EXPECT_EQ(scan.written(), expected.segment());
}

// --- Progressive coding

struct Band {
  int Ss, Se, Al;
  bool refinement;
};

// The statistics of a band, its table, its segment, and the blocks that a decoder makes of it.
void transmit(const std::vector<Block>& blocks, const Band& band, std::vector<Block>* received) {
  std::array<int, 256> statistics = {};
  EncodeState counting;
  const auto count = band.refinement ? ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                                     : ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
  for (size_t b = 0; b <= blocks.size(); ++b) {
    const bool flush = b == blocks.size();
    ASSERT_EQ(count(flush ? nullptr : blocks[b].data(), statistics.data(), band.Ss, band.Se,
                    band.Al, counting.get(), flush),
              0);
  }
  HuffmanList list;
  list.values.resize(256);
  ASSERT_EQ(ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), list.bits.data(),
                                                  list.values.data()),
            0);
  EncodeTable codes(list);
  DecodeTable lookup(list);
  Scan scan(1 << 20);
  const auto encode = band.refinement ? ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1
                                      : ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
  for (size_t b = 0; b <= blocks.size(); ++b) {
    const bool flush = b == blocks.size();
    ASSERT_EQ(
        encode(flush ? nullptr : blocks[b].data(), scan.bytes.data(), scan.length(), &scan.position,
               band.Ss, band.Se, band.Al, codes.get(), scan.state.get(), flush),
        0);
  }
  const auto decode = band.refinement ? ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1
                                      : ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
  DecodeState state;
  int position = 0, marker = 0;
  for (Block& block : *received) {
    ASSERT_EQ(decode(scan.bytes.data(), scan.position, &position, block.data(), &marker, band.Ss,
                     band.Se, band.Al, lookup.get(), state.get()),
              0);
  }
  EXPECT_EQ(position, scan.position);
}

void roundTrip(std::vector<Block> blocks, const std::vector<Band>& bands) {
  for (Block& block : blocks) block[0] = 0;
  std::vector<Block> received(blocks.size(), Block{});
  for (const Band& band : bands) transmit(blocks, band, &received);
  EXPECT_EQ(received, blocks);
}

TEST(Progressive, RoundTrips) {
  const std::vector<Band> scans = {
      {1, 5, 2, false}, {6, 63, 2, false}, {1, 63, 1, true}, {1, 20, 0, true}, {21, 63, 0, true}};
  roundTrip(randomBlocks(34, 500, 9), scans);
  // Sparse blocks with long end-of-band runs between them.
  std::vector<Block> sparse(70000, Block{});
  for (size_t b = 7; b < sparse.size(); b = b * 2 + 3) sparse[b][b % 63 + 1] = 5;
  roundTrip(sparse, scans);
  // Blocks whose correction bits fill up the state: no new coefficient in the refinement.
  std::vector<Block> corrections(200, Block{});
  for (size_t b = 0; b < corrections.size(); ++b) {
    for (size_t i = 1; i < 64; ++i) corrections[b][i] = static_cast<Ipp16s>(i * b % 3 + 4);
  }
  roundTrip(corrections, {{1, 63, 1, false}, {1, 63, 0, true}});
}

TEST(Progressive, DcRoundTrip) {
  EncodeTable codes(typicalDcTable());
  DecodeTable lookup(typicalDcTable());
  const std::vector<Block> blocks = randomBlocks(35, 1000, 10);
  Scan first, refinement;
  for (size_t b = 0; b <= blocks.size(); ++b) {
    const bool flush = b == blocks.size();
    const Ipp16s* block = flush ? nullptr : blocks[b].data();
    ASSERT_EQ(ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, first.bytes.data(), first.length(),
                                                         &first.position, &first.lastDc, 1,
                                                         codes.get(), first.state.get(), flush),
              0);
    ASSERT_EQ(refinement.bit(flush ? 0 : block[0], flush), 0);
  }
  DecodeState firstState, refinementState;
  int position[2] = {}, marker = 0;
  Ipp16s lastDc = 0;
  for (const Block& block : blocks) {
    Ipp16s dc = 0;
    ASSERT_EQ(ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(first.bytes.data(), first.position,
                                                         &position[0], &dc, &lastDc, &marker, 1,
                                                         lookup.get(), firstState.get()),
              0);
    ASSERT_EQ(dc, block[0] & ~1);
    ASSERT_EQ(ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(refinement.bytes.data(),
                                                          refinement.position, &position[1], &dc,
                                                          &marker, 0, refinementState.get()),
              0);
    ASSERT_EQ(dc, block[0]);
  }
}

// The sequence of symbols of a band, worked by hand (T.81 figures G.3 to G.6).
TEST(Progressive, WorkedBits) {
  const HuffmanList list = fullTable();
  EncodeTable table(list);
  const auto scan = [&](bool refinement, std::initializer_list<Block> blocks) {
    const auto encode = refinement ? ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1
                                   : ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
    Scan result;
    for (const Block& block : blocks) {
      EXPECT_EQ(encode(block.data(), result.bytes.data(), result.length(), &result.position, 1, 63,
                       1, table.get(), result.state.get(), 0),
                0);
    }
    EXPECT_EQ(encode(nullptr, result.bytes.data(), result.length(), &result.position, 0, 0, 0,
                     table.get(), result.state.get(), 1),
              0);
    return result.written();
  };
  const Block empty = {};
  // Runs of one and of five empty bands.
  EXPECT_EQ(scan(false, {empty}), BitMaker().symbol(list, 0x00).segment());
  EXPECT_EQ(scan(false, {empty, empty, empty, empty, empty}),
            BitMaker().symbol(list, 0x20).bits(0b01, 2).segment());
  // The run goes out before the next coefficient; -7 >> 1 is magnitude 3.
  EXPECT_EQ(
      scan(false, {empty, blockOf({{3, -7}})}),
      BitMaker().symbol(list, 0x00).symbol(list, 0x22).bits(0b00, 2).symbol(list, 0x00).segment());
  EXPECT_EQ(scan(false, {blockOf({{20, 2}, {63, 2}})}), BitMaker()
                                                            .symbol(list, 0xF0)
                                                            .symbol(list, 0x31)
                                                            .bits(1, 1)
                                                            .symbol(list, 0xF0)
                                                            .symbol(list, 0xF0)
                                                            .symbol(list, 0xA1)
                                                            .bits(1, 1)
                                                            .segment());
  // Refinement: 6 has magnitude 3, corrected by 1; 2 is new; 4 (magnitude 2) behind it is held.
  EXPECT_EQ(scan(true, {blockOf({{1, 6}, {3, 2}, {5, 4}}), empty}), BitMaker()
                                                                        .symbol(list, 0x11)
                                                                        .bits(1, 1)
                                                                        .bits(1, 1)
                                                                        .symbol(list, 0x10)
                                                                        .bits(0, 1)
                                                                        .bits(0, 1)
                                                                        .segment());
  // 16 zeros before the last new coefficient are an F/0, after it none.
  EXPECT_EQ(scan(true, {blockOf({{18, -2}, {40, 6}})}), BitMaker()
                                                            .symbol(list, 0xF0)
                                                            .symbol(list, 0x11)
                                                            .bits(0, 1)
                                                            .symbol(list, 0x00)
                                                            .bits(1, 1)
                                                            .segment());
  // No new coefficient at all: only the end of the band.
  EXPECT_EQ(scan(true, {blockOf({{40, 6}})}), BitMaker().symbol(list, 0x00).bits(1, 1).segment());
}

TEST(Progressive, LongestEndOfBandRun) {
  std::array<int, 256> statistics = {};
  EncodeState state;
  const Block empty = {};
  for (int b = 0; b < 32767; ++b) {
    EXPECT_EQ(statistics[0xE0], 0);
    ASSERT_EQ(ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(empty.data(), statistics.data(), 1,
                                                              63, 0, state.get(), 0),
              0);
  }
  EXPECT_EQ(statistics[0xE0], 1) << "written with the block that completes it";
}

TEST(Progressive, CategoryLimits) {
  EncodeTable table(fullTable());
  const auto first = [&](int value) {
    const Block block = blockOf({{1, value}});
    Scan scan;
    return ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block.data(), scan.bytes.data(),
                                                      scan.length(), &scan.position, 1, 63, 0,
                                                      table.get(), scan.state.get(), 0);
  };
  const auto statistics = [](int value) {
    const Block block = blockOf({{1, value}});
    std::array<int, 256> counts = {};
    EncodeState state;
    return ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block.data(), counts.data(), 1, 63, 0,
                                                           state.get(), 0);
  };
  const auto dc = [&](int value) {
    const Block block = blockOf({{0, value}});
    Scan scan;
    std::array<int, 256> counts = {};
    Ipp16s last = 0;
    const IppStatus counted =
        ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.data(), counts.data(), &last, 0);
    EXPECT_EQ(counted, ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(
                           block.data(), scan.bytes.data(), scan.length(), &scan.position,
                           &scan.lastDc, 0, table.get(), scan.state.get(), 0));
    return counted;
  };
  EXPECT_EQ(first(2047), 0);
  EXPECT_EQ(first(-2048), ippStsJPEGDCTRangeErr);
  EXPECT_EQ(statistics(1023), 0);
  EXPECT_EQ(statistics(1024), ippStsJPEGDCTRangeErr);
  EXPECT_EQ(statistics(-32768), ippStsJPEGDCTRangeErr);
  EXPECT_EQ(dc(-2047), 0);
  EXPECT_EQ(dc(2048), ippStsJPEGDCTRangeErr);
}

// A state that a failed call left behind, or that was never initialised, leads to no access
// outside of it.
TEST(Progressive, DamagedState) {
  EncodeTable table(fullTable());
  Block block = {};
  for (size_t i = 1; i < 64; ++i) block[i] = 4;
  for (const Ipp8u fill : Bytes{0x00, 0x7F, 0x80, 0xFF, 0x03}) {
    Bytes memory(1044 + 64, fill);
    auto* state = reinterpret_cast<IppiEncodeHuffmanState*>(memory.data());
    Bytes out(8);
    int position = 8;
    for (int call = 0; call < 40; ++call) {
      ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block.data(), out.data(), 8, &position, 1, 63, 0,
                                                  table.get(), state, 0);
    }
    EXPECT_EQ(Bytes(memory.end() - 64, memory.end()), Bytes(64, fill));
    EXPECT_EQ(out, Bytes(8));
  }
}

TEST(Encode, ChecksInOrder) {
  EncodeTable table(typicalDcTable());
  EncodeState state;
  Block block = {};
  Ipp8u out[4] = {9, 9, 9, 9};
  int position = 0;
  Ipp16s last = 0;
  auto* spec = table.get();
  constexpr IppStatus kNull = ippStsNullPtrErr, kSize = ippStsSizeErr, kArg = ippStsBadArgErr;

  const auto baseline = ippiEncodeHuffman8x8_JPEG_16s1u_C1;
  const Ipp16s* src = block.data();
  EXPECT_EQ(baseline(nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0), kNull);
  EXPECT_EQ(baseline(nullptr, out, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0), kSize);
  EXPECT_EQ(baseline(nullptr, out, 4, nullptr, nullptr, nullptr, nullptr, state.get(), 1), kNull);
  EXPECT_EQ(baseline(nullptr, out, 4, &position, nullptr, nullptr, nullptr, nullptr, 1), kNull);
  EXPECT_EQ(baseline(nullptr, out, 4, &position, nullptr, nullptr, nullptr, state.get(), 1), 0);
  EXPECT_EQ(baseline(nullptr, out, 4, &position, &last, spec, spec, state.get(), 0), kNull);
  EXPECT_EQ(baseline(src, out, 4, &position, nullptr, spec, spec, state.get(), 0), kNull);
  EXPECT_EQ(baseline(src, out, 4, &position, &last, nullptr, spec, state.get(), 0), kNull);
  EXPECT_EQ(baseline(src, out, 4, &position, &last, spec, nullptr, state.get(), 0), kNull);

  const auto one = ippiEncodeHuffmanOne_JPEG_16s1u_C1;
  EXPECT_EQ(one(nullptr, out, -1, nullptr, nullptr, nullptr, 0), kSize);
  EXPECT_EQ(one(nullptr, out, 4, &position, nullptr, state.get(), 1), 0);
  EXPECT_EQ(one(nullptr, out, 4, &position, spec, state.get(), 0), kNull);
  EXPECT_EQ(one(src, out, 4, &position, nullptr, state.get(), 0), kNull);

  const auto dcFirst = ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1;
  EXPECT_EQ(dcFirst(nullptr, out, 4, &position, nullptr, 99, nullptr, state.get(), 1), 0);
  EXPECT_EQ(dcFirst(src, out, 4, &position, nullptr, 14, nullptr, state.get(), 0), kNull);
  EXPECT_EQ(dcFirst(src, out, 4, &position, &last, 14, nullptr, state.get(), 0), kArg);
  EXPECT_EQ(dcFirst(src, out, 4, &position, &last, -1, nullptr, state.get(), 0), kArg);
  EXPECT_EQ(dcFirst(src, out, 4, &position, &last, 13, nullptr, state.get(), 0), kNull);

  const auto dcRefine = ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1;
  EXPECT_EQ(dcRefine(nullptr, out, 4, &position, 14, state.get(), 0), kNull);
  EXPECT_EQ(dcRefine(src, out, 4, &position, 14, state.get(), 0), kArg);

  for (auto ac :
       {ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1}) {
    EXPECT_EQ(ac(nullptr, nullptr, 0, nullptr, 0, 0, 0, nullptr, nullptr, 0), kNull);
    EXPECT_EQ(ac(nullptr, out, 0, nullptr, 0, 0, 0, nullptr, nullptr, 0), kSize);
    EXPECT_EQ(ac(nullptr, out, 4, &position, 0, 0, 0, nullptr, state.get(), 1), kNull);
    EXPECT_EQ(ac(nullptr, out, 4, &position, 0, 0, 0, spec, state.get(), 1), 0);
    EXPECT_EQ(ac(nullptr, out, 4, &position, 0, 0, 0, spec, state.get(), 0), kNull);
    for (const auto& [Ss, Se, Al] :
         {std::array{0, 5, 0}, {64, 64, 0}, {5, 4, 0}, {1, 64, 0}, {1, 63, 14}, {1, 63, -1}}) {
      EXPECT_EQ(ac(src, out, 4, &position, Ss, Se, Al, spec, state.get(), 0), kArg);
    }
  }

  int counts[256] = {};
  const auto countDc = ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1;
  EXPECT_EQ(countDc(nullptr, counts, &last, 14), kNull);
  EXPECT_EQ(countDc(src, nullptr, &last, 14), kNull);
  EXPECT_EQ(countDc(src, counts, nullptr, 14), kNull);
  EXPECT_EQ(countDc(src, counts, &last, 14), kArg);
  for (auto count : {ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1,
                     ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1}) {
    EXPECT_EQ(count(nullptr, nullptr, 0, 0, 0, state.get(), 1), kNull);
    EXPECT_EQ(count(nullptr, counts, 0, 0, 0, nullptr, 1), kNull);
    EXPECT_EQ(count(nullptr, counts, 0, 0, 0, state.get(), 1), 0);
    EXPECT_EQ(count(nullptr, counts, 0, 0, 0, state.get(), 0), kNull);
    EXPECT_EQ(count(src, counts, 0, 63, 0, state.get(), 0), kArg);
    EXPECT_EQ(count(src, counts, 1, 63, 14, state.get(), 0), kArg);
  }
  EXPECT_EQ(position, 0);
  EXPECT_EQ(out[0], 9);
}

}  // namespace
