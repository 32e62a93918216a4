// Random numbers, and tables, states and scans for the tests of the entropy primitives.
#ifndef QRX_TESTS_FORMS_HUFFMAN_KIT_H_
#define QRX_TESTS_FORMS_HUFFMAN_KIT_H_

#include <array>
#include <random>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "primitives/huffman/records.h"
#include "qrx/primitives.h"

using Block = std::array<Ipp16s, 64>;
using Bytes = std::vector<Ipp8u>;
using Random = std::mt19937;

// The content of a DHT segment: 16 counts, and the symbols.
struct HuffmanList {
  std::array<Ipp8u, 16> bits = {};
  Bytes values = {};
};

// The typical tables of T.81 K.3.3 for luminance.
inline HuffmanList typicalDcTable() {
  return {{0, 1, 5, 1, 1, 1, 1, 1, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}

inline HuffmanList typicalAcTable() {
  HuffmanList list{{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D},
                   {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13,
                    0x51, 0x61, 0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42,
                    0xB1, 0xC1, 0x15, 0x52, 0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0A}};
  // The rest is of 16 bits and in order: what each run has left.
  for (int run = 0; run < 16; ++run) {
    const int first = std::array{11, 6, 5, 4, 3, 3, 3, 3, 3, 2, 2, 2, 2, 2, 1, 1}[size_t(run)];
    for (int size = first; size <= 10; ++size) list.values.push_back(Ipp8u(16 * run + size));
  }
  return list;
}

// A code for each of the 256 symbols, short and long ones.
inline HuffmanList fullTable() {
  HuffmanList list{{0, 0, 2, 4, 0, 0, 0, 0, 100, 0, 0, 100, 0, 0, 0, 50}};
  for (int symbol = 0; symbol < 256; ++symbol) list.values.push_back(Ipp8u(symbol * 37));
  return list;
}

// A record at an odd address, since records need no alignment. Tables are made of a list.
template <typename Record, auto init>
struct RecordMemory {
  RecordMemory() : status(init(get())) {}
  explicit RecordMemory(const HuffmanList& list)
      : status(init(list.bits.data(), list.values.data(), get())) {}
  Record* get() { return reinterpret_cast<Record*>(memory.data() + 1); }
  const Record* get() const { return reinterpret_cast<const Record*>(memory.data() + 1); }

  Bytes memory = Bytes(sizeof(Record) + 1, 0xA5);
  IppStatus status;
};
using EncodeTable = RecordMemory<IppiEncodeHuffmanSpec, ippiEncodeHuffmanSpecInit_JPEG_8u>;
using DecodeTable = RecordMemory<IppiDecodeHuffmanSpec, ippiDecodeHuffmanSpecInit_JPEG_8u>;
using EncodeState = RecordMemory<IppiEncodeHuffmanState, ippiEncodeHuffmanStateInit_JPEG_8u>;
using DecodeState = RecordMemory<IppiDecodeHuffmanState, ippiDecodeHuffmanStateInit_JPEG_8u>;

// Natural index by zig-zag place (T.81 figure A.6).
inline constexpr size_t kNatural[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// A block from pairs of zig-zag place and value.
inline Block blockOf(std::initializer_list<std::pair<size_t, int>> coefficients) {
  Block block = {};
  for (const auto& [zigzag, value] : coefficients) block[kNatural[zigzag]] = Ipp16s(value);
  return block;
}

// Blocks of all densities with coefficients of up to `bits` bits.
inline std::vector<Block> randomBlocks(unsigned seed, size_t count, unsigned bits) {
  Random random(seed);
  std::vector<Block> blocks(count, Block{});
  for (Block& block : blocks) {
    const unsigned density = unsigned(random() % 65);
    for (Ipp16s& value : block) {
      if (random() % 64 >= density) continue;
      const int magnitude = int(random() & ((2u << random() % bits) - 1));
      value = Ipp16s(random() % 2 == 0 ? magnitude : -magnitude);
    }
  }
  return blocks;
}

// The band of a progressive scan.
struct Band {
  int Ss = 1, Se = 63, Al = 1;
};

// The coders and decoders by short names.
inline constexpr auto kEncodeBlock = ippiEncodeHuffman8x8_JPEG_16s1u_C1;
inline constexpr auto kEncodeOne = ippiEncodeHuffmanOne_JPEG_16s1u_C1;
inline constexpr auto kEncodeDcFirst = ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1;
inline constexpr auto kEncodeDcRefine = ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1;
inline constexpr auto kEncodeAcFirst = ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
inline constexpr auto kEncodeAcRefine = ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
inline constexpr auto kDecodeBlock = ippiDecodeHuffman8x8_JPEG_1u16s_C1;
inline constexpr auto kDecodeOne = ippiDecodeHuffmanOne_JPEG_1u16s_C1;
inline constexpr auto kDecodeDcFirst = ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1;
inline constexpr auto kDecodeDcRefine = ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1;
inline constexpr auto kDecodeAcFirst = ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
inline constexpr auto kDecodeAcRefine = ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1;

// Whether F is the type of `function` and of those with its signature.
template <typename F, auto function>
inline constexpr bool kIs = std::is_same_v<F, decltype(function)>;

// A coder's destination with its state, for one scan: guard bytes stand behind the capacity.
struct Coder {
  const IppiEncodeHuffmanSpec *dc, *ac;
  size_t capacity = 1 << 20;
  Bytes bytes = Bytes(capacity + 16, 0x5A);
  int position = 0;
  Ipp16s lastDc = 0;
  EncodeState state = {};

  Bytes written() const { return {bytes.begin(), bytes.begin() + position}; }
  bool guarded() const { return Bytes(bytes.end() - 16, bytes.end()) == Bytes(16, 0x5A); }

  // One call, which fits the encoder's signature; the block is null for the flush.
  template <typename F>
  IppStatus call(F f, const Ipp16s* block, Band band = {}) {
    const auto with = [&](auto... rest) -> IppStatus {
      return f(block, bytes.data(), int(capacity), &position, rest..., state.get(), !block);
    };
    if constexpr (kIs<F, kEncodeBlock>) {
      return with(&lastDc, dc, ac);
    } else if constexpr (kIs<F, kEncodeOne>) {
      return with(dc);
    } else if constexpr (kIs<F, kEncodeDcFirst>) {
      return with(&lastDc, band.Al, dc);
    } else if constexpr (kIs<F, kEncodeDcRefine>) {
      return with(band.Al);
    } else {
      return with(band.Ss, band.Se, band.Al, ac);
    }
  }
};

// The statistics of a scan.
struct Counter {
  std::array<int, 256> counts = {};
  Ipp16s lastDc = 0;
  EncodeState state = {};

  template <typename F>
  IppStatus call(F f, const Ipp16s* block, Band band = {}) {
    if constexpr (kIs<F, ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1>) {
      return f(block, counts.data(), &lastDc, band.Al);
    } else {
      return f(block, counts.data(), band.Ss, band.Se, band.Al, state.get(), !block);
    }
  }
};

// A segment with the decoder's cursor, in memory of its own exact size.
struct Cursor {
  const IppiDecodeHuffmanSpec *dc, *ac;
  const Bytes bytes;
  int length = int(bytes.size());
  int position = 0;
  int marker = 0;
  Ipp16s lastDc = 0;
  DecodeState state = {};

  template <typename F>
  IppStatus call(F f, Ipp16s* out, Band band = {}) {
    const auto with = [&](auto... rest) -> IppStatus {
      return f(bytes.data(), length, &position, out, rest..., state.get());
    };
    if constexpr (kIs<F, kDecodeBlock>) {
      return with(&lastDc, &marker, dc, ac);
    } else if constexpr (kIs<F, kDecodeOne>) {
      return with(&marker, dc);
    } else if constexpr (kIs<F, kDecodeDcFirst>) {
      return with(&lastDc, &marker, band.Al, dc);
    } else if constexpr (kIs<F, kDecodeDcRefine>) {
      return with(&marker, band.Al);
    } else {
      return with(&marker, band.Ss, band.Se, band.Al, ac);
    }
  }
};

// Bits put together into an entropy-coded segment with stuffing, code by code.
class BitMaker {
 public:
  BitMaker& bits(unsigned value, int count) {
    while (count-- > 0) bits_.push_back((value >> count & 1) != 0);
    return *this;
  }
  BitMaker& bits(const char* text) {
    for (; *text != 0; ++text) {
      if (*text != ' ') bits(*text == '1', 1);
    }
    return *this;
  }
  BitMaker& symbol(const HuffmanList& list, int symbol) {
    unsigned code = 0;
    size_t index = 0;
    for (int length = 1; length <= 16; ++length, code <<= 1) {
      for (int i = 0; i < list.bits[size_t(length - 1)]; ++i, ++code, ++index) {
        if (list.values[index] == symbol) return bits(code, length);
      }
    }
    throw std::logic_error("no code for this symbol");
  }
  // The segment, its last byte filled up with ones.
  Bytes segment() const {
    Bytes bytes;
    for (size_t i = 0; i < bits_.size(); i += 8) {
      int byte = 0;
      for (size_t k = i; k < i + 8; ++k) byte = byte << 1 | (k >= bits_.size() || bits_[k] ? 1 : 0);
      bytes.push_back(Ipp8u(byte));
      if (byte == 0xFF) bytes.push_back(0);
    }
    return bytes;
  }

 private:
  std::vector<bool> bits_;
};

#endif  // QRX_TESTS_FORMS_HUFFMAN_KIT_H_
