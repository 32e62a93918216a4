// What the table classes of both coders do alike. They differ in the primitives' records and in
// some names of their fields.
#ifndef QRX_CODECS_JPEG_LIBRARY_TABLE_LISTS_H_
#define QRX_CODECS_JPEG_LIBRARY_TABLE_LISTS_H_

#include <cstddef>
#include <cstring>
#include <numeric>

#include "codecs/jpeg/library/owned_record.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

// Symbols of a Huffman table whose codes of 1 to 16 bits `bits` counts.
inline int symbolCount(const Ipp8u* bits) { return std::accumulate(bits, bits + 16, 0); }

// Takes a Huffman table's lists (T.81 B.2.4.2) into `table` and makes the primitive's table of
// them. Of `values` only as many are read as `bits` counts. `tableClass` is the field of that
// meaning.
template <typename Table, typename Spec>
int initHuffmanTable(Table* table, int* tableClass, int newId, int newClass, const Ipp8u* bits,
                     const Ipp8u* values,
                     IppStatus (*initSpec)(const Ipp8u*, const Ipp8u*, Spec*)) {
  table->id = newId & 15;
  *tableClass = newClass & 15;
  std::memcpy(table->bits, bits, sizeof table->bits);
  const int count = symbolCount(table->bits);
  if (count > 256) return JPEG_INTERNAL_ERROR;
  std::memcpy(table->values, values, static_cast<std::size_t>(count));
  return resultOf(initSpec(table->bits, table->values, table->spec));
}

// Clears a Huffman table and frees its primitive's table.
template <typename Table>
void clearHuffmanTable(Table* table, int* tableClass) {
  table->id = 0;
  *tableClass = 0;
  std::memset(table->bits, 0, sizeof table->bits);
  std::memset(table->values, 0, sizeof table->values);
  destroyRecord(&table->spec);
}

// Takes 64 entries in zigzag order into a quantisation table and scales them by `quality`.
template <typename Table>
int scaleQuantTable(Table* table, int idAndPrecision, int quality, const Ipp8u* source) {
  table->id = idAndPrecision & 15;
  table->precision = idAndPrecision >> 4 & 15;
  std::memcpy(table->raw, source, 64);
  return resultOf(ippiQuantFwdRawTableInit_JPEG_8u(table->raw, quality));
}

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_TABLE_LISTS_H_
