// The tables are made once for a scan, or kept from the scan before.
#include "primitives/strips/wide_tables.h"

#include <cstdint>
#include <cstring>

#include "primitives/huffman/codes.h"
#include "primitives/zigzag.h"

namespace qrx::strips {
namespace {

template <typename Spec>
bool isMadeFrom(const Spec& made, const Spec& spec) {
  return std::memcmp(&made, &spec, sizeof spec) == 0;
}

constexpr int kLongestSkip = 16;  // of a coefficient

unsigned lengthOf(std::uint32_t entry) { return entry >> 16; }

bool isCode(std::uint32_t entry) { return lengthOf(entry) - 1 < 16; }

// Copies codes by symbol. False where an entry is no code: more than 16 bits, or bits beyond its
// length.
void copySymbols(const IppiEncodeHuffmanSpec& spec, WideCodes* codes) {
  for (int symbol = 0; symbol < 256; ++symbol) {
    const std::uint32_t entry = spec.entries[symbol];
    const std::uint32_t code = isCode(entry) ? entry & ((1u << lengthOf(entry)) - 1) : 0;
    codes->symbols[symbol] = isCode(entry) ? code << 8 | lengthOf(entry) : 0;
  }
}

// The values of one run, as symbols of DC or AC codes.
void joinRun(WideCodes* codes, int run) {
  const int half = static_cast<int>(kJoinedRuns.half[run]);
  for (int value = -half; value < half; ++value) {
    const int size = category(value);
    const std::uint32_t code = codes->symbols[run << 4 | size];
    const std::uint32_t bits = (code >> 8) << size | extraBits(value, size);
    codes->joined[static_cast<int>(kJoinedRuns.first[run]) + half + value] =
        bits << 5 | ((code & 255) + static_cast<unsigned>(size));
  }
}

constexpr ZigzagMasks zigzagMasks() {
  int place[64] = {};
  for (int k = 0; k < 64; ++k) place[own_pj_izigzag_index[k]] = k;
  ZigzagMasks masks{};
  for (int row = 0; row < 8; ++row) {
    for (int bits = 0; bits < 256; ++bits) {
      for (int column = 0; column < 8; ++column) {
        if ((bits >> column & 1) != 0) {
          masks.of[row][bits] |= std::uint64_t{1} << place[8 * row + column];
        }
      }
    }
  }
  return masks;
}

// The value in the first `size` of `spare` bits (T.81 F.2.2.1, EXTEND).
int valueIn(unsigned rest, int spare, int size) {
  if (size == 0) return 0;
  const int value = static_cast<int>(rest >> (spare - size));
  return value < 1 << (size - 1) ? value - (1 << size) + 1 : value;
}

WideTable::Entry makeEntry(int value, int bits, int skip) {
  return {static_cast<std::int16_t>(value), static_cast<std::uint8_t>(bits),
          static_cast<std::uint8_t>(skip)};
}

// A symbol and its code's length; 0 where no code is whole.
struct Code {
  int symbol, length;
};

// What the primitives find at the head of `bits`, whatever the record holds: a caller may have
// written it.
Code codeIn(const IppiDecodeHuffmanSpec& spec, unsigned bits) {
  const std::uint32_t entry = spec.lookup[bits >> (kLookUpBits - 8)];
  if (lengthOf(entry) - 1 < 8) {
    return {static_cast<int>(entry & 0xFFFF), static_cast<int>(lengthOf(entry))};
  }
  for (int length = 9; length <= kLookUpBits; ++length) {
    const auto code = static_cast<int>(bits >> (kLookUpBits - length));
    if (isCodeOf(spec, length, code)) return {symbolOf(spec, length, code), length};
  }
  return {0, 0};
}

// Whether looking up and searching give the same code, or none, for all that 8 bits can be. In a
// record that was not made of lists they may not.
bool searchAgrees(const IppiDecodeHuffmanSpec& spec) {
  constexpr unsigned kBits = 8;
  for (unsigned bits = 0; bits < 1u << kBits; ++bits) {
    const std::uint32_t entry = spec.lookup[bits];
    const unsigned lookedUp = lengthOf(entry) - 1 < kBits ? lengthOf(entry) : kBits + 1;
    unsigned found = 1;
    while (found <= kBits &&
           !isCodeOf(spec, static_cast<int>(found), static_cast<int>(bits >> (kBits - found)))) {
      ++found;
    }
    if (found != lookedUp) return false;
    if (found > kBits) continue;
    const int symbol =
        symbolOf(spec, static_cast<int>(found), static_cast<int>(bits >> (kBits - found)));
    if (symbol != static_cast<int>(entry & 0xFFFF)) return false;
  }
  return true;
}

bool isMadeFrom(const WideTable& table, const IppiDecodeHuffmanSpec& spec) {
  return table.made && isMadeFrom(table.source, spec);
}

// `entryOf` makes an entry of a symbol, its code's length, and the bits behind the code with their
// number.
template <typename EntryOf>
void makeEntries(const IppiDecodeHuffmanSpec& spec, WideTable* table, EntryOf entryOf) {
  table->source = spec;
  table->made = true;
  table->agrees = searchAgrees(spec);
  for (unsigned bits = 0; bits < 1u << kLookUpBits; ++bits) {
    const Code code = codeIn(spec, bits);
    WideTable::Entry& entry = table->entries[bits];
    if (code.length == 0) {
      entry = makeEntry(0, 0, 0);
    } else if (code.symbol > kMaxSymbol) {
      entry = makeEntry(kStrangeSymbol, 0, 0);
    } else {
      const int spare = kLookUpBits - code.length;
      entry = entryOf(code.symbol, code.length, bits & ((1u << spare) - 1), spare);
    }
  }
}

// An entry of a symbol whose low four bits are the size of the value behind it.
WideTable::Entry valueEntry(int symbol, int length, unsigned rest, int spare, int skip) {
  const int size = symbol & 15;
  return size <= spare ? makeEntry(valueIn(rest, spare, size), length + size, skip)
                       : makeEntry(symbol, 0, length);
}

// The code that ends a block, of up to 8 bits: the code, not its symbol, and its length.
struct EndCode {
  int code, length;
};

EndCode endIn(const IppiDecodeHuffmanSpec& spec) {
  constexpr unsigned kBits = 8, kEntries = 1 << kBits;
  const auto isEnd = [&](unsigned place) {
    return (spec.lookup[place] & 0xFFFF) == 0 && lengthOf(spec.lookup[place]) - 1 < kBits;
  };
  unsigned first = 0;
  while (first < kEntries && !isEnd(first)) ++first;
  if (first == kEntries) return {0, 0};
  const unsigned length = lengthOf(spec.lookup[first]), count = 1u << (kBits - length);
  // In a record that was not made of lists it may hang on the bits behind it.
  if (first % count != 0) return {0, 0};
  for (unsigned i = 1; i < count; ++i) {
    if (spec.lookup[first + i] != spec.lookup[first]) return {0, 0};
  }
  return {static_cast<int>(first / count), static_cast<int>(length)};
}

// Marks the values of AC entries behind which the end of the block stands.
void joinEnd(const IppiDecodeHuffmanSpec& spec, WideTable* table) {
  const EndCode end = endIn(spec);
  table->endBits = static_cast<std::uint8_t>(end.length);
  if (end.length == 0) return;
  for (unsigned bits = 0; bits < 1u << kLookUpBits; ++bits) {
    WideTable::Entry& entry = table->entries[bits];
    const int spare = kLookUpBits - entry.bits;
    if (entry.bits == 0 || entry.skip > kLongestSkip || spare < end.length) continue;
    const unsigned rest = bits & ((1u << spare) - 1);
    if (static_cast<int>(rest >> (spare - end.length)) != end.code) continue;
    entry.skip = static_cast<std::uint8_t>(entry.skip + kEndBehind);
  }
}

// An entry without an end behind it.
WideTable::Entry aloneOf(WideTable::Entry entry) {
  if (entry.skip >= kEndBehind) entry.skip = static_cast<std::uint8_t>(entry.skip - kEndBehind);
  return entry;
}

// What stands behind `first`, the entry at `bits`, if all of it lies in them; without bits if not.
WideTable::Entry entryBehind(const WideTable& table, unsigned bits, WideTable::Entry first) {
  if (first.bits != 0 && first.skip >= kEndBehind) return makeEntry(0, table.endBits, kEndOfBlock);
  const WideTable::Entry none = makeEntry(0, 0, 0);
  // Where a record was not made of lists, a code may hang on the bits behind it.
  if (!table.agrees || first.bits == 0 || first.skip > kLongestSkip) return none;
  const unsigned rest = bits << first.bits & ((1u << kLookUpBits) - 1);
  const WideTable::Entry second = table.entries[rest];
  // Behind the second there may be nothing but the zeros of the shift.
  return first.bits + second.bits <= kLookUpBits ? aloneOf(second) : none;
}

void joinPairs(AcTable* table) {
  for (unsigned bits = 0; bits < 1u << kLookUpBits; ++bits) {
    const WideTable::Entry entry = table->entries[bits], first = aloneOf(entry);
    const WideTable::Entry second = entryBehind(*table, bits, entry);
    AcTable::Pair& pair = table->pairs[bits];
    pair = {first.value, first.value, first.bits, first.skip, first.skip, first.bits};
    if (second.bits == 0) continue;
    pair.second = second.value;
    pair.bits = static_cast<std::uint8_t>(first.bits + second.bits);
    pair.toSecond = static_cast<std::uint8_t>(first.skip + second.skip);
  }
}

}  // namespace

bool makeDcCodes(const IppiEncodeHuffmanSpec& spec, WideCodes* codes) {
  if (codes->complete && isMadeFrom(codes->source, spec)) return true;
  codes->source = spec;
  copySymbols(spec, codes);
  codes->complete = true;
  for (int size = 0; size <= kLargestDcSize; ++size) codes->complete &= codes->symbols[size] != 0;
  joinRun(codes, 0);
  return codes->complete;
}

bool makeAcCodes(const IppiEncodeHuffmanSpec& spec, WideCodes* codes) {
  if (codes->complete && isMadeFrom(codes->source, spec)) return true;
  codes->source = spec;
  copySymbols(spec, codes);
  codes->complete = codes->symbols[0] != 0 && codes->symbols[0xF0] != 0;
  for (int run = 0; run < 16; ++run) {
    for (int size = 1; size <= kLargestAcSize; ++size) {
      codes->complete &= codes->symbols[run << 4 | size] != 0;
    }
    joinRun(codes, run);
  }
  return codes->complete;
}

void makeDcTable(const IppiDecodeHuffmanSpec& spec, WideTable* table) {
  if (isMadeFrom(*table, spec)) return;
  makeEntries(spec, table, [](int symbol, int length, unsigned rest, int spare) {
    return valueEntry(symbol, length, rest, spare, 0);
  });
}

void makeAcTable(const IppiDecodeHuffmanSpec& spec, AcTable* table) {
  if (isMadeFrom(*table, spec)) return;
  makeEntries(spec, table, [](int symbol, int length, unsigned rest, int spare) {
    // A size of 0 ends the block, but for the symbol of 16 zeros.
    const bool goesOn = (symbol & 15) != 0 || symbol == 0xF0;
    return valueEntry(symbol, length, rest, spare, goesOn ? (symbol >> 4) + 1 : kEndOfBlock);
  });
  joinEnd(spec, table);
  joinPairs(table);
}

void makeBandTable(const IppiDecodeHuffmanSpec& spec, WideTable* table) {
  if (isMadeFrom(*table, spec)) return;
  makeEntries(spec, table, [](int symbol, int length, unsigned rest, int spare) {
    const int run = symbol >> 4;
    if ((symbol & 15) != 0) return valueEntry(symbol, length, rest, spare, run + 1);
    if (run == 15 || run > spare) return makeEntry(symbol, 0, length);
    const int more = (1 << run) - 1 + static_cast<int>(rest >> (spare - run));
    return makeEntry(more, length + run, kEndOfBlock);
  });
}

constinit const ZigzagMasks kZigzagMasks = zigzagMasks();

}  // namespace qrx::strips
