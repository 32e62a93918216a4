// Progressive scans on their way in. A first scan sets coefficients by wide look-ups; a refinement
// works on a mask of the places that hold something already, and changes the block once all its
// bits are there.
#ifndef QRX_PRIMITIVES_STRIPS_BANDS_IN_H_
#define QRX_PRIMITIVES_STRIPS_BANDS_IN_H_

#include "primitives/strips/band_store.h"
#include "primitives/strips/code_row.h"
#include "primitives/strips/decode_row.h"

namespace {
namespace strips {

inline ScanIn bitsOf(const BandsIn& scan) {
  ScanIn bits = {};
  bits.bytes = scan.bytes;
  bits.length = scan.length;
  bits.position = scan.position;
  bits.marker = scan.marker;
  bits.state = scan.state;
  return bits;
}

#if defined(__BMI2__) && defined(__POPCNT__)
inline uint64_t reversed(uint64_t bits) {
  const auto exchange = [&](int distance, uint64_t lower) {
    bits = (bits >> distance & lower) | (bits & lower) << distance;
  };
  exchange(1, 0x5555555555555555);
  exchange(2, 0x3333333333333333);
  exchange(4, 0x0F0F0F0F0F0F0F0F);
  return __builtin_bswap64(bits);
}
#endif

class BandReader : public RowReader {
 public:
  using RowReader::RowReader;

  // The next `n` bits, 0 to 15, which are in hand.
  int bits(int n) {
    const int value = static_cast<int>(bits_ >> 1 >> (63 - n));
    drop(n);
    return value;
  }

  // A bit, 0 or 1, that may have to be fetched. False at a marker, fill bytes or the end.
  __attribute__((always_inline)) bool fetch(unsigned* bit) {
    if (__builtin_expect(count_ == 0, 0)) {
      BandReader copy = *this;
      fill(&copy);
      *this = copy;
      if (count_ == 0) return false;
    }
    *bit = static_cast<unsigned>(bits_ >> 63);
    drop(1);
    return true;
  }

#if defined(__BMI2__) && defined(__POPCNT__)
  // A bit for each of the places, if so many are in hand.
  __attribute__((always_inline)) bool scatter(uint64_t places, uint64_t* to) {
    const int count = __builtin_popcountll(places);
    if (__builtin_expect(count > count_ || count > 63, 0)) return false;
    *to |= _pdep_u64(reversed(bits_), places);
    drop(count);
    return true;
  }
#endif

  // The next symbol by the record's own look-up; -1 where there is none.
  int symbol(const IppiDecodeHuffmanSpec& spec) {
    const uint32_t entry = spec.lookup[bits_ >> 56];
    const unsigned length = entry >> 16;
    if (__builtin_expect(length - 1 < 8, 1)) {
      drop(static_cast<int>(length));
      return static_cast<int>(entry & 0xFFFF);
    }
    return longSymbol(spec, 9);
  }

 private:
  // At least 25 bits, or none where there is anything but data.
  __attribute__((noinline)) static void fill(BandReader* reader) {
    BandReader& r = *reader;
    const Ipp8u* from = r.from_;
    while (r.count_ < 25) {
      const bool stuffed = r.end_ - from >= 2 && from[0] == 0xFF && from[1] == 0;
      if (from == r.end_ || (*from == 0xFF && !stuffed)) {
        r.count_ = 0;
        return;
      }
      r.bits_ |= uint64_t{*from} << (56 - r.count_);
      r.count_ += 8;
      from += stuffed ? 2 : 1;
    }
    r.from_ = from;
  }
};

// A first scan of a band. False where the primitives have to decode the block.
__attribute__((always_inline)) inline bool decodeFirst(const BandsIn& scan, BandReader* reader,
                                                       Ipp16s* block, uint64_t* places,
                                                       int* eobRun) {
  int k = scan.Ss - 1;
  do {
    if (!reader->refill()) return false;
    const WideTable::Entry entry = scan.first->entries[reader->peek()];
    int value = entry.value;
    if (__builtin_expect(entry.bits != 0, 1)) {
      reader->drop(entry.bits);
      if (entry.skip == kEndOfBlock) {
        *eobRun = value;
        return true;
      }
      k += entry.skip;
    } else {
      const int symbol = symbolAt(entry, *scan.first, reader);
      if (symbol < 0) return false;
      const int run = symbol >> 4, size = symbol & 15;
      if (size == 0 && run < 15) {
        *eobRun = (1 << run) + reader->bits(run) - 1;
        return true;
      }
      k += run + 1;
      if (size == 0) continue;
      value = reader->value(size);
    }
    const int place = k < 63 ? k : 63;
    const auto stored = static_cast<Ipp16s>(value * (1 << scan.Al));
    block[own_pj_izigzag_index[place]] = stored;
    *places |= uint64_t{1} << place;
    if (__builtin_expect(stored == 0, 0)) *places ^= uint64_t{1} << place;
  } while (k < scan.Se);
  return true;
}

// Lower places than `place`, 0 to 64.
inline uint64_t below(int place) { return place == 64 ? ~uint64_t{0} : (uint64_t{1} << place) - 1; }

// The bit that `skip` others precede; none where there are not so many.
inline uint64_t bitAfter(uint64_t bits, int skip) {
#ifdef __BMI2__
  return _pdep_u64(uint64_t{1} << skip, bits);
#else
  for (; skip > 0 && bits != 0; --skip) bits &= bits - 1;
  return bits & -bits;
#endif
}

class BlockRefinement {
 public:
  BlockRefinement(const BandsIn& scan, BandReader* reader, uint64_t places)
      : scan_(scan),
        reader_(reader),
        band_(below(scan.Se + 1) & ~below(scan.Ss)),
        old_(places & band_) {}

