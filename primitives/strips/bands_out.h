// Progressive scans on their way out: a walk over the notes of what blocks hold makes the symbols
// of a scan, which are counted and, once there are codes for them, turned into bits.
#ifndef QRX_PRIMITIVES_STRIPS_BANDS_OUT_H_
#define QRX_PRIMITIVES_STRIPS_BANDS_OUT_H_

#include "primitives/huffman/codes.h"
#include "primitives/strips/band_store.h"
#include "primitives/strips/code_row.h"
#include "primitives/strips/row_writer.h"

namespace {
namespace strips {

// --- Symbols

constexpr int kNoSymbol = 256;  // of a token of bits alone
constexpr int kDcSymbols = 16;  // DC symbols of a component
constexpr int kMostTokensOfMcu = 256;
constexpr int kLongestRun = 0x7FFF;
constexpr int kHeldBitsLimit = 937;

// A symbol with up to 16 bits that follow it.
inline uint32_t token(int symbol, int count, unsigned bits) {
  return static_cast<unsigned>(symbol) | static_cast<unsigned>(count) << 9 | bits << 16;
}

inline int bitCountOf(uint32_t token) { return static_cast<int>(token >> 9 & 31); }

// The room of the tokens while it is being filled. A run of empty bands has its token where it
// begins, with the held correction bits behind it.
class TokenList {
 public:
  TokenList(Tokens* tokens, int* statistics)
      : tokens_(tokens),
        statistics_(statistics),
        end_(tokens->room),
        last_(tokens->room + tokens->capacity - kMostTokensOfMcu),
        run_(end_),
        eobRun_(tokens->eobRun),
        heldBits_(tokens->heldBits),
        extraBits_(tokens->extraBits) {
    const uint32_t* pending = tokens->room + tokens->complete;
    for (int i = 0; i < tokens->pending; ++i) *end_++ = pending[i];
  }

  bool isFull() const { return end_ > last_; }

  void close() {
    tokens_->complete = static_cast<int>((eobRun_ == 0 ? end_ : run_) - tokens_->room);
    tokens_->pending = static_cast<int>(end_ - tokens_->room) - tokens_->complete;
    tokens_->eobRun = eobRun_;
    tokens_->heldBits = heldBits_;
    tokens_->extraBits = extraBits_;
  }

  __attribute__((always_inline)) void symbol(int symbol, int count, unsigned bits) {
    ++statistics_[symbol];
    put(symbol, count, bits);
  }

  void put(int symbol, int count, unsigned bits) {
    *end_++ = token(symbol, count, bits);
    extraBits_ += count;
  }

  // The low `count` bits, up to 63, without a symbol.
  void bits(uint64_t bits, int count) {
    while (count > 0) {
      const int some = count < 16 ? count : 16;
      count -= some;
      put(kNoSymbol, some, static_cast<unsigned>(bits >> count) & ((1u << some) - 1));
    }
  }

  void emptyBand() {
    if (eobRun_ == 0) beginRun();
    if (++eobRun_ == kLongestRun) endRun();
  }

  // The rest of a band is empty but for corrections.
  void emptyBand(uint64_t corrections, int count) {
    if (eobRun_++ == 0) beginRun();
    heldBits_ += count;
    uint32_t* before = end_ - 1;
    if (before != run_ && bitCountOf(*before) + count <= 16) {
      extraBits_ += count;
      *before = token(kNoSymbol, bitCountOf(*before) + count,
                      *before >> 16 << count | static_cast<unsigned>(corrections));
    } else {
      bits(corrections, count);
    }
    if (eobRun_ == kLongestRun || heldBits_ > kHeldBitsLimit) endRun();
  }

  void endRun() {
    if (eobRun_ == 0) return;
    const int size = category(eobRun_) - 1;
    ++statistics_[size << 4];
    *run_ = token(size << 4, size, static_cast<unsigned>(eobRun_) & ((1u << size) - 1));
    extraBits_ += size;
    eobRun_ = heldBits_ = 0;
  }

 private:
  void beginRun() {
    run_ = end_;
    *end_++ = 0;
  }

  Tokens* tokens_;
  int* statistics_;
  uint32_t* end_;
  uint32_t* last_;
  uint32_t* run_;  // the token of the run, if there is one
  int eobRun_, heldBits_;
  int64_t extraBits_;
};

inline uint64_t bandPlaces(int Ss, int Se) { return (~uint64_t{0} >> (63 - Se + Ss)) << Ss; }

struct FirstBand {
  uint64_t band;
  int Ss, Se, Al;

  explicit FirstBand(const BandsOut& scan)
      : band(bandPlaces(scan.Ss, scan.Se)), Ss(scan.Ss), Se(scan.Se), Al(scan.Al) {}

  bool isEmpty(const Magnitudes& notes) const { return (notes.atLeast[Al] & band) == 0; }

