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
  explicit CleanReader(const ReadAhead::Bits& next)
      : from_(next.from), bits_(next.bits), count_(next.count) {}

  ReadAhead::Bits next() const { return {from_, bits_, count_}; }

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
  // `ahead` stays the caller's; none: nothing is read ahead.
  explicit CleanBytes(ReadAhead* ahead) : ahead_(ahead) {}

  // Whether it is worth the while where a reader stands.
  bool serve(const RowReader& reader) const {
    return ahead_ != nullptr && reader.end() - reader.from() >= 64;
  }

  // Goes on where `reader` stands.
  CleanReader begin(const RowReader& reader) {
    ReadAhead& a = *ahead_;
    const int count = reader.count();
    a.begun = {reader.from(), reader.bits(), count};
    const uint64_t bits = __builtin_bswap64(count == 0 ? 0 : reader.bits() >> (64 - count));
    __builtin_memcpy(a.bytes, &bits, ReadAhead::kInHand);
    a.inHand = a.size = ReadAhead::kInHand;
    a.from = reader.from();
    a.end = reader.end();
    a.hasMore = true;
    readFurther(ahead_);
    const int at = 8 * ReadAhead::kInHand - count;
    return {a.bytes + at / 8, at % 8};
  }

  // From one call to the next.
  bool isInForce() const { return ahead_ != nullptr && ahead_->isInForce; }
  CleanReader goOn() const { return CleanReader(ahead_->next); }
  void keep(const CleanReader& reader) {
    ahead_->next = reader.next();
    ahead_->isInForce = true;
  }

  // Whether what was read up to there is data, with a margin behind it: what the primitives do at a
  // marker hangs on what they have in hand there, so that it is left to them. A block may be read
  // on to where zeros stand for data.
  bool holds(const CleanReader& reader) const {
    return reader.from() <= ahead_->bytes + ahead_->size - kMargin;
  }
  // The same without a margin, where the data ends without a marker.
  bool holdsToTheEnd(const CleanReader& reader) const {
    return ahead_->from == ahead_->end && placeOf(reader) <= 8 * ahead_->size;
  }

  // Reads further where an MCU might want it.
  __attribute__((always_inline)) void keepFilled(CleanReader* reader) {
    if (__builtin_expect(reader->from() > ahead_->bytes + ahead_->size - kLow, 0)) {
      const CleanReader moved = extended(*reader);
      *reader = moved;
    }
  }

  // Whether there may be more to read.
  bool hasMore() const { return ahead_->hasMore; }

  // Reads further, up to a marker, fill bytes or the end.
  __attribute__((noinline)) CleanReader extended(CleanReader reader) {
    if (!hasMore()) return reader;
    if (ahead_->size > ReadAhead::kRoom - kStep) {
      reader.moveBy(-moveToFront(placeOf(reader) / 8));
    }
    readFurther(ahead_);
    return reader;
  }

  // A reader of the data at the same place.
  RowReader rest(const CleanReader& reader) {
    const ReadAhead& a = *ahead_;
    ahead_->isInForce = false;
    const int at = placeOf(reader);
    if (at < 8 * a.inHand) {
      RowReader result(a.begun.from, a.end, a.begun.bits, a.begun.count);
      result.drop(at - (8 * a.inHand - a.begun.count));
      return result;
    }
    RowReader result(placeInData(at / 8), a.end, 0, 0);
    result.refill();
    result.drop(at % 8);
    return result;
  }

 private:
  static constexpr int kMargin = 8;  // bytes
  static constexpr int kLow = 128;   // bytes, more than most MCUs have
  static constexpr int kStep = 256;  // bytes read at a time

  // In bits.
  int placeOf(const CleanReader& reader) const {
    return 8 * static_cast<int>(reader.from() - ahead_->bytes) - reader.count();
  }

  __attribute__((noinline)) static void readFurther(ReadAhead* ahead) {
    ReadAhead& a = *ahead;
    const Ipp8u* const end = a.end;
    const Ipp8u* from = a.from;
    Ipp8u* to = a.bytes + a.size;
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
        a.hasMore = false;
        break;
      }
      *to++ = 0xFF;
      from += 2;
    }
    a.from = from;
    a.size = static_cast<int>(to - a.bytes);
    __builtin_memset(to, 0, ReadAhead::kBehind);
  }

  // Returns by how much.
  int moveToFront(int shift) {
    ReadAhead& a = *ahead_;
    __builtin_memmove(a.bytes, a.bytes + shift, static_cast<size_t>(a.size - shift));
    a.inHand = a.inHand > shift ? a.inHand - shift : 0;
    a.size -= shift;
    return shift;
  }

  // Of a clean byte.
  const Ipp8u* placeInData(int byte) const {
    const Ipp8u* const first = ahead_->begun.from;
    const Ipp8u* place = ahead_->from;
    for (int left = ahead_->size - byte; left > 0;) {
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

  ReadAhead* ahead_;
};

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_CLEAN_BYTES_H_
