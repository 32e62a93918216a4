// Input of entropy-coded data: bits past stuffing, up to a marker, and Huffman symbols.
#ifndef QRX_PRIMITIVES_HUFFMAN_BIT_READER_H_
#define QRX_PRIMITIVES_HUFFMAN_BIT_READER_H_

#include "primitives/huffman/bytes.h"
#include "primitives/huffman/records.h"
#include "primitives/unaligned.h"

namespace {

constexpr Ipp16u kNoCode = 0xFFFF;

// What a decoder does with a 0xFF that follows a 0xFF: pass over it as a fill byte (T.81 B.1.1.2),
// or take it for a marker.
enum class FillBytes { kPass, kTakeAsMarker };

// The caller's buffer, marker and bits in hand, for the length of one call. Bits are kept at the
// top of a word; below them stand zeros or bits that come next anyway.
//
// fill() is the rule by which the data is read. topUp() reads ahead of it, eight bytes at once, and
// leaves to it whatever is not plain data: markers, fill bytes and the end. Reading ahead changes
// no result, with one exception: fill() fails on a buffer that ends in 0xFF as soon as it gets
// there, so that such a buffer is left to fill() alone.
class BitReader {
 public:
  BitReader(const Ipp8u* pSrc, int srcLenBytes, const int* pSrcCurrPos, const int* pMarker,
            const IppiDecodeHuffmanState* state, FillBytes fillBytes)
      : bytes_(pSrc),
        length_(srcLenBytes),
        position_(load(pSrcCurrPos)),
        marker_(load(pMarker)),
        count_(state->bitCount < 0 || state->bitCount > 64 ? 0 : state->bitCount),
        bits_(count_ == 0 ? 0 : state->bitAcc << (64 - count_)),
        fillBytes_(fillBytes) {
    readsAhead_ = marker_ == 0 && !atEnd() && bytes_[length_ - 1] != 0xFF;
  }

  void close(int* pSrcCurrPos, int* pMarker, IppiDecodeHuffmanState* state) const {
    store(pSrcCurrPos, position_);
    store(pMarker, marker_);
    state->bitAcc = count_ == 0 ? 0 : bits_ >> (64 - count_);
    state->bitCount = count_;
  }

  // The next symbol of `table`.
  IppStatus symbol(const IppiDecodeHuffmanSpec* table, int* result) {
    topUp();
    if (count_ < kLookupBits) {
      const IppStatus status = fill(0);
      if (status < 0) return status;
      if (count_ < kLookupBits) return search(table, 1, result);
    }
    const uint32_t entry = table->lookup[bits_ >> (64 - kLookupBits)];
    const unsigned length = entry >> 16;
    if (length - 1 >= kLookupBits) return search(table, kLookupBits + 1, result);
    skip(static_cast<int>(length));
    *result = static_cast<int>(entry & 0xFFFF);
    return ippStsNoErr;
  }

  // The next `n` bits, 1 to 16.
  IppStatus take(int n, int* result) {
    if (count_ < n) {
      const IppStatus status = fill(n);
      if (status < 0) return status;
    }
    *result = static_cast<int>(bits_ >> (64 - n));
    skip(n);
    return ippStsNoErr;
  }

  // EXTEND of T.81 F.2.2.1 on the next `size` bits, 1 to 15.
  IppStatus takeValue(int size, int* result) {
    const IppStatus status = take(size, result);
    if (status < 0) return status;
    const int half = 1 << (size - 1);
    if (*result < half) *result += 1 - 2 * half;
    return ippStsNoErr;
  }

 private:
  static constexpr int kLookupBits = 8;

  bool atEnd() const { return position_ < 0 || position_ >= length_; }

  void skip(int n) {
    bits_ <<= n;
    count_ -= n;
  }

  void append(Ipp8u byte) {
    bits_ |= uint64_t{byte} << (56 - count_);
    count_ += 8;
  }

