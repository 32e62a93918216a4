// Huffman decoding: hand-made segments, ends and markers, runs past the block, checks; and the
// baseline decoder against a model that reads by the letter of the fill rule, on damaged scans.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "tests/forms/huffman_kit.h"
#include "tests/forms/random.h"

namespace {

constexpr IppStatus kEnded = ippStsJPEGOutOfBufErr;
constexpr IppStatus kCutOff = ippStsJPEGDCTRangeErr;

// A segment with the decoder's cursor, in memory of its own exact size.
struct Source {
  Bytes bytes;
  int position = 0;
  int marker = 0;
  Ipp16s lastDc = 0;
  DecodeState state = {};

  explicit Source(Bytes data) : bytes(std::move(data)) { bytes.shrink_to_fit(); }
  int length() const { return static_cast<int>(bytes.size()); }

  IppStatus block(Block* block, DecodeTable& dc, DecodeTable& ac) {
    static const Ipp8u kNothing = 0;
    return ippiDecodeHuffman8x8_JPEG_1u16s_C1(bytes.empty() ? &kNothing : bytes.data(), length(),
                                              &position, block->data(), &lastDc, &marker, dc.get(),
                                              ac.get(), state.get());
  }
  IppStatus one(int* value, DecodeTable& table) {
    Ipp16s difference = 0;
    const IppStatus status = ippiDecodeHuffmanOne_JPEG_1u16s_C1(
        bytes.data(), length(), &position, &difference, &marker, table.get(), state.get());
    *value = difference;
    return status;
  }
  IppStatus bit() {
    Ipp16s dc = 0;
    return ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes.data(), length(), &position, &dc,
                                                       &marker, 0, state.get());
  }
  IppStatus band(Block* block, int Ss, int Se, int Al, DecodeTable& table, bool refinement) {
    const auto decode = refinement ? ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1
                                   : ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
    return decode(bytes.data(), length(), &position, block->data(), &marker, Ss, Se, Al,
                  table.get(), state.get());
  }
};

Bytes joined(Bytes bytes, std::initializer_list<Ipp8u> more) {
  bytes.insert(bytes.end(), more);
  return bytes;
}

// DC 5, AC -1 at zig-zag 1 and 3 at zig-zag 20, end of block.
Bytes workedBlock() {
  return BitMaker()
      .symbol(typicalDcTable(), 3)
      .bits(5, 3)
      .symbol(typicalAcTable(), 0x01)
      .bits(0, 1)
      .symbol(typicalAcTable(), 0xF0)
      .symbol(typicalAcTable(), 0x22)
      .bits(3, 2)
      .symbol(typicalAcTable(), 0x00)
      .segment();
}

Block workedCoefficients() {
  Block block = {};
  block[0] = 5;
  block[1] = -1;
  block[static_cast<size_t>(naturalIndex(20))] = 3;
  return block;
}

class Decode : public testing::Test {
 protected:
  DecodeTable dc{typicalDcTable()};
  DecodeTable ac{typicalAcTable()};
  DecodeTable full{fullTable()};
  Block block;
};

TEST_F(Decode, WorkedBlock) {
  block.fill(99);
  Source source(workedBlock());
  EXPECT_EQ(source.block(&block, dc, ac), 0);
  EXPECT_EQ(block, workedCoefficients());
  EXPECT_EQ(source.lastDc, 5);
}

TEST_F(Decode, EndOfTheBuffer) {
  Source source(workedBlock());
  ASSERT_EQ(source.block(&block, dc, ac), 0);
  EXPECT_EQ(source.position, source.length());
  EXPECT_EQ(source.block(&block, dc, ac), kEnded);
  EXPECT_EQ(source.position, source.length());

  Source nothing(Bytes{});
  EXPECT_EQ(nothing.block(&block, dc, ac), kEnded);
  EXPECT_EQ(block, Block{});
}

