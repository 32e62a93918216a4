// Blocks of a strip from entropy-coded bits to samples.
#ifndef QRX_PRIMITIVES_STRIPS_DECODE_ROW_H_
#define QRX_PRIMITIVES_STRIPS_DECODE_ROW_H_

#include "primitives/clear_block.h"
#include "primitives/form.h"
#include "primitives/strips/clean_bytes.h"
#include "primitives/strips/row_reader.h"
#include "primitives/strips/transform_row.h"
#include "primitives/zigzag.h"

namespace {
namespace strips {

// Natural places by zig-zag place. A run that leads past the block, and the end of a block, end on
// its last coefficient; a coefficient with the end behind it stands kEndBehind further.
struct Places {
  Ipp8u natural[kEndBehind + 63 + 16];
};

constexpr Places places() {
  Places result = {};
  for (int i = 0; i < static_cast<int>(sizeof result.natural); ++i) {
    const int k = i < kEndBehind ? i : i - kEndBehind;
    result.natural[i] = static_cast<Ipp8u>(own_pj_izigzag_index[k < 63 ? k : 63]);
  }
  return result;
}

constexpr Places kPlaces = places();

// The symbol at an entry that holds no value; -1 where the primitives have to say what there is.
inline int symbolAt(const WideTable::Entry& entry, const WideTable& table, RowReader* reader) {
  if (entry.skip == 0) {
    return entry.value == kStrangeSymbol ? -1 : reader->longSymbol(table.source);
  }
  reader->drop(entry.skip);
  return entry.value;
}

// Decodes a DC difference. False where the primitives have to do it.
__attribute__((always_inline)) inline bool decodeDcValue(const WideTable& table, RowReader* reader,
                                                         Ipp16s* lastDc) {
  if (!reader->refill()) return false;
  const WideTable::Entry entry = table.entries[reader->peek()];
  int difference = entry.value;
  if (__builtin_expect(entry.bits != 0, 1)) {
    reader->drop(entry.bits);
  } else {
    const int symbol = symbolAt(entry, table, reader);
    if (symbol < 0) return false;
    difference = reader->value(symbol & 15);
  }
  *lastDc = static_cast<Ipp16s>(*lastDc + difference);
  return true;
}

// The end of a block that a look-up foresaw. Behind the last coefficient there is none.
__attribute__((always_inline)) inline bool takeEnd(const WideTable& ac, RowReader* reader) {
  if (!reader->refill()) return false;
  reader->drop(ac.endBits);
  return true;
}

// *hasAc: whether there may be AC coefficients. False where the primitives have to decode it.
__attribute__((always_inline)) inline bool decodeBlock(const WideTable& dc, const WideTable& ac,
                                                       RowReader* reader, Ipp16s* lastDc,
                                                       Ipp16s* block, bool* hasAc) {
  clearBlock(block);
  if (!decodeDcValue(dc, reader, lastDc)) return false;
  block[0] = *lastDc;

  int k = 0;
  do {
    if (!reader->refill()) return false;
    const WideTable::Entry& entry = ac.entries[reader->peek()];
    int value = entry.value;
    if (__builtin_expect(entry.bits != 0, 1)) {
      reader->drop(entry.bits);
      k += entry.skip;
    } else {
      const int symbol = symbolAt(entry, ac, reader);
      if (symbol < 0) return false;
      const int size = symbol & 15;
      if (size == 0 && symbol != 0xF0) break;
      value = reader->value(size);
      k += (symbol >> 4) + 1;
    }
    // The end of a block comes here too, and leaves a zero in a place that holds none.
    block[kPlaces.natural[k]] = static_cast<Ipp16s>(value);
  } while (k < 63);
  *hasAc = k != 0 && k != kEndOfBlock;
  return k < kEndBehind + 63 && k >= kEndBehind ? takeEnd(ac, reader) : true;
}

// The same from data read ahead.
__attribute__((always_inline)) inline bool decodeBlockAhead(const WideTable& dc, const AcTable& ac,
                                                            CleanReader* reader, Ipp16s* lastDc,
                                                            Ipp16s* block, bool* hasAc) {
  clearBlock(block);
  // Short blocks go without a refill each.
  if (reader->count() < 2 * kLookUpBits) reader->refill();
  const WideTable::Entry dcEntry = dc.entries[reader->peek()];
  int difference = dcEntry.value;
  if (__builtin_expect(dcEntry.bits != 0, 1)) {
    reader->drop(dcEntry.bits);
  } else {
    const int symbol = reader->symbolAt(dcEntry, dc);
    if (symbol < 0) return false;
    difference = reader->value(symbol & 15);
    reader->refill();
  }
  *lastDc = static_cast<Ipp16s>(*lastDc + difference);
  block[0] = *lastDc;

  int k = 0;
  for (int inHand = 1;; --inHand) {
    if (inHand == 0) {
      reader->refill();
      inHand = CleanReader::kLookUps;
    }
    const AcTable::Pair& pair = ac.pairs[reader->peek()];
    if (__builtin_expect(pair.bits != 0, 1)) {
      const int first = k + pair.toFirst;
      block[kPlaces.natural[first]] = pair.first;
      // What is behind the last coefficient is of the next block.
      if (first >= 63) {
        reader->drop(pair.firstBits);
        k = first;
        break;
      }
      reader->drop(pair.bits);
      k += pair.toSecond;
      block[kPlaces.natural[k]] = pair.second;
    } else {
      const int symbol = reader->symbolAt(ac.entries[reader->peek()], ac);
      if (symbol < 0) return false;
      const int size = symbol & 15;
      if (size == 0 && symbol != 0xF0) break;
      const int value = reader->value(size);
      reader->refill();
      k += (symbol >> 4) + 1;
      block[kPlaces.natural[k]] = static_cast<Ipp16s>(value);
    }
    if (k >= 63) break;
  }
  *hasAc = k != 0 && k != kEndOfBlock;
  return true;
}

// Near the end of the data: a block whose symbols are all in a look-up and in hand, so that the
// primitives would not have to fetch anything either. False for others.
inline bool decodeLastBlock(const WideTable& dc, const WideTable& ac, RowReader* reader,
                            Ipp16s* lastDc, Ipp16s* block, bool* hasAc) {
  constexpr int kLeastBits = 8;  // with fewer the primitives look for more
  clearBlock(block);
  int k = 0;
  for (const WideTable* table = &dc; k < 63; table = &ac) {
    reader->refill();
    const WideTable::Entry entry = table->entries[reader->peek()];
    if (reader->count() < kLeastBits || entry.bits == 0 || entry.bits > reader->count()) {
      return false;
    }
    reader->drop(entry.bits);
    if (table == &dc) {
      *lastDc = block[0] = static_cast<Ipp16s>(*lastDc + entry.value);
      continue;
    }
    k += entry.skip >= kEndBehind ? entry.skip - kEndBehind : entry.skip;
    block[kPlaces.natural[k]] = entry.value;
  }
  *hasAc = k != kEndOfBlock;
  return true;
}

// The predictions of a scan while the reader is in force.
template <int kCount>
struct Predictions {
  Ipp16s of[kCount];

