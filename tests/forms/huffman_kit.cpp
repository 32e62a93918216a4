#include "tests/forms/huffman_kit.h"

#include <stdexcept>

#include "tests/forms/random.h"

HuffmanList typicalDcTable() {
  return {{0, 1, 5, 1, 1, 1, 1, 1, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}

HuffmanList typicalAcTable() {
  return {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D},
          {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61,
           0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42, 0xB1, 0xC1, 0x15, 0x52,
           0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0A, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x25,
           0x26, 0x27, 0x28, 0x29, 0x2A, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x43, 0x44, 0x45,
           0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x63, 0x64,
           0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x83,
           0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99,
           0x9A, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6,
           0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3,
           0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8,
           0xE9, 0xEA, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA}};
}

HuffmanList fullTable() {
  // 2 of 3 bits, 4 of 4, 100 of 9, the rest longer: short and long codes both occur.
  HuffmanList list{{0, 0, 2, 4, 0, 0, 0, 0, 100, 0, 0, 100, 0, 0, 0, 50}, {}};
  for (int symbol = 0; symbol < 256; ++symbol) {
    list.values.push_back(static_cast<Ipp8u>(symbol * 37));
  }
  return list;
}

int naturalIndex(int zigzag) {
  int row = 0, column = 0;
  for (int k = 0; k < zigzag; ++k) {
    const bool up = (row + column) % 2 == 0;
    if (up && column == 7) {
      ++row;
    } else if (up) {
      ++column;
      if (row > 0) --row;
    } else if (row == 7) {
      ++column;
    } else {
      ++row;
      if (column > 0) --column;
    }
  }
  return 8 * row + column;
}

std::vector<Block> randomBlocks(unsigned seed, size_t count, int bits) {
  Random random(seed);
  std::vector<Block> blocks(count);
  for (Block& block : blocks) {
    const unsigned density = random() % 65;
    for (Ipp16s& value : block) {
      value = 0;
      if (random() % 64 >= density) continue;
      const int magnitude =
          static_cast<int>(random() & ((2u << random() % static_cast<unsigned>(bits)) - 1));
      value = static_cast<Ipp16s>(random() % 2 == 0 ? magnitude : -magnitude);
    }
  }
  return blocks;
}

BitString::BitString(const Bytes& stuffed) {
  for (size_t i = 0; i < stuffed.size(); ++i) {
    bytes_.push_back(stuffed[i]);
    if (stuffed[i] == 0xFF) ++i;
  }
}

int BitString::bit() {
  if (next_ / 8 >= bytes_.size()) return 1;
  const int value = bytes_[next_ / 8] >> (7 - next_ % 8) & 1;
  ++next_;
  return value;
}

int BitString::bits(int count) {
  int value = 0;
  while (count-- > 0) value = value << 1 | bit();
  return value;
}

int BitString::extended(int count) {
  const int value = bits(count);
  return count == 0 || value >> (count - 1) != 0 ? value : value - (1 << count) + 1;
}

int BitString::symbol(const HuffmanList& list) {
  int code = 0, first = 0, index = 0;
  for (const int count : list.bits) {
    code = code << 1 | bit();
    if (code - first < count) return list.values[static_cast<size_t>(index + code - first)];
    index += count;
    first = (first + count) << 1;
  }
  return -1;
}

bool BitString::onlyPaddingLeft() const { return bytes_.size() * 8 - next_ < 8; }

BitMaker& BitMaker::bits(unsigned value, int count) {
  while (count-- > 0) bits_.push_back((value >> count & 1) != 0);
  return *this;
}

BitMaker& BitMaker::symbol(const HuffmanList& list, int symbol) {
  unsigned code = 0;
  size_t index = 0;
  for (int length = 1; length <= 16; ++length, code <<= 1) {
    for (int i = 0; i < list.bits[static_cast<size_t>(length - 1)]; ++i, ++code, ++index) {
      if (list.values[index] == symbol) return bits(code, length);
    }
  }
  throw std::logic_error("no code for this symbol");
}

Bytes BitMaker::segment() const {
  Bytes bytes;
  for (size_t i = 0; i < bits_.size(); i += 8) {
    int byte = 0;
    for (size_t k = i; k < i + 8; ++k) byte = byte << 1 | (k >= bits_.size() || bits_[k] ? 1 : 0);
    bytes.push_back(static_cast<Ipp8u>(byte));
    if (byte == 0xFF) bytes.push_back(0);
  }
  return bytes;
}