TEST_F(Decode, Marker) {
  Source source(joined(workedBlock(), {0xFF, 0xD9}));
  ASSERT_EQ(source.block(&block, dc, ac), 0);
  EXPECT_EQ(block, workedCoefficients());
  EXPECT_EQ(source.block(&block, dc, ac), kCutOff);
  EXPECT_EQ(source.marker, 0xD9);
  EXPECT_EQ(source.position, source.length());
  EXPECT_EQ(source.block(&block, dc, ac), kCutOff) << "nothing is read while the marker stands";
  EXPECT_EQ(source.position, source.length());

  // The caller deals with the marker and goes on behind it.
  Source restart(joined(joined(workedBlock(), {0xFF, 0xD0}), {}));
  const Bytes second = workedBlock();
  restart.bytes.insert(restart.bytes.end(), second.begin(), second.end());
  ASSERT_EQ(restart.block(&block, dc, ac), 0);
  restart.block(&block, dc, ac);
  ASSERT_EQ(restart.marker, 0xD0);
  restart.marker = 0;
  restart.lastDc = 0;
  ippiDecodeHuffmanStateInit_JPEG_8u(restart.state.get());
  ASSERT_EQ(restart.block(&block, dc, ac), 0);
  EXPECT_EQ(block, workedCoefficients());
}

TEST_F(Decode, StuffedAndFillBytes) {
  // 0xFF 0x00 is data. Fill bytes before a marker are passed over.
  Source stuffed({0xFF, 0x00});
  for (int i = 0; i < 8; ++i) EXPECT_EQ(stuffed.bit(), 0);
  EXPECT_EQ(stuffed.marker, 0);
  EXPECT_EQ(stuffed.bit(), kEnded);

  int value;
  for (int kind = 0; kind < 4; ++kind) {
    Source source({0xFF, 0xFF, 0xD9, 0x00});
    const IppStatus status = kind == 0   ? source.block(&block, dc, ac)
                             : kind == 1 ? source.one(&value, dc)
                             : kind == 2 ? source.bit()
                                         : source.band(&block, 1, 63, 0, ac, false);
    EXPECT_EQ(status, kCutOff);
    EXPECT_EQ(source.marker, kind == 3 ? 0xFF : 0xD9);
    EXPECT_EQ(source.position, kind == 3 ? 2 : 3);
  }
}

TEST_F(Decode, BufferThatEndsInFF) {
  Source source({0x00, 0xFF});
  EXPECT_EQ(source.block(&block, dc, ac), kEnded);
  EXPECT_EQ(source.position, 2);
  int32_t bitsInHand;
  std::memcpy(&bitsInHand, reinterpret_cast<char*>(source.state.get()) + 8, 4);
  EXPECT_EQ(bitsInHand, 8);
}

TEST_F(Decode, NoCodeMatches) {
  Source ones({0xFF, 0x00, 0xFF, 0x00});
  EXPECT_EQ(ones.block(&block, dc, ac), kCutOff);
  Source more({0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 1,  2,  3,  4,
               5,    6,    7,    8,    9,    10,   11,   12,   13, 14, 15, 16});
  EXPECT_EQ(more.block(&block, dc, ac), kCutOff);
  DecodeTable empty({{}, {0}});
  Source zeros(Bytes(40));
  EXPECT_EQ(zeros.block(&block, empty, ac), kCutOff);
}

// The last of a table with a code of 16 ones.
TEST_F(Decode, CompleteTable) {
  HuffmanList list;
  list.bits.fill(1);
  list.bits[15] = 2;
  for (int i = 0; i < 17; ++i) list.values.push_back(static_cast<Ipp8u>(i));
  DecodeTable table(list);
  ASSERT_EQ(table.status, 0);
  Bytes stream = {0xFF, 0x00, 0xFF, 0x00};  // symbol 16: -32768
  const Bytes second = BitMaker().symbol(list, 15).bits(0, 15).symbol(list, 0).segment();
  stream.insert(stream.end(), second.begin(), second.end());
  Source source(stream);
  int value = 0;
  EXPECT_EQ(source.one(&value, table), 0);
  EXPECT_EQ(value, -32768);
  EXPECT_EQ(source.one(&value, table), 0);
  EXPECT_EQ(value, -32767);
  EXPECT_EQ(source.one(&value, table), 0);
  EXPECT_EQ(value, 0);
}