  void load(const ScanIn& scan) {
    for (int i = 0; i < kCount; ++i) of[i] = ::load(scan.lastDc[i]);
  }
  void store(const ScanIn& scan) const {
    for (int i = 0; i < kCount; ++i) ::store(scan.lastDc[i], of[i]);
  }
};

// One call of the route.
template <typename Place>
class RowDecoder {
 public:
  RowDecoder(const ScanIn& scan, int column, int count)
      : scan_(scan), column_(column), count_(count), reader_(scan), clean_(scan.ahead) {
    last_.load(scan);
  }

  int decode() {
    if (clean_.isInForce()) {
      isAhead_ = reads_ = true;
      ahead_ = clean_.goOn();
    } else {
      reads_ = RowReader::serves(scan_);
      isAhead_ = reads_ && clean_.serve(reader_);
      if (isAhead_) ahead_ = clean_.begin(reader_);
    }
    for (; done_ < count_; ++done_) {
      if (!(isAhead_ && decodeMcuAhead()) && !decodeMcu()) break;
      // Samples of two MCUs at once.
      if ((done_ & 1) != 0) {
        transformTwoMcus<Place>(scan_, column_ + done_ - 1, withAc_);
      }
    }
    if ((done_ & 1) != 0) {
      transformMcu<Place>(scan_, column_ + done_ - 1, withAc_[0]);
    }
    if (isAhead_) {
      clean_.keep(ahead_);
      last_.store(scan_);
    } else if (reads_) {
      close();
    }
    return done_;
  }

 private:
  Ipp16s* block(int b) const {
    return scan_.blocks + ptrdiff_t{64} * (Place::kBlocks * (column_ + done_) + b);
  }