  // Nothing but corrections, if anything, in a run of empty bands.
  bool correct() { return correct(old_); }

  bool decode(int* eobRun) {
    uint64_t left = band_;  // from the next place on
    while (left != 0) {
      if (!reader_->refill()) return false;
      const int symbol = reader_->symbol(*scan_.ac);
      if (static_cast<unsigned>(symbol) > kMaxSymbol) return false;
      const int run = symbol >> 4;
      unsigned positive = 0;
      const bool isFresh = (symbol & 15) != 0;
      if (isFresh) {
        positive = static_cast<unsigned>(reader_->bits(1));
      } else if (run < 15) {
        *eobRun = (1 << run) + reader_->bits(run) - 1;
        return correct(old_ & left);
      }
      const uint64_t place = bitAfter(left & ~old_, run);
      // A run that leads out of the band.
      if (place == 0 && isFresh) return false;
      if (!correct(old_ & left & (place - 1))) return false;
      if (isFresh) {
        fresh_ |= place;
        if (positive != 0) positive_ |= place;
      }
      left = place == 0 ? 0 : left & ~(place | (place - 1));
    }
    return true;
  }

  void apply(Ipp16s* block, uint64_t* places) const {
    const int step = 1 << scan_.Al;
    for (uint64_t mask = corrected_; mask != 0; mask &= mask - 1) {
      Ipp16s& value = block[own_pj_izigzag_index[__builtin_ctzll(mask)]];
      if ((value & step) == 0) value = static_cast<Ipp16s>(value > 0 ? value + step : value - step);
    }
    for (uint64_t mask = fresh_; mask != 0; mask &= mask - 1) {
      const bool isPositive = (positive_ & mask & -mask) != 0;
      block[own_pj_izigzag_index[__builtin_ctzll(mask)]] =
          static_cast<Ipp16s>(isPositive ? step : -step);
    }
    *places |= fresh_;
  }

 private:
  // A correction bit for each of the places.
  __attribute__((always_inline)) bool correct(uint64_t mask) {
#if defined(__BMI2__) && defined(__POPCNT__)
    if (__builtin_expect(reader_->scatter(mask, &corrected_), 1)) return true;
#endif
    while (mask != 0) {
      unsigned bit;
      if (!reader_->fetch(&bit)) return false;
      const uint64_t place = mask & -mask;
      corrected_ |= place & -uint64_t{bit};
      mask ^= place;
    }
    return true;
  }

