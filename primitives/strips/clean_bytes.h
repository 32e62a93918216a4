// Entropy-coded data read ahead: a stretch of it without its stuffing (T.81 F.1.2.3), so that a
// symbol asks neither for stuffing nor for the end.
#ifndef QRX_PRIMITIVES_STRIPS_CLEAN_BYTES_H_
#define QRX_PRIMITIVES_STRIPS_CLEAN_BYTES_H_

#include "primitives/strips/row_reader.h"

namespace {
namespace strips {

// The bits of clean bytes, in registers.
class CleanReader {
 public:
  // Look-ups that one refill is good for: 56 bits.
  static constexpr int kLookUps = 5;
  static_assert(kLookUps * kLookUpBits <= 56);

  CleanReader() = default;
  CleanReader(const Ipp8u* from, int bit) : from_(from) {
    refill();
    drop(bit);
  }

  // What is read next. Up to 63 bits in front of it are in hand.
  const Ipp8u* from() const { return from_; }
  int count() const { return count_; }
  void moveBy(ptrdiff_t bytes) { from_ += bytes; }

  __attribute__((always_inline)) void refill() {
    uint64_t word;
    __builtin_memcpy(&word, from_, sizeof word);
    bits_ |= __builtin_bswap64(word) >> count_;
    from_ += (63 - count_) >> 3;
    count_ |= 56;
  }

  unsigned peek() const { return static_cast<unsigned>(bits_ >> (64 - kLookUpBits)); }

  __attribute__((always_inline)) void drop(int n) {
    bits_ <<= n;
    count_ -= n;
  }

  // The symbol at an entry that holds no value, with the bits of one in hand behind it; -1 where
  // the primitives have to say what there is.
  __attribute__((always_inline)) int symbolAt(WideTable::Entry entry, const WideTable& table) {
    refill();
    int length = entry.skip;
    int symbol = entry.value;
    if (length == 0) {
      if (symbol == kStrangeSymbol) return -1;
      symbol = longSymbol(table.source, bits_, kLookUpBits + 1, &length);
      if (symbol < 0) return -1;
    }
    drop(length);
    return symbol;
  }

  // EXTEND of T.81 F.2.2.1 on the next `size` bits, 0 to 15.
  __attribute__((always_inline)) int value(int size) {
    const int result = valueOf(bits_, size);
    drop(size);
    return result;
  }

 private:
  const Ipp8u* from_ = nullptr;
  uint64_t bits_ = 0;  // at the top; below stand bits that come next
  int count_ = 0;
};

class CleanBytes {
 public:
  // Whether it is worth the while where a reader stands.
  static bool serves(const RowReader& reader) { return reader.end() - reader.from() >= 64; }

  // Goes on where `reader` stands.
  CleanReader begin(const RowReader& reader) {
    begun_ = reader;
    const int count = reader.count();
    const uint64_t bits = __builtin_bswap64(count == 0 ? 0 : reader.bits() >> (64 - count));
    __builtin_memcpy(bytes_, &bits, kInHand);
    inHand_ = size_ = kInHand;
    from_ = reader.from();
    hasMore_ = true;
    readFurther(this);
    const int at = 8 * kInHand - count;
    return {bytes_ + at / 8, at % 8};
  }

  // Whether what was read up to there is data, with a margin behind it: what the primitives do at
  // the end hangs on what they have in hand there, so that it is left to them. A block may be read
  // on to where zeros stand for data.
  bool holds(const CleanReader& reader) const { return reader.from() <= bytes_ + size_ - kMargin; }

  // Reads further where an MCU might want it.
  __attribute__((always_inline)) void keepFilled(CleanReader* reader) {
    if (__builtin_expect(reader->from() > bytes_ + size_ - kLow, 0)) {
      const CleanReader moved = extended(*reader);
      *reader = moved;
    }
  }

  // Whether there may be more to read.
  bool hasMore() const { return hasMore_; }

  // Reads further, up to a marker, fill bytes or the end.
  __attribute__((noinline)) CleanReader extended(CleanReader reader) {
    if (!hasMore_) return reader;
    if (size_ > kRoom - kStep) reader.moveBy(-moveToFront(placeOf(reader) / 8));
    readFurther(this);
    return reader;
  }

  // A reader of the data at the same place.
  RowReader rest(const CleanReader& reader) const {
    const int at = placeOf(reader);
    RowReader result = begun_;
    if (at < 8 * inHand_) {
      result.drop(at - (8 * inHand_ - begun_.count()));
    } else {
      result = begun_.movedTo(placeInData(at / 8));
      result.refill();
      result.drop(at % 8);
    }
    return result;
  }

 private:
  static constexpr int kInHand = 8;       // bytes at the front for what the reader had in hand
  static constexpr int kMargin = 8;       // bytes
  static constexpr int kLow = 128;        // bytes, more than most MCUs have
  static constexpr int kStep = 256;       // bytes read at a time
  static constexpr int kRoom = 2048;      // for the longest MCU, 6 blocks of 248 bytes, and a step
  static constexpr int kBehind = 8 * 34;  // for a block of 64 symbols of 31 bits, and a word

  // In bits.
  int placeOf(const CleanReader& reader) const {
    return 8 * static_cast<int>(reader.from() - bytes_) - reader.count();
  }

  __attribute__((noinline)) static void readFurther(CleanBytes* clean) {
    CleanBytes& c = *clean;
    const Ipp8u* const end = c.begun_.end();
    const Ipp8u* from = c.from_;
    Ipp8u* to = c.bytes_ + c.size_;
    const Ipp8u* const wanted = to + kStep;
    while (to < wanted) {
      if (end - from >= 8) {
        uint64_t word;
        __builtin_memcpy(&word, from, sizeof word);
        __builtin_memcpy(to, &word, sizeof word);
        if (!anyByteIsFF(word)) {
          from += 8;
          to += 8;
          continue;
        }
      }
      // Byte by byte past the next 0xFF.
      while (from != end && *from != 0xFF) *to++ = *from++;
      if (end - from < 2 || from[1] != 0) {
        c.hasMore_ = false;
        break;
      }
      *to++ = 0xFF;
      from += 2;
    }
    c.from_ = from;
    c.size_ = static_cast<int>(to - c.bytes_);
    __builtin_memset(to, 0, kBehind);
  }

  // Returns by how much.
  int moveToFront(int shift) {
    __builtin_memmove(bytes_, bytes_ + shift, static_cast<size_t>(size_ - shift));
    inHand_ = inHand_ > shift ? inHand_ - shift : 0;
    size_ -= shift;
    return shift;
  }

  // Of a clean byte.
  const Ipp8u* placeInData(int byte) const {
    const Ipp8u* const first = begun_.from();
    const Ipp8u* place = from_;
    for (int left = size_ - byte; left > 0;) {
      if (left >= 8 && place - first > 8) {
        uint64_t word;
        __builtin_memcpy(&word, place - 8, sizeof word);
        if (!anyByteIsFF(word) && place[-9] != 0xFF) {
          place -= 8;
          left -= 8;
          continue;
        }
      }
      const bool stuffed = place - first >= 2 && place[-1] == 0 && place[-2] == 0xFF;
      place -= stuffed ? 2 : 1;
      --left;
    }
    return place;
  }

  RowReader begun_;
  const Ipp8u* from_;  // what is read next
  bool hasMore_;
  int inHand_;
  int size_;
  // The last bytes of a step may be those of a word.
  Ipp8u bytes_[kRoom + 8 + kBehind];
};

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_CLEAN_BYTES_H_