  // At least 32 bits in hand, which a code and its extra bits never exceed, while there is plain
  // data to be read.
  void topUp() {
    if (count_ >= 32 || !readsAhead_) return;
    if (length_ - position_ >= 8) {
      uint64_t word;
      __builtin_memcpy(&word, bytes_ + position_, sizeof word);
      if (!anyByteIsFF(word)) {
        bits_ |= __builtin_bswap64(word) >> count_;
        position_ += (63 - count_) >> 3;
        count_ |= 56;
        return;
      }
    }
    BitReader copy = *this;  // lets *this stay in registers
    readStuffed(&copy);
    *this = copy;
  }

  __attribute__((noinline)) static void readStuffed(BitReader* reader) {
    BitReader& r = *reader;
    while (r.count_ <= 56) {
      const bool plain = !r.atEnd() && r.bytes_[r.position_] != 0xFF;
      const bool stuffed = !plain && r.position_ + 1 < r.length_ && r.bytes_[r.position_ + 1] == 0;
      if (!plain && !stuffed) {
        r.readsAhead_ = false;
        return;
      }
      r.append(r.bytes_[r.position_]);
      r.position_ += stuffed ? 2 : 1;
    }
  }

  // Reads until 25 bits are in hand, or up to a marker or the end. Fails where fewer than `need`
  // are then in hand, and at a 0xFF with which the buffer ends.
  IppStatus fill(int need) {
    BitReader copy = *this;
    const IppStatus status = ownpj_FillBitBuffer(&copy, need);
    *this = copy;
    return status;
  }

  __attribute__((noinline)) static IppStatus ownpj_FillBitBuffer(BitReader* reader, int need) {
    BitReader& r = *reader;
    while (r.marker_ == 0 && r.count_ < 25) {
      if (r.atEnd()) return need > r.count_ ? ippStsJPEGOutOfBufErr : ippStsNoErr;
      const Ipp8u byte = r.bytes_[r.position_++];
      if (byte != 0xFF) {
        r.append(byte);
        continue;
      }
      Ipp8u code;
      do {
        if (r.atEnd()) return ippStsJPEGOutOfBufErr;
        code = r.bytes_[r.position_++];
      } while (code == 0xFF && r.fillBytes_ == FillBytes::kPass);
      if (code == 0) {
        r.append(0xFF);
      } else {
        r.marker_ = code;
        r.readsAhead_ = false;
      }
    }
    return need > r.count_ ? ippStsJPEGDCTRangeErr : ippStsNoErr;
  }

  // Codes of `length` bits and more, bit by bit (T.81 F.2.2.3).
  IppStatus search(const IppiDecodeHuffmanSpec* table, int length, int* result) {
    BitReader copy = *this;
    const IppStatus status = ownpj_DecodeHuffSymbol(&copy, table, length, result);
    *this = copy;
    return status;
  }

  __attribute__((noinline)) static IppStatus ownpj_DecodeHuffSymbol(
      BitReader* reader, const IppiDecodeHuffmanSpec* table, int length, int* result) {
    int code = 0;
    IppStatus status = reader->take(length, &code);
    while (status >= 0) {
      // A table may end in the code of 16 ones, which as maxCode looks like none.
      const int first = table->minCode[length];
      const int last = table->maxCode[length];
      if (code <= last && (last != kNoCode || first != 0)) {
        *result = table->values[(table->valIndex[length] + code - first) & 255];
        return ippStsNoErr;
      }
      if (length == 16) break;
      int bit = 0;
      status = reader->take(1, &bit);
      code = code << 1 | bit;
      ++length;
    }
    *result = 0;
    return status < 0 ? status : ippStsJPEGDCTRangeErr;
  }

  const Ipp8u* bytes_;
  int length_;
  int position_;
  int marker_;
  int count_;
  uint64_t bits_;
  FillBytes fillBytes_;
  bool readsAhead_;
};

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_BIT_READER_H_