  const BandsIn& scan_;
  BandReader* reader_;
  uint64_t band_;
  uint64_t old_;  // places of the band that hold something already
  uint64_t corrected_ = 0, fresh_ = 0, positive_ = 0;
};

__attribute__((always_inline)) inline bool refine(const BandsIn& scan, BandReader* reader,
                                                  Ipp16s* block, uint64_t* places, int* eobRun) {
  BlockRefinement refinement(scan, reader, *places);
  if (*eobRun > 0) {
    if (!refinement.correct()) return false;
    --*eobRun;
  } else if (!refinement.decode(eobRun)) {
    return false;
  }
  refinement.apply(block, places);
  return true;
}

template <bool kRefinement>
inline ptrdiff_t decodeBands(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  const ScanIn bits = bitsOf(scan);
  int eobRun = scan.state->eobRun;
  if (eobRun < 0 || !RowReader::serves(bits)) return 0;
  const int columns = scan.grid.columns;
  BandReader reader(bits);
  ptrdiff_t done = 0;
  bool decoded = true;
  while (done < count && decoded) {
    const ptrdiff_t line = (from + done) / columns;
    const int first = static_cast<int>(from + done - line * columns);
    const BlockLine blocks(scan.store, scan.grid.component, static_cast<int>(line));
    uint64_t* places = scan.places + line * columns;
    const int end =
        columns - first < count - done ? columns : first + static_cast<int>(count - done);
    int column = first;
    while (column < end) {
      if (eobRun > 0 &&
          (!kRefinement || (places[column] & (below(scan.Se + 1) & ~below(scan.Ss))) == 0)) {
        --eobRun;
        ++column;
        continue;
      }
      const BandReader before = reader;
      uint64_t after = places[column];
      int run = eobRun;
      Ipp16s* block = blocks.block(column);
      decoded = kRefinement ? refine(scan, &reader, block, &after, &run)
                            : decodeFirst(scan, &reader, block, &after, &run);
      if (__builtin_expect(!decoded, 0)) {
        reader = before;
        break;
      }
      eobRun = run;
      places[column++] = after;
    }
    done += column - first;
  }
  reader.close(bits);
  scan.state->eobRun = eobRun;
  return done;
}

inline ptrdiff_t decodeDcRefinement(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  const ScanIn bits = bitsOf(scan);
  if (!RowReader::serves(bits)) return 0;
  const int perMcu = blocksPerMcu(scan.store.layout);
  Ipp16s* block = scan.store.coefficients + 64 * perMcu * from;
  BandReader reader(bits);
  ptrdiff_t done = 0;
  for (; done < count; ++done) {
    const BandReader before = reader;
    int b = 0;
    for (unsigned bit; b < perMcu && reader.fetch(&bit); ++b, block += 64) {
      *block = static_cast<Ipp16s>(*block | static_cast<int>(bit << scan.Al));
    }
    if (b < perMcu) {
      reader = before;
      break;
    }
  }
  reader.close(bits);
  return done;
}

inline ptrdiff_t decodeDc(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  const ScanIn bits = bitsOf(scan);
  if (!RowReader::serves(bits)) return 0;
  const int luma = lumaBlocks(scan.store.layout), perMcu = blocksPerMcu(scan.store.layout);
  Ipp16s* block = scan.store.coefficients + 64 * perMcu * from;
  Ipp16s lastDc[kComponents];
  for (int i = 0; i < kComponents; ++i) lastDc[i] = load(scan.lastDc[i]);
  BandReader reader(bits);
  ptrdiff_t done = 0;
  for (; done < count; ++done) {
    const BandReader before = reader;
    Ipp16s dcBefore[kComponents];
    for (int i = 0; i < kComponents; ++i) dcBefore[i] = lastDc[i];
    bool decoded = true;
    for (int b = 0; b < perMcu; ++b, block += 64) {
      const int i = b < luma ? 0 : b - luma + 1;
      decoded = decodeDcValue(*scan.dc[i], &reader, &lastDc[i]);
      if (!decoded) break;
      *block = static_cast<Ipp16s>(lastDc[i] * (1 << scan.Al));
    }
    if (__builtin_expect(!decoded, 0)) {
      reader = before;
      for (int i = 0; i < kComponents; ++i) lastDc[i] = dcBefore[i];
      break;
    }
  }
  reader.close(bits);
  for (int i = 0; i < kComponents; ++i) store(scan.lastDc[i], lastDc[i]);
  return done;
}

ptrdiff_t decodeBand(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  if (scan.Ss == 0) {
    return scan.Ah == 0 ? decodeDc(scan, from, count) : decodeDcRefinement(scan, from, count);
  }
  return scan.Ah == 0 ? decodeBands<false>(scan, from, count)
                      : decodeBands<true>(scan, from, count);
}

void note(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  using namespace simd;
  for (ptrdiff_t i = from; i < from + count; ++i) {
    const auto line = static_cast<int>(i / scan.grid.columns);
    const int column = static_cast<int>(i % scan.grid.columns);
    const Ipp16s* block = BlockLine(scan.store, scan.grid.component, line).block(column);
    uint64_t places = 0;
    for (int j = 0; j < 8; j += 2) {
      const Vec128 bytes = narrow16(Vec128::load(block + 8 * j), Vec128::load(block + 8 * j + 8));
      const unsigned bits = ~signs8(equal8(bytes, Vec128::all16(0))) & 0xFFFF;
      places |= uint64_t{bits} << 8 * j;
    }
    places &= ~uint64_t{1};
    scan.places[i] = places == 0 ? 0 : zigzagMask(places);
  }
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_BANDS_IN_H_