// A run that leads past the block puts its value at position 63 and nothing anywhere else.
TEST_F(Decode, RunPastTheBlock) {
  const HuffmanList list = fullTable();
  std::array<Ipp16s, 64 + 32> guarded;
  const auto decodeInto = [&](BitMaker& bits, auto&& call) {
    guarded.fill(0x5A5A);
    for (int i = 0; i < 200; ++i) bits.bits(0, 1);  // plain data behind
    Source source(bits.segment());
    std::fill_n(guarded.begin() + 16, 64, Ipp16s{0});
    EXPECT_EQ(call(source, guarded.data() + 16), 0);
    for (size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(guarded[i], 0x5A5A);
      EXPECT_EQ(guarded[80 + i], 0x5A5A);
    }
    for (size_t i = 0; i < 62; ++i) EXPECT_EQ(guarded[16 + i], i == 0 ? guarded[16] : 0) << i;
    return int{guarded[16 + 63]};
  };
  // Zig-zag 62 is natural 62, so the runs lead past the end from there.
  for (int run = 1; run <= 15; ++run) {
    BitMaker baseline;
    baseline.symbol(list, 0);
    for (int i = 0; i < 3; ++i) baseline.symbol(list, 0xF0);
    baseline.symbol(list, 0xD1).bits(1, 1);  // 48 + 13 zeros: position 62
    baseline.symbol(list, 16 * run + 3).bits(0b101, 3);
    EXPECT_EQ(decodeInto(baseline,
                         [&](Source& s, Ipp16s* out) {
                           return ippiDecodeHuffman8x8_JPEG_1u16s_C1(
                               s.bytes.data(), s.length(), &s.position, out, &s.lastDc, &s.marker,
                               full.get(), full.get(), s.state.get());
                         }),
              5);
    BitMaker first;
    first.symbol(list, 16 * run + 3).bits(0b101, 3);
    EXPECT_EQ(decodeInto(first,
                         [&](Source& s, Ipp16s* out) {
                           return ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(
                               s.bytes.data(), s.length(), &s.position, out, &s.marker, 63, 63, 1,
                               full.get(), s.state.get());
                         }),
              10);
    BitMaker refinement;
    refinement.symbol(list, 16 * run + 1).bits(1, 1);
    EXPECT_EQ(decodeInto(refinement,
                         [&](Source& s, Ipp16s* out) {
                           return ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(
                               s.bytes.data(), s.length(), &s.position, out, &s.marker, 63, 63, 1,
                               full.get(), s.state.get());
                         }),
              2);
  }
}

TEST_F(Decode, OneSample) {
  const HuffmanList list = fullTable();
  Source source(BitMaker()
                    .symbol(list, 0)
                    .symbol(list, 1)
                    .bits(0, 1)
                    .symbol(list, 15)
                    .bits(0, 15)
                    .symbol(list, 15)
                    .bits(0x7FFF, 15)
                    .symbol(list, 16)
                    .symbol(list, 200)
                    .symbol(list, 0)
                    .segment());
  for (const int expected : {0, -1, -32767, 32767, -32768, -32768, 0}) {
    int value = 77;
    EXPECT_EQ(source.one(&value, full), 0);
    EXPECT_EQ(value, expected);
  }
}

