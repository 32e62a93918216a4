// Huffman tables for encoding: from statistics to code lengths, from lengths to codes.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/huffman/codes.h"
#include "primitives/huffman/records.h"
#include "primitives/unaligned.h"

namespace {

constexpr int kReserved = 256;  // keeps the code of all ones free
constexpr int kSymbols = 257;
constexpr int kLongest = 32;
constexpr int kNone = -1;

// The forest of T.81 figure K.1: `next` chains the symbols of one tree.
struct CodeSizes {
  uint32_t frequency[kSymbols];
  int size[kSymbols];
  int next[kSymbols];

  explicit CodeSizes(const int* statistics) {
    for (int i = 0; i < kSymbols; ++i) {
      frequency[i] = i == kReserved ? 1 : static_cast<uint32_t>(load(statistics + i));
      size[i] = 0;
      next[i] = kNone;
    }
  }

  // The least frequent tree but `other`; among equals the highest symbol.
  int leastFrequent(int other) const {
    int found = kNone;
    uint32_t least = 1000000000;
    for (int i = 0; i < kSymbols; ++i) {
      if (frequency[i] == 0 || frequency[i] > least || i == other) continue;
      least = frequency[i];
      found = i;
    }
    return found;
  }

  // One level deeper for every symbol of a tree. Returns its last symbol.
  int deepen(int symbol) {
    ++size[symbol];
    while (next[symbol] != kNone) {
      symbol = next[symbol];
      ++size[symbol];
    }
    return symbol;
  }

  void build() {
    for (;;) {
      const int first = leastFrequent(kNone);
      const int second = leastFrequent(first);
      if (first == kNone || second == kNone) return;
      frequency[first] += frequency[second];
      frequency[second] = 0;
      next[deepen(first)] = second;
      deepen(second);
    }
  }
};

// T.81 figure K.3: no code above 16 bits, and none for the reserved symbol. False for counts
// that no tree has.
bool limitLengths(int* counts) {
  for (int length = kLongest; length > 16; --length) {
    while (counts[length] > 0) {
      int shorter = length - 2;
      while (shorter > 0 && counts[shorter] == 0) --shorter;
      if (shorter == 0 || counts[length] < 2) return false;
      counts[length] -= 2;
      counts[length - 1] += 1;
      counts[shorter + 1] += 2;
      counts[shorter] -= 1;
    }
  }
  int longest = 16;
  while (longest > 0 && counts[longest] == 0) --longest;
  if (longest > 0) --counts[longest];
  return true;
}

}  // namespace

IppStatus FORM(ippiEncodeHuffmanRawTableInit_JPEG_8u)(const int pStatistics[256], Ipp8u* pListBits,
                                                      Ipp8u* pListVals) {
  if (anyNull(pStatistics, pListBits, pListVals)) return ippStsNullPtrErr;
  CodeSizes sizes(pStatistics);
  sizes.build();
  int counts[kLongest + 1] = {};
  for (int symbol = 0; symbol < kSymbols; ++symbol) {
    if (sizes.size[symbol] > kLongest) return ippStsJPEGHuffTableErr;
    ++counts[sizes.size[symbol]];
  }
  if (!limitLengths(counts)) return ippStsJPEGHuffTableErr;
  for (int length = 1; length <= 16; ++length) {
    pListBits[length - 1] = static_cast<Ipp8u>(counts[length]);
  }
  int listed = 0;
  for (int size = 1; size <= kLongest; ++size) {
    for (int symbol = 0; symbol < kReserved; ++symbol) {
      if (sizes.size[symbol] == size) pListVals[listed++] = static_cast<Ipp8u>(symbol);
    }
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiEncodeHuffmanSpecGetBufSize_JPEG_8u)(int* pSize) {
  return tellSize<IppiEncodeHuffmanSpec>(pSize);
}

IppStatus FORM(ippiEncodeHuffmanSpecInit_JPEG_8u)(const Ipp8u* pListBits, const Ipp8u* pListVals,
                                                  IppiEncodeHuffmanSpec* pSpec) {
  if (anyNull(pListBits, pListVals, pSpec)) return ippStsNullPtrErr;
  __builtin_memset(pSpec, 0, sizeof *pSpec);
  CodeRuns runs;
  if (!assignCodes(pListBits, CompleteTable::kRefuse, &runs)) return ippStsJPEGHuffTableErr;
  for (int length = 1; length <= 16; ++length) {
    for (int i = 0; i < runs.count[length]; ++i) {
      const unsigned code = runs.firstCode[length] + static_cast<unsigned>(i);
      const Ipp8u symbol = pListVals[runs.firstIndex[length] + i];
      pSpec->entries[symbol] = static_cast<uint32_t>(length) << 16 | code;
    }
  }
  return ippStsNoErr;
}
