// Entropy-coded bits of a band on their way out, in registers. The caller sees to the room.
#ifndef QRX_PRIMITIVES_STRIPS_ROW_WRITER_H_
#define QRX_PRIMITIVES_STRIPS_ROW_WRITER_H_

#include "primitives/huffman/bytes.h"
#include "primitives/strips/strips.h"

namespace {
namespace strips {

using namespace qrx::strips;

class RowWriter {
 public:
  RowWriter(Ipp8u* bytes, int position, const IppiEncodeHuffmanState& state)
      : start_(bytes), to_(bytes + position) {
    const int pending = state.bitCount & 7;
    bits_ = (state.bitAcc & 0xFFFFFF) >> (24 - pending);
    free_ = 64 - pending;
  }

  // The low `length` bits of `value`, which has no others.
  __attribute__((always_inline)) void put(uint64_t value, unsigned length) {
    free_ -= static_cast<int>(length);
    if (__builtin_expect(free_ < 0, 0)) {
      putWord(bits_ << (static_cast<int>(length) + free_) | value >> -free_);
      bits_ = value;
      free_ += 64;
    } else {
      bits_ = bits_ << length | value;
    }
  }

  // Up to the end of a byte.
  void padWithOnes() {
    const auto missing = static_cast<unsigned>(free_ & 7);
    put((1u << missing) - 1, missing);
  }

  // Whole bytes out, the rest into the record.
  void close(int* position, IppiEncodeHuffmanState* state) {
    uint64_t word = leftJustified();
    int pending = 64 - free_;
    for (; pending >= 8; pending -= 8, word <<= 8) putByte(static_cast<Ipp8u>(word >> 56));
    state->bitAcc = word >> 40;
    state->bitCount = pending;
    *position = static_cast<int>(to_ - start_);
  }

 private:
  uint64_t leftJustified() const { return free_ == 64 ? 0 : bits_ << free_; }

  void putByte(Ipp8u byte) {
    *to_++ = byte;
    if (byte == 0xFF) *to_++ = 0;
  }

  __attribute__((always_inline)) void putWord(uint64_t word) {
    if (__builtin_expect(anyByteIsFF(word), 0)) {
      for (int shift = 56; shift >= 0; shift -= 8) putByte(static_cast<Ipp8u>(word >> shift));
    } else {
      word = __builtin_bswap64(word);
      __builtin_memcpy(to_, &word, sizeof word);
      to_ += 8;
    }
  }

  Ipp8u* start_;
  Ipp8u* to_;
  uint64_t bits_;  // pending ones, right-justified below stale ones
  int free_;       // 64 less the pending ones
};

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_ROW_WRITER_H_
