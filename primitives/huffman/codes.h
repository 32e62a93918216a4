// Values to categories and extra bits (T.81 F.1.2), and code assignment (T.81 Annex C).
#ifndef QRX_PRIMITIVES_HUFFMAN_CODES_H_
#define QRX_PRIMITIVES_HUFFMAN_CODES_H_

#include "qrx/primitive_types.h"

namespace {

// Number of significant bits of |v|, for |v| below 65536.
inline int category(int v) {
  const auto magnitude = static_cast<unsigned>(v < 0 ? -v : v);
  return magnitude == 0 ? 0 : 32 - __builtin_clz(magnitude);
}

// The bits that follow the code of category `size`: negative values count from below.
inline unsigned extraBits(int v, int size) {
  return static_cast<unsigned>(v < 0 ? v - 1 : v) & ((1u << size) - 1);
}

// Codes of one length are consecutive, so the first of each length tells them all.
struct CodeRuns {
  int count[17];
  unsigned firstCode[17];
  int firstIndex[17];  // in the list of symbols
  int total;
};

enum class CompleteTable { kRefuse, kTake };

// `counts` holds the numbers of codes of lengths 1 to 16. False if there are more than 256, or if
// the codes of a length do not fit in it; a table whose last code is all ones is up to `complete`.
inline bool assignCodes(const Ipp8u* counts, CompleteTable complete, CodeRuns* runs) {
  const unsigned spare = complete == CompleteTable::kRefuse ? 1 : 0;
  unsigned code = 0;
  runs->total = 0;
  for (int length = 1; length <= 16; ++length) {
    const int count = counts[length - 1];
    runs->count[length] = count;
    runs->firstCode[length] = code;
    runs->firstIndex[length] = runs->total;
    runs->total += count;
    code += static_cast<unsigned>(count);
    if (count != 0 && code + spare > 1u << length) return false;
    code <<= 1;
  }
  return runs->total <= 256;
}

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_CODES_H_
