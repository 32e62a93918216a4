// Huffman tables of the strip routes: a code with the bits that follow it in one look-up. They are
// made from the records of the primitives and hold what those hold.
#ifndef QRX_PRIMITIVES_STRIPS_WIDE_TABLES_H_
#define QRX_PRIMITIVES_STRIPS_WIDE_TABLES_H_

#include <stdint.h>

#include "primitives/huffman/records.h"

namespace qrx::strips {

constexpr int kLargestAcSize = 10;  // of 8-bit samples (T.81 table F.2)
constexpr int kLargestDcSize = 11;  // T.81 table F.1

// Where the codes of AC values stand that have their bits in one look-up: after short runs large
// values are common, after long ones they are not. Runs that take a code of their own have none.
struct JoinedRuns {
  uint32_t half[64];   // by run: values from -half to half - 1 are there
  uint32_t count[64];  // that many
  uint32_t first[64];  // the place of value -half
};
constexpr JoinedRuns joinedRuns() {
  JoinedRuns runs = {};
  uint32_t next = 0;
  for (int run = 0; run < 16; ++run) {
    runs.half[run] = run == 0 ? 512 : run == 1 ? 256 : run < 4 ? 128 : 32;
    runs.count[run] = 2 * runs.half[run];
    runs.first[run] = next;
    next += runs.count[run];
  }
  return runs;
}
constexpr JoinedRuns kJoinedRuns = joinedRuns();
constexpr int kJoinedCodes = kJoinedRuns.first[15] + kJoinedRuns.count[15];

// For coding.
struct WideCodes {
  IppiEncodeHuffmanSpec source;  // that it was made from
  bool complete;                 // whether the record had every code that 8-bit samples take
  // Code and extra bits of a value, above five bits with their length together, by kJoinedRuns; DC
  // differences as after run 0.
  uint32_t joined[kJoinedCodes];
  // By symbol: the code, above eight bits with its length.
  uint32_t symbols[256];
};

// Make the table of a record, unless it is that record's already; tell whether it is complete.
bool makeDcCodes(const IppiEncodeHuffmanSpec& spec, WideCodes* codes);
bool makeAcCodes(const IppiEncodeHuffmanSpec& spec, WideCodes* codes);

constexpr int kLookUpBits = 10;  // more would crowd the nearest cache
constexpr int kEndOfBlock = 80;  // a skip that leads further than any run
constexpr int kEndBehind = 144;  // added to a skip: the end of the block follows the coefficient
constexpr int kMaxSymbol = 255;
constexpr int kStrangeSymbol = -1;  // a value: the symbol is above kMaxSymbol

// The search of the primitives among the codes of one length (T.81 F.2.2.3). A table may end in the
// code of 16 ones, which as maxCode looks like none.
static inline bool isCodeOf(const IppiDecodeHuffmanSpec& spec, int length, int code) {
  const int last = spec.maxCode[length];
  return code <= last && (last != 0xFFFF || spec.minCode[length] != 0);
}
static inline int symbolOf(const IppiDecodeHuffmanSpec& spec, int length, int code) {
  return spec.values[(spec.valIndex[length] + code - spec.minCode[length]) & 255];
}

// For decoding.
struct WideTable {
  // What the next kLookUpBits bits begin with. Where they hold a code but not all that follows it,
  // `bits` is 0, `value` the symbol and `skip` the code's length; without a whole code all are 0.
  // A record that was not made of lists may hold symbols that are none; the primitives take those.
  struct Entry {
    int16_t value;
    uint8_t bits;  // of the code and the value behind it
    uint8_t skip;  // AC: places to go on by, the coefficient's own among them
  };

  IppiDecodeHuffmanSpec source;
  bool made;
  bool agrees;      // with the search for codes of up to 8 bits, which the primitives go over to
                    // where fewer than 8 bits of data are left
  uint8_t endBits;  // AC: of the code that ends a block
  Entry entries[1 << kLookUpBits];
};

// For decoding AC coefficients ahead, two to a look-up.
struct AcTable : WideTable {
  // What the next kLookUpBits bits begin with: two coefficients, or one and the end of the block.
  // Where they hold no more than one of these it stands for both; where not even that, `bits` is 0.
  struct Pair {
    int16_t first, second;
    uint8_t bits;               // of all that the pair holds
    uint8_t toFirst, toSecond;  // places to go on by, from where the pair begins
    uint8_t firstBits;
  };

  Pair pairs[1 << kLookUpBits];
};

void makeDcTable(const IppiDecodeHuffmanSpec& spec, WideTable* table);
void makeAcTable(const IppiDecodeHuffmanSpec& spec, AcTable* table);

// For first scans of a band. A skip of kEndOfBlock ends the block and `value` more blocks with it;
// the symbol of 16 zeros stands without bits.
void makeBandTable(const IppiDecodeHuffmanSpec& spec, WideTable* table);

// The places of a row's coefficients in zig-zag order as bits of a mask, by which of the eight are
// not zero.
struct ZigzagMasks {
  uint64_t of[8][256];
};
extern const ZigzagMasks kZigzagMasks;

}  // namespace qrx::strips

#endif  // QRX_PRIMITIVES_STRIPS_WIDE_TABLES_H_
