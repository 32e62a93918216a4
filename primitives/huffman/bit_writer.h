// Output of entropy-coded data: bytes with stuffing, and the two ways of collecting bits.
#ifndef QRX_PRIMITIVES_HUFFMAN_BIT_WRITER_H_
#define QRX_PRIMITIVES_HUFFMAN_BIT_WRITER_H_

#include "primitives/huffman/bytes.h"
#include "primitives/huffman/records.h"
#include "primitives/unaligned.h"

namespace {

// The caller's buffer. A position outside of it counts as full.
struct Output {
  Ipp8u* bytes;
  int length;
  int position;

  int room() const { return position < 0 || position > length ? 0 : length - position; }

  // Stores a byte, and the zero that follows a 0xFF. False when the buffer is full.
  bool put(Ipp8u byte) {
    if (room() == 0) return false;
    bytes[position++] = byte;
    if (byte != 0xFF) return true;
    if (room() == 0) return false;
    bytes[position++] = 0;
    return true;
  }
};

inline bool isCodeLength(unsigned length) { return length - 1 < 16; }

inline void clear(IppiEncodeHuffmanState* state) { __builtin_memset(state, 0, sizeof *state); }

// The route bit string by bit string: at most 7 bits stay pending. A length of 0 stands for a
// symbol without a code. When the buffer fills up the state stays as it was.
inline IppStatus ownpj_write_bits_jpeg(Output* out, IppiEncodeHuffmanState* state, unsigned value,
                                       unsigned length) {
  if (!isCodeLength(length)) return ippStsJPEGHuffTableErr;
  unsigned pending = (static_cast<unsigned>(state->bitCount) & 7) + length;
  unsigned bits = static_cast<unsigned>(state->bitAcc);
  bits |= (value & ((1u << length) - 1)) << (24 - pending);
  for (; pending >= 8; pending -= 8) {
    if (!out->put(static_cast<Ipp8u>(bits >> 16))) return ippStsJPEGOutOfBufErr;
    bits = (bits << 8) & 0xFFFFFF;
  }
  state->bitAcc = bits;
  state->bitCount = static_cast<int32_t>(pending);
  return ippStsNoErr;
}

inline IppStatus writeSymbol(Output* out, IppiEncodeHuffmanState* state,
                             const IppiEncodeHuffmanSpec* table, int symbol) {
  const uint32_t entry = table->entries[symbol];
  return ownpj_write_bits_jpeg(out, state, entry & 0xFFFF, entry >> 16);
}

// The wide route: 0 to 63 bits pending, right-justified below stale ones; eight bytes go out at
// once when the 64 bits are full.
struct WideBits {
  uint64_t bits;
  int count;

  static bool putWord(Output* out, uint64_t word) {
    if (!anyByteIsFF(word) && out->room() >= 8) {
      const uint64_t bigEndian = __builtin_bswap64(word);
      __builtin_memcpy(out->bytes + out->position, &bigEndian, sizeof bigEndian);
      out->position += 8;
      return true;
    }
    return putBytes(out, word, 8);
  }

  // The upper `n` bytes of a word.
  static bool putBytes(Output* out, uint64_t word, int n) {
    for (int i = 0; i < n; ++i, word <<= 8) {
      if (!out->put(static_cast<Ipp8u>(word >> 56))) return false;
    }
    return true;
  }

  // Appends `length` bits, 1 to 32; `value` has no others. False when the buffer is full.
  bool put(Output* out, uint64_t value, int length) {
    const int free = 64 - count;
    if (length < free) {
      bits = bits << length | value;
      count += length;
      return true;
    }
    const int rest = length - free;
    if (!putWord(out, bits << free | value >> rest)) return false;  // free is at most 32 here
    bits = value;
    count = rest;
    return true;
  }

  // The pending bits at the top of a word.
  uint64_t leftJustified() const { return count == 0 ? 0 : bits << (64 - count); }
};

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_BIT_WRITER_H_
