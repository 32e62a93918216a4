// What the Huffman decoders share: places of coefficients, DC differences.
#ifndef QRX_PRIMITIVES_HUFFMAN_DECODE_COMMON_H_
#define QRX_PRIMITIVES_HUFFMAN_DECODE_COMMON_H_

#include "primitives/huffman/bit_reader.h"
#include "primitives/zigzag.h"

namespace {

// Natural place of zig-zag place k; a run that leads past the block ends on its last coefficient.
inline int naturalPlace(int k) { return own_pj_izigzag_index[k < 63 ? k : 63]; }

// Decodes a DC difference and adds it to *pLastDC (T.81 F.2.2.1).
inline IppStatus decodeDc(BitReader* reader, const IppiDecodeHuffmanSpec* table, Ipp16s* pLastDC) {
  int symbol = 0;
  IppStatus status = reader->symbol(table, &symbol);
  const int size = symbol & 15;
  if (status < 0 || size == 0) return status;
  int difference = 0;
  status = reader->takeValue(size, &difference);
  if (status >= 0) store(pLastDC, load(pLastDC) + difference);
  return status;
}

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_DECODE_COMMON_H_