  // Whether the MCU could be decoded from what was read ahead. Where not, the reader takes over.
  bool decodeMcuAhead() {
    clean_.keepFilled(&ahead_);
    Ipp16s* const first = block(0);
    BlocksWithAc* const current = &withAc_[done_ & 1];
    for (;;) {
      CleanReader reader = ahead_;  // in registers
      Predictions<Place::kComponents> last = last_;
      bool isThere = true;
      for (int b = 0; b < Place::kBlocks && isThere; ++b) {
        const int i = Place::componentOf(b);
        isThere = decodeBlockAhead(*scan_.dc[i], *scan_.ac[i], &reader, &last.of[i], first + 64 * b,
                                   &current->of[b]) &&
                  (__builtin_expect(clean_.holds(reader), 1) || isAtEnd(reader));
      }
      if (__builtin_expect(isThere, 1)) {
        ahead_ = reader;
        last_ = last;
        return true;
      }
      if (clean_.holds(reader) || !clean_.hasMore()) break;
      ahead_ = clean_.extended(ahead_);
    }
    reader_ = clean_.rest(ahead_);
    isAhead_ = false;
    return false;
  }

  // Where the data ends without a marker, and the tables say there what the primitives find.
  __attribute__((noinline, cold)) bool isAtEnd(CleanReader reader) const {
    bool agree = true;
    for (int i = 0; i < Place::kComponents; ++i)
      agree = agree && scan_.dc[i]->agrees && scan_.ac[i]->agrees;
    return agree && clean_.holdsToTheEnd(reader);
  }

  // False where the data is damaged: the block there is as far as it was decoded.
  bool decodeMcu() {
    if (reads_ && decodeBlocks()) return true;
    for (int b = 0; b < Place::kBlocks; ++b) {
      if (!decodeOne(b)) return false;
    }
    return true;
  }

  // The whole MCU. False, with nothing done, where the reader stops in it.
  bool decodeBlocks() {
    RowReader reader = reader_;  // in registers
    Predictions<Place::kComponents> last = last_;
    Ipp16s* const first = block(0);
    BlocksWithAc* const current = &withAc_[done_ & 1];
    for (int b = 0; b < Place::kBlocks; ++b) {
      const int i = Place::componentOf(b);
      if (!decodeBlock(*scan_.dc[i], *scan_.ac[i], &reader, &last.of[i], first + 64 * b,
                       &current->of[b])) {
        return false;
      }
    }
    reader_ = reader;
    last_ = last;
    return true;
  }

  // Block `b` of the MCU, by the form's primitive if need be.
  __attribute__((noinline)) bool decodeOne(int b) {
    // Here the MCU may fail in front of blocks that hold nothing yet.
    if (b == 0 && column_ + done_ >= scan_.held) {
      for (int i = 0; i < Place::kBlocks; ++i) clearBlock(block(i));
    }
    const int i = Place::componentOf(b);
    bool* const hasAc = &withAc_[done_ & 1].of[b];
    if (reads_) {
      RowReader reader = reader_;
      Ipp16s dc = last_.of[i];
      if (decodeLastBlock(*scan_.dc[i], *scan_.ac[i], &reader, &dc, block(b), hasAc)) {
        reader_ = reader;
        last_.of[i] = dc;
        return true;
      }
      close();
    }
    *hasAc = true;
    const IppStatus status = FORM(ippiDecodeHuffman8x8_JPEG_1u16s_C1)(
        scan_.bytes, scan_.length, scan_.position, block(b), scan_.lastDc[i], scan_.marker,
        &scan_.dc[i]->source, &scan_.ac[i]->source, scan_.state);
    reads_ = status >= 0 && RowReader::serves(scan_);
    reader_ = RowReader(scan_);
    last_.load(scan_);
    return status >= 0;
  }

  void close() const {
    reader_.close(scan_);
    last_.store(scan_);
  }

  const ScanIn& scan_;
  int column_, count_;
  RowReader reader_;
  Predictions<Place::kComponents> last_;
  bool reads_ = false;    // the reader is in force, else the records
  bool isAhead_ = false;  // the clean bytes are, else the reader
  int done_ = 0;
  BlocksWithAc withAc_[2];
  CleanReader ahead_;
  CleanBytes clean_;
};

template <typename Place>
__attribute__((noinline)) int decodeRow(const ScanIn& scan, int column, int count) {
  return RowDecoder<Place>(scan, column, count).decode();
}

int decode(const ScanIn& scan, int column, int count) {
  return forPlaceOf(scan,
                    [&]<typename Place>(Place) { return decodeRow<Place>(scan, column, count); });
}

void settle(const ScanIn& scan) {
  CleanBytes clean(scan.ahead);
  if (clean.isInForce()) clean.rest(clean.goOn()).close(scan);
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_DECODE_ROW_H_