  // False where a value has no symbol.
  __attribute__((always_inline)) bool walk(const Ipp16s* block, const Magnitudes& notes,
                                           TokenList* list) const {
    uint64_t mask = notes.atLeast[Al] & band;
    list->endRun();
    int last = Ss - 1;
    do {
      const int k = __builtin_ctzll(mask);
      mask &= mask - 1;
      int run = k - last - 1;
      last = k;
      for (; __builtin_expect(run > 15, 0); run -= 16) list->symbol(0xF0, 0, 0);
      const int value = block[own_pj_izigzag_index[k]], sign = value >> 31;
      const int magnitude = ((value ^ sign) - sign) >> Al;
      const int size = category(magnitude);
      if (__builtin_expect(size > kLargestAcSize, 0)) return false;
      const unsigned bits = static_cast<unsigned>(magnitude ^ sign) & ((1u << size) - 1);
      list->symbol(run << 4 | size, size, bits);
    } while (mask != 0);
    if (last != Se) list->emptyBand();
    return true;
  }
};

struct RefinedBand {
  uint64_t band;
  int Ss, Se, Al;

  explicit RefinedBand(const BandsOut& scan)
      : band(bandPlaces(scan.Ss, scan.Se)), Ss(scan.Ss), Se(scan.Se), Al(scan.Al) {}

  bool isEmpty(const Magnitudes& notes) const { return (notes.atLeast[Al] & band) == 0; }

  // Corrections up to the symbol at hand.
  struct Corrections {
    uint64_t bits = 0;
    int count = 0;

    // Behind a symbol and its sign.
    void follow(TokenList* list, int symbol, unsigned sign, int signBits) {
      list->endRun();
      if (__builtin_expect(count < 16, 1)) {
        list->symbol(symbol, signBits + count, sign << count | static_cast<unsigned>(bits));
      } else {
        list->symbol(symbol, signBits, sign);
        list->bits(bits, count);
      }
      *this = {};
    }
  };

  __attribute__((always_inline)) bool walk(const Ipp16s* block, const Magnitudes& notes,
                                           TokenList* list) const {
    uint64_t mask = notes.atLeast[Al] & band;
    const uint64_t fresh = mask & ~notes.atLeast[Al + 1];
    const int lastFresh = fresh == 0 ? 0 : 63 ^ __builtin_clzll(fresh);
    Corrections corrections;
    int last = Ss - 1, run = 0;
    do {
      const int k = __builtin_ctzll(mask);
      mask &= mask - 1;
      run += k - last - 1;
      last = k;
      for (; __builtin_expect(run > 15 && k <= lastFresh, 0); run -= 16) {
        corrections.follow(list, 0xF0, 0, 0);
      }
      const int value = block[own_pj_izigzag_index[k]];
      if ((fresh >> k & 1) != 0) {
        corrections.follow(list, run << 4 | 1, value > 0 ? 1 : 0, 1);
        run = 0;
      } else {
        const int magnitude = value < 0 ? -value : value;
        corrections.bits = corrections.bits << 1 | static_cast<unsigned>(magnitude >> Al & 1);
        ++corrections.count;
      }
    } while (mask != 0);
    if (run != 0 || last != Se || corrections.count != 0) {
      list->emptyBand(corrections.bits, corrections.count);
    }
    return true;
  }
};

// Fills the room of the tokens with an AC scan, from the block on that they stand at.
template <typename Band>
inline bool fillFromBands(const BandsOut& scan, Tokens* tokens, int* statistics) {
  const Band band(scan);
  TokenList list(tokens, statistics);
  int column = tokens->column;
  bool coded = true;
  for (; tokens->line < scan.grid.lines; ++tokens->line, column = 0) {
    const BlockLine blocks(scan.store, scan.grid.component, tokens->line);
    const Magnitudes* notes = scan.magnitudes + ptrdiff_t{tokens->line} * scan.grid.columns;
    for (; column < scan.grid.columns && !list.isFull() && coded; ++column) {
      if (band.isEmpty(notes[column])) {
        list.emptyBand();
      } else {
        coded = band.walk(blocks.block(column), notes[column], &list);
      }
    }
    if (column < scan.grid.columns || !coded) break;
  }
  tokens->column = column;
  tokens->atEnd = tokens->line >= scan.grid.lines;
  if (tokens->atEnd) list.endRun();
  list.close();
  return coded;
}

// Likewise with a DC scan.
inline bool fillFromDc(const BandsOut& scan, Tokens* tokens,
                       int* const (&statistics)[kComponents]) {
  TokenList list(tokens, nullptr);
  const int luma = lumaBlocks(scan.store.layout), perMcu = blocksPerMcu(scan.store.layout);
  int column = tokens->column;
  for (; tokens->line < scan.store.mcusDown; ++tokens->line, column = 0) {
    const ptrdiff_t first = ptrdiff_t{tokens->line} * scan.store.mcusAcross;
    for (; column < scan.store.mcusAcross && !list.isFull(); ++column) {
      const Ipp16s* dc = scan.dc + (first + column) * perMcu;
      if (scan.Ah != 0) {
        unsigned bits = 0;
        for (int b = 0; b < perMcu; ++b) {
          bits = bits << 1 | (static_cast<unsigned>(dc[b] >> scan.Al) & 1);
        }
        list.put(kNoSymbol, perMcu, bits);
        continue;
      }
      for (int b = 0; b < perMcu; ++b) {
        const int i = b < luma ? 0 : b - luma + 1;
        const int value = dc[b] >> scan.Al, difference = value - tokens->lastDc[i];
        tokens->lastDc[i] = static_cast<Ipp16s>(value);
        const int size = category(difference);
        if (size > kLargestDcSize) return false;
        ++statistics[i][size];
        list.put(kDcSymbols * i + size, size, extraBits(difference, size));
      }
    }
    if (column < scan.store.mcusAcross) break;
  }
  tokens->column = column;
  tokens->atEnd = tokens->line >= scan.store.mcusDown;
  list.close();
  return true;
}

inline bool fill(const BandsOut& scan, Tokens* tokens, int* const (&statistics)[kComponents]) {
  if (scan.Ss == 0) return fillFromDc(scan, tokens, statistics);
  return scan.Ah == 0 ? fillFromBands<FirstBand>(scan, tokens, statistics[0])
                      : fillFromBands<RefinedBand>(scan, tokens, statistics[0]);
}

inline void rewind(Tokens* tokens) {
  uint32_t* room = tokens->room;
  const int capacity = tokens->capacity;
  *tokens = {};
  tokens->room = room;
  tokens->capacity = capacity;
}

bool gather(const BandsOut& scan, Tokens* tokens) {
  rewind(tokens);
  int pieces = 0;
  while (!tokens->atEnd) {
    if (!fill(scan, tokens, scan.statistics)) return false;
    ++pieces;
  }
  tokens->pieces = pieces;
  return true;
}

// --- Bits

// Codes by the symbol of a token: the code, above five bits with its length.
struct CodesOfTokens {
  uint32_t of[kNoSymbol + 1];
  int64_t bits;  // of all symbols of the scan