TEST_F(Decode, EndOfBandRun) {
  const HuffmanList list = fullTable();
  // A value, then a run of 3: this block and two more.
  Source source(BitMaker()
                    .symbol(list, 0x12)
                    .bits(0b10, 2)
                    .symbol(list, 0x10)
                    .bits(1, 1)
                    .symbol(list, 0x01)
                    .bits(0, 1)
                    .symbol(list, 0x00)
                    .segment());
  block = {};
  EXPECT_EQ(source.band(&block, 1, 63, 2, full, false), 0);
  EXPECT_EQ(block[8], 2 << 2);  // zig-zag 2
  for (int i = 0; i < 2; ++i) {
    const Bytes state(reinterpret_cast<Ipp8u*>(source.state.get()),
                      reinterpret_cast<Ipp8u*>(source.state.get()) + 12);
    const int position = source.position;
    EXPECT_EQ(source.band(&block, 1, 63, 2, full, false), 0);
    EXPECT_EQ(source.position, position);
    EXPECT_TRUE(
        std::equal(state.begin(), state.end(), reinterpret_cast<Ipp8u*>(source.state.get())));
  }
  block = {};
  EXPECT_EQ(source.band(&block, 1, 63, 2, full, false), 0);
  EXPECT_EQ(block[1], -4);
}

TEST_F(Decode, RefinementWorkedBits) {
  const HuffmanList list = fullTable();
  block = {};
  block[1] = 8;    // zig-zag 1
  block[8] = -8;   // zig-zag 2
  block[16] = 12;  // zig-zag 3: its bit 2 is set already
  block[63] = 8;
  // Past the three coefficients and one zero a new -4; then the end, correcting the last one.
  Source source(BitMaker()
                    .symbol(list, 0x11)
                    .bits(0, 1)
                    .bits(0b111, 3)
                    .symbol(list, 0x00)
                    .bits(1, 1)
                    .segment());
  EXPECT_EQ(source.band(&block, 1, 63, 2, full, true), 0);
  Block expected = {};
  expected[1] = 12;
  expected[8] = -12;
  expected[16] = 12;
  expected[static_cast<size_t>(naturalIndex(5))] = -4;
  expected[63] = 12;
  EXPECT_EQ(block, expected);
}

// --- The baseline decoder's model.

class Model {
 public:
  Model(const Bytes& bytes, const HuffmanList& list) : bytes_(bytes), list_(list) {}

  IppStatus block(Block* out) {
    *out = {};
    int symbol = 0, value = 0;
    if (const IppStatus status = decode(&symbol)) return status;
    if (const IppStatus status = extend(symbol & 15, &value)) return status;
    dc_ = static_cast<Ipp16s>(dc_ + value);
    (*out)[0] = dc_;
    for (int k = 1; k < 64; ++k) {
      if (const IppStatus status = decode(&symbol)) return status;
      k += symbol >> 4;
      if ((symbol & 15) == 0 && symbol != 0xF0) break;
      if ((symbol & 15) == 0) continue;
      if (const IppStatus status = extend(symbol & 15, &value)) return status;
      (*out)[static_cast<size_t>(naturalIndex(std::min(k, 63)))] = static_cast<Ipp16s>(value);
    }
    return 0;
  }

 private:
  IppStatus fill(size_t need) {
    while (marker_ == 0 && bits_.size() < 25) {
      if (next_ == bytes_.size()) return need > bits_.size() ? kEnded : 0;
      int byte = bytes_[next_++];
      if (byte == 0xFF) {
        do {
          if (next_ == bytes_.size()) return kEnded;
          byte = bytes_[next_++];
        } while (byte == 0xFF);
        if (byte != 0) {
          marker_ = byte;
          break;
        }
        byte = 0xFF;
      }
      for (int i = 7; i >= 0; --i) bits_.push_back((byte >> i & 1) != 0);
    }
    return need > bits_.size() ? kCutOff : 0;
  }

  IppStatus take(size_t count, int* value) {
    if (bits_.size() < count) {
      if (const IppStatus status = fill(count)) return status;
    }
    *value = peek(count);
    bits_.erase(bits_.begin(), bits_.begin() + static_cast<long>(count));
    return 0;
  }

  IppStatus extend(int size, int* value) {
    *value = 0;
    if (size == 0) return 0;
    const IppStatus status = take(static_cast<size_t>(size), value);
    if (*value < 1 << (size - 1)) *value += 1 - (1 << size);
    return status;
  }

  int peek(size_t count) const {
    int value = 0;
    for (size_t i = 0; i < count; ++i) value = value << 1 | (bits_[i] ? 1 : 0);
    return value;
  }

