// Entropy-coded bits of a strip on their way in, in registers. It reads by the rules of BitReader
// and at the same moments, so that either can go on where the other stopped.
#ifndef QRX_PRIMITIVES_STRIPS_ROW_READER_H_
#define QRX_PRIMITIVES_STRIPS_ROW_READER_H_

#include "primitives/huffman/bytes.h"
#include "primitives/strips/strips.h"
#include "primitives/unaligned.h"

namespace {
namespace strips {

using namespace qrx::strips;

// The symbol of a code of `shortest` bits or more at the top of `bits`, and its length; -1 where
// the primitives have to find it.
inline int longSymbol(const IppiDecodeHuffmanSpec& spec, uint64_t bits, int shortest, int* size) {
  for (int length = shortest; length <= 16; ++length) {
    const int code = static_cast<int>(bits >> (64 - length));
    if (!isCodeOf(spec, length, code)) continue;
    *size = length;
    const int symbol = symbolOf(spec, length, code);
    return symbol > kMaxSymbol ? -1 : symbol;
  }
  return -1;
}

// EXTEND of T.81 F.2.2.1 on the `size` bits at the top of `bits`, 0 to 15.
inline int valueOf(uint64_t bits, int size) {
  if (size == 0) return 0;
  const int value = static_cast<int>(bits >> (64 - size));
  return value + (((value >> (size - 1)) - 1) & (1 - (1 << size)));
}

class RowReader {
 public:
  RowReader() = default;

  // Whether the data can be read here at all: no marker was met, and the last byte of the buffer
  // is not 0xFF, which fails as soon as it is read.
  static bool serves(const ScanIn& scan) {
    const int position = load(scan.position);
    return load(scan.marker) == 0 && position >= 0 && position < scan.length &&
           scan.bytes[scan.length - 1] != 0xFF;
  }

  explicit RowReader(const ScanIn& scan)
      : from_(scan.bytes + load(scan.position)), end_(scan.bytes + scan.length) {
    const IppiDecodeHuffmanState& state = *scan.state;
    count_ = state.bitCount < 0 || state.bitCount > 64 ? 0 : state.bitCount;
    bits_ = count_ == 0 ? 0 : state.bitAcc << (64 - count_);
  }

  RowReader(const Ipp8u* from, const Ipp8u* end, uint64_t bits, int count)
      : from_(from), end_(end), bits_(bits), count_(count) {}

  void close(const ScanIn& scan) const {
    store(scan.position, static_cast<int>(from_ - scan.bytes));
    scan.state->bitAcc = count_ == 0 ? 0 : bits_ >> (64 - count_);
    scan.state->bitCount = count_;
  }

  // At least 32 bits, which a code and the value behind it never exceed. False at a marker, fill
  // bytes or the end.
  __attribute__((always_inline)) bool refill() {
    if (__builtin_expect(count_ >= 32, 1)) return true;
    if (__builtin_expect(end_ - from_ >= 8, 1)) {
      uint64_t word;
      __builtin_memcpy(&word, from_, sizeof word);
      if (__builtin_expect(!anyByteIsFF(word), 1)) {
        bits_ |= __builtin_bswap64(word) >> count_;
        from_ += (63 - count_) >> 3;
        count_ |= 56;
        return true;
      }
    }
    RowReader copy = *this;  // lets *this stay in registers
    readStuffed(&copy);
    *this = copy;
    return count_ >= 32;
  }

  // What is in hand.
  int count() const { return count_; }
  uint64_t bits() const { return bits_; }
  // What is read next, and where the data ends.
  const Ipp8u* from() const { return from_; }
  const Ipp8u* end() const { return end_; }
  // The next kLookUpBits bits.
  unsigned peek() const { return static_cast<unsigned>(bits_ >> (64 - kLookUpBits)); }

  // The symbol of a code that a look-up does not hold; -1 where the primitives have to find it.
  int longSymbol(const IppiDecodeHuffmanSpec& spec, int shortest = kLookUpBits + 1) {
    int length = 0;
    const int symbol = strips::longSymbol(spec, bits_, shortest, &length);
    if (symbol >= 0) drop(length);
    return symbol;
  }

  int value(int size) {
    const int result = valueOf(bits_, size);
    drop(size);
    return result;
  }

  void drop(int n) {
    bits_ <<= n;
    count_ -= n;
  }

 protected:
  __attribute__((noinline)) static void readStuffed(RowReader* reader) {
    RowReader& r = *reader;
    while (r.count_ <= 56) {
      if (r.from_ == r.end_) return;
      const uint64_t byte = *r.from_;
      const bool stuffed = byte == 0xFF && r.from_ + 1 < r.end_ && r.from_[1] == 0;
      if (byte == 0xFF && !stuffed) return;
      r.bits_ |= byte << (56 - r.count_);
      r.count_ += 8;
      r.from_ += stuffed ? 2 : 1;
    }
  }

  const Ipp8u* from_ = nullptr;
  const Ipp8u* end_ = nullptr;
  uint64_t bits_ = 0;  // at the top; below stand zeros or bits that come next anyway
  int count_ = 0;
};

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_ROW_READER_H_
