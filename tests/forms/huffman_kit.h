// Tables, states and scans for the tests of the entropy primitives.
#ifndef QRX_TESTS_FORMS_HUFFMAN_KIT_H_
#define QRX_TESTS_FORMS_HUFFMAN_KIT_H_

#include <array>
#include <cstdint>
#include <vector>

#include "qrx/primitives.h"

using Block = std::array<Ipp16s, 64>;
using Bytes = std::vector<Ipp8u>;

// The content of a DHT segment: 16 counts, and the symbols.
struct HuffmanList {
  std::array<Ipp8u, 16> bits = {};
  Bytes values;
};

// The typical tables of T.81 K.3.3 for luminance.
HuffmanList typicalDcTable();
HuffmanList typicalAcTable();
// A table with a code for each of the 256 symbols.
HuffmanList fullTable();

// Records at an odd address, since they need no alignment.
template <typename Record, IppStatus (*getSize)(int*)>
class RecordMemory {
 public:
  RecordMemory() {
    int size = 0;
    getSize(&size);
    memory_.assign(static_cast<size_t>(size) + 1, 0xA5);
  }
  Record* get() { return reinterpret_cast<Record*>(memory_.data() + 1); }

 private:
  Bytes memory_;
};

struct EncodeTable : RecordMemory<IppiEncodeHuffmanSpec, ippiEncodeHuffmanSpecGetBufSize_JPEG_8u> {
  explicit EncodeTable(const HuffmanList& list) {
    status = ippiEncodeHuffmanSpecInit_JPEG_8u(list.bits.data(), list.values.data(), get());
  }
  IppStatus status;
};

struct DecodeTable : RecordMemory<IppiDecodeHuffmanSpec, ippiDecodeHuffmanSpecGetBufSize_JPEG_8u> {
  explicit DecodeTable(const HuffmanList& list) {
    status = ippiDecodeHuffmanSpecInit_JPEG_8u(list.bits.data(), list.values.data(), get());
  }
  IppStatus status;
};

struct EncodeState
    : RecordMemory<IppiEncodeHuffmanState, ippiEncodeHuffmanStateGetBufSize_JPEG_8u> {
  EncodeState() { ippiEncodeHuffmanStateInit_JPEG_8u(get()); }
};

struct DecodeState
    : RecordMemory<IppiDecodeHuffmanState, ippiDecodeHuffmanStateGetBufSize_JPEG_8u> {
  DecodeState() { ippiDecodeHuffmanStateInit_JPEG_8u(get()); }
};

// Natural index of a zig-zag place, from the walk along the diagonals.
int naturalIndex(int zigzag);

// Blocks of all densities with coefficients of up to `bits` bits.
std::vector<Block> randomBlocks(unsigned seed, size_t count, int bits);

// Bits of an entropy-coded segment, read one by one by the letter of T.81: the tests' own reader.
class BitString {
 public:
  explicit BitString(const Bytes& stuffed);
  int bit();
  int bits(int count);
  int extended(int count);
  int symbol(const HuffmanList& list);
  // What is left is the padding with ones: fewer than 8 bits.
  bool onlyPaddingLeft() const;

 private:
  Bytes bytes_;
  size_t next_ = 0;
};

// Bits put together into an entropy-coded segment with stuffing, code by code.
class BitMaker {
 public:
  BitMaker& bits(unsigned value, int count);
  BitMaker& symbol(const HuffmanList& list, int symbol);
  // The segment, its last byte filled up with ones.
  Bytes segment() const;

 private:
  std::vector<bool> bits_;
};

#endif  // QRX_TESTS_FORMS_HUFFMAN_KIT_H_