  bool matches(int code, size_t length, int* symbol) const {
    int first = 0, index = 0;
    for (size_t l = 1; l < length; ++l) {
      index += list_.bits[l - 1];
      first = (first + list_.bits[l - 1]) << 1;
    }
    if (code < first || code - first >= list_.bits[length - 1]) return false;
    *symbol = list_.values[static_cast<size_t>(index + code - first)];
    return true;
  }

  // Codes of up to 8 bits at once where so many are in hand, others bit by bit.
  IppStatus decode(int* symbol) {
    if (bits_.size() < 8) {
      if (const IppStatus status = fill(0)) return status;
    }
    size_t length = 1;
    int code = 0, bit = 0;
    if (bits_.size() >= 8) {
      for (; length <= 8; ++length) {
        if (matches(peek(length), length, symbol)) return take(length, &code);
      }
    }
    if (const IppStatus status = take(length, &code)) return status;
    for (; !matches(code, length, symbol); ++length, code = code << 1 | bit) {
      if (length == 16) return kCutOff;
      if (const IppStatus status = take(1, &bit)) return status;
    }
    return 0;
  }

  const Bytes& bytes_;
  const HuffmanList& list_;
  std::vector<bool> bits_;
  size_t next_ = 0;
  int marker_ = 0;
  Ipp16s dc_ = 0;
};

TEST_F(Decode, ReadingAheadChangesNothing) {
  const HuffmanList list = fullTable();
  EncodeTable codes(list);
  Random random(41);
  for (int trial = 0; trial < 3000; ++trial) {
    Bytes stream(1 << 14);
    int position = 0;
    Ipp16s lastDc = 0;
    EncodeState state;
    const std::vector<Block> blocks = randomBlocks(random(), 8, 11);
    for (size_t b = 0; b <= blocks.size(); ++b) {
      ASSERT_EQ(ippiEncodeHuffman8x8_JPEG_16s1u_C1(
                    blocks[b % 8].data(), stream.data(), static_cast<int>(stream.size()), &position,
                    &lastDc, codes.get(), codes.get(), state.get(), b == blocks.size()),
                0);
    }
    stream.resize(static_cast<size_t>(position));
    const size_t place = random() % stream.size();
    switch (trial % 6) {
      case 0: break;
      case 1: stream.resize(place + 1); break;
      case 2: stream[place] = 0xFF; break;
      case 3: stream[place] = random.byte(); break;
      case 4: stream.insert(stream.begin() + static_cast<long>(place), {0xFF, 0xFF, 0xD2}); break;
      default: stream[place] = 0; break;
    }
    if (trial % 5 == 0) stream.push_back(0xFF);
    Source source(stream);
    Model model(source.bytes, list);
    for (int b = 0; b < 12; ++b) {
      Block expected;
      const IppStatus status = model.block(&expected);
      ASSERT_EQ(source.block(&block, full, full), status) << trial << " block " << b;
      ASSERT_EQ(block, expected) << trial << " block " << b;
      if (status != 0) break;
    }
  }
}

// A position outside the buffer is an ended buffer.
TEST_F(Decode, PositionOutsideTheBuffer) {
  for (const int position : {-1, INT32_MIN, 41, INT32_MAX}) {
    Source source(Bytes(40));
    source.position = position;
    EXPECT_EQ(source.block(&block, dc, ac), kEnded);
    EXPECT_EQ(source.band(&block, 1, 63, 0, ac, true), kEnded);
    EXPECT_EQ(source.bit(), kEnded);
    EXPECT_EQ(source.position, position);
  }
}