  // False where a symbol of the scan has no code.
  bool take(const BandsOut& scan) {
    of[kNoSymbol] = 0;
    bits = 0;
    if (scan.Ss != 0) return takeTable(scan, 0, 256);
    for (int i = 0; i < kComponents && scan.Ah == 0; ++i) {
      if (!takeTable(scan, i, kDcSymbols)) return false;
    }
    return true;
  }

 private:
  bool takeTable(const BandsOut& scan, int i, int count) {
    const int* statistics = scan.statistics[i];
    const bool isShared = i > 0 && statistics == scan.statistics[i - 1];
    for (int symbol = 0; symbol < count; ++symbol) {
      const uint32_t entry = scan.tables[i]->entries[symbol], length = entry >> 16;
      if (statistics[symbol] != 0 && length - 1 >= 16) return false;
      of[count * i + symbol] = (entry & ((1u << (length & 31)) - 1)) << 5 | (length & 31);
      if (!isShared) bits += int64_t{statistics[symbol]} * length;
    }
    return true;
  }
};

inline void write(const Tokens& tokens, const CodesOfTokens& codes, RowWriter* to) {
  RowWriter writer = *to;
  for (int i = 0; i < tokens.complete; ++i) {
    const uint32_t token = tokens.room[i], code = codes.of[token & 511];
    const auto count = static_cast<unsigned>(bitCountOf(token));
    writer.put(uint64_t{code >> 5} << count | token >> 16, (code & 31) + count);
  }
  *to = writer;
}

bool code(const BandsOut& scan, Tokens* tokens) {
  CodesOfTokens codes;
  if (!codes.take(scan)) return false;
  const int position = load(scan.position);
  if (position < 0 || position > scan.length) return false;
  // All bytes stuffed, and the width of a store.
  if ((codes.bits + tokens->extraBits) / 8 * 2 + 32 > scan.length - position) return false;
  RowWriter writer(scan.bytes, position, {});
  if (tokens->pieces == 1) {
    write(*tokens, codes, &writer);
  } else {
    int unused[256] = {};
    rewind(tokens);
    while (!tokens->atEnd) {
      fill(scan, tokens, {unused, unused, unused});
      write(*tokens, codes, &writer);
    }
  }
  writer.padWithOnes();
  writer.close(scan.position, scan.state);
  __builtin_memset(scan.state, 0, sizeof *scan.state);
  return true;
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_BANDS_OUT_H_
