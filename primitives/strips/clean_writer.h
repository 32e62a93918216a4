// Entropy-coded bits of a strip on their way out: first without stuffing (T.81 F.1.2.3), so that a
// symbol asks for nothing, then stuffed a stretch at a time.
#ifndef QRX_PRIMITIVES_STRIPS_CLEAN_WRITER_H_
#define QRX_PRIMITIVES_STRIPS_CLEAN_WRITER_H_

#include "primitives/huffman/bytes.h"
#include "primitives/strips/strips.h"

namespace {
namespace strips {

using namespace qrx::strips;

// In registers. After a flush fewer than 8 bits are pending; up to 64 may be.
class CleanBits {
 public:
  CleanBits(Ipp8u* to, const IppiEncodeHuffmanState& state) : to_(to) {
    pending_ = static_cast<unsigned>(state.bitCount) & 7;
    bits_ = uint64_t{state.bitAcc & 0xFFFFFFu} >> (24 - pending_) << 1 << (63 - pending_);
  }

  // The low `length` bits of `value`, which has no others.
  __attribute__((always_inline)) void put(uint64_t value, unsigned length) {
    pending_ += length;
    bits_ |= value << (64 - pending_);
  }

  // A code with its value's bits, as WideCodes joins them.
  __attribute__((always_inline)) void putJoined(uint32_t joined) { put(joined >> 5, joined & 31); }

  __attribute__((always_inline)) void flush() {
    const uint64_t word = __builtin_bswap64(bits_);
    __builtin_memcpy(to_, &word, sizeof word);
    to_ += pending_ >> 3;
    bits_ <<= pending_ & 56;
    pending_ &= 7;
  }

  // Where the next byte goes.
  Ipp8u* to() const { return to_; }
  void moveTo(Ipp8u* to) { to_ = to; }

  // After a flush.
  void close(IppiEncodeHuffmanState* state) const {
    state->bitAcc = bits_ >> 40;
    state->bitCount = static_cast<int>(pending_);
  }

 private:
  Ipp8u* to_;
  uint64_t bits_;  // pending ones at the top, zeros below
  unsigned pending_;
};

// Bytes that wait for their stuffing, and where they go then. The caller sees to the room there.
class StuffedBytes {
 public:
  StuffedBytes(Ipp8u* bytes, int position) : start_(bytes), to_(bytes + position) {}

  Ipp8u* begin() { return waiting_; }

  // Of the next byte at most: all that wait up to `end` may need stuffing.
  int64_t highestPosition(const Ipp8u* end) const {
    return int64_t{position()} + 2 * waitingTo(end);
  }
  // When none wait.
  int position() const { return static_cast<int>(to_ - start_); }

  // Whether another MCU may not find room.
  bool isFull(const Ipp8u* end) const { return waitingTo(end) > kEnough; }

  // Writes what waits up to `end`.
  __attribute__((noinline)) void write(const Ipp8u* end) {
    Ipp8u* to = to_;
    const Ipp8u* from = waiting_;
    while (from != end) {
      if (end - from >= 8) {
        uint64_t word;
        __builtin_memcpy(&word, from, sizeof word);
        if (!anyByteIsFF(word)) {
          __builtin_memcpy(to, &word, sizeof word);
          from += 8;
          to += 8;
          continue;
        }
      }
      for (int i = 0; i < 8 && from != end; ++i) {
        const Ipp8u byte = *from++;
        *to++ = byte;
        if (byte == 0xFF) *to++ = 0;
      }
    }
    to_ = to;
  }

 private:
  static constexpr int kEnough = 512;
  // Of an MCU of six blocks, of 27 bits for a DC coefficient and 26 for others.
  static constexpr int kLongestMcu = (27 + 63 * 26) * 6 / 8 + 1;

  int waitingTo(const Ipp8u* end) const { return static_cast<int>(end - waiting_); }

  Ipp8u* start_;
  Ipp8u* to_;
  Ipp8u waiting_[kEnough + kLongestMcu + 8];
};

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_CLEAN_WRITER_H_