TEST_F(Decode, ChecksInOrder) {
  const Bytes data(8, 1);
  const Ipp8u* src = data.data();
  int position = 0, marker = 0;
  Ipp16s last = 3;
  block.fill(7);
  Ipp16s* dst = block.data();
  DecodeState memory;
  auto* state = memory.get();
  auto* spec = dc.get();
  constexpr IppStatus kNull = ippStsNullPtrErr, kSize = ippStsSizeErr, kArg = ippStsBadArgErr;

  const auto baseline = ippiDecodeHuffman8x8_JPEG_1u16s_C1;
  EXPECT_EQ(baseline(nullptr, -1, nullptr, dst, &last, &marker, spec, spec, state), kNull);
  EXPECT_EQ(baseline(src, -1, nullptr, dst, &last, &marker, spec, spec, state), kArg);
  EXPECT_EQ(baseline(src, 8, nullptr, dst, &last, &marker, spec, spec, state), kNull);
  EXPECT_EQ(baseline(src, 8, &position, nullptr, &last, &marker, spec, spec, state), kNull);
  EXPECT_EQ(baseline(src, 8, &position, dst, nullptr, &marker, spec, spec, state), kNull);
  EXPECT_EQ(baseline(src, 8, &position, dst, &last, nullptr, spec, spec, state), kNull);
  EXPECT_EQ(baseline(src, 8, &position, dst, &last, &marker, nullptr, spec, state), kNull);
  EXPECT_EQ(baseline(src, 8, &position, dst, &last, &marker, spec, nullptr, state), kNull);
  EXPECT_EQ(baseline(src, 8, &position, dst, &last, &marker, spec, spec, nullptr), kNull);

  const auto one = ippiDecodeHuffmanOne_JPEG_1u16s_C1;
  EXPECT_EQ(one(nullptr, 0, nullptr, dst, &marker, spec, state), kNull);
  EXPECT_EQ(one(src, 0, nullptr, dst, &marker, spec, state), kSize);
  EXPECT_EQ(one(src, 8, &position, dst, &marker, nullptr, state), kNull);

  const auto dcFirst = ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1;
  EXPECT_EQ(dcFirst(src, 0, nullptr, dst, &last, &marker, 14, spec, state), kSize);
  EXPECT_EQ(dcFirst(src, 8, &position, dst, nullptr, &marker, 14, nullptr, state), kNull);
  EXPECT_EQ(dcFirst(src, 8, &position, dst, &last, &marker, 14, nullptr, state), kArg);
  EXPECT_EQ(dcFirst(src, 8, &position, dst, &last, &marker, 13, nullptr, state), kNull);
  EXPECT_EQ(dcFirst(src, 8, &position, dst, &last, &marker, 0, spec, nullptr), kNull);

  const auto dcRefine = ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1;
  EXPECT_EQ(dcRefine(src, 0, &position, dst, &marker, 14, nullptr), kSize);
  EXPECT_EQ(dcRefine(src, 8, &position, dst, nullptr, 14, nullptr), kNull);
  EXPECT_EQ(dcRefine(src, 8, &position, dst, &marker, -1, nullptr), kArg);
  EXPECT_EQ(dcRefine(src, 8, &position, dst, &marker, 0, nullptr), kNull);

  for (auto band :
       {ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1}) {
    EXPECT_EQ(band(nullptr, 0, &position, dst, &marker, 0, 63, 0, spec, state), kNull);
    EXPECT_EQ(band(src, 0, &position, dst, &marker, 0, 63, 0, spec, state), kSize);
    EXPECT_EQ(band(src, 8, &position, nullptr, &marker, 0, 63, 0, spec, state), kNull);
    for (const auto& [Ss, Se, Al] :
         {std::array{0, 5, 0}, {64, 64, 0}, {5, 4, 0}, {1, 64, 0}, {1, 63, 14}, {1, 63, -1}}) {
      EXPECT_EQ(band(src, 8, &position, dst, &marker, Ss, Se, Al, nullptr, state), kArg);
    }
    EXPECT_EQ(band(src, 8, &position, dst, &marker, 1, 63, 13, nullptr, state), kNull);
    EXPECT_EQ(band(src, 8, &position, dst, &marker, 1, 63, 13, spec, nullptr), kNull);
  }
  EXPECT_EQ(position, 0);
  EXPECT_EQ(last, 3);
  Block untouched;
  untouched.fill(7);
  EXPECT_EQ(block, untouched);
}

}  // namespace
