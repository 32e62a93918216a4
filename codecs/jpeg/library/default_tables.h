// The quantisation and Huffman tables of T.81 Annex K, from which both coders start.
#ifndef QRX_CODECS_JPEG_LIBRARY_DEFAULT_TABLES_H_
#define QRX_CODECS_JPEG_LIBRARY_DEFAULT_TABLES_H_

#include "qrx/primitive_types.h"

// Tables K.1 and K.2, in zigzag order.
extern const Ipp8u DefaultLuminanceQuant[64];
extern const Ipp8u DefaultChrominanceQuant[64];

// Tables K.3 to K.6 in BITS and HUFFVAL form.
extern const Ipp8u DefaultLuminanceDCBits[16];
extern const Ipp8u DefaultLuminanceDCValues[12];
extern const Ipp8u DefaultChrominanceDCBits[16];
extern const Ipp8u DefaultChrominanceDCValues[12];
extern const Ipp8u DefaultLuminanceACBits[16];
extern const Ipp8u DefaultLuminanceACValues[162];
extern const Ipp8u DefaultChrominanceACBits[16];
extern const Ipp8u DefaultChrominanceACValues[162];

// The four Huffman tables with the numbers that the coders give them.
struct DefaultHuffmanTable {
  int id;
  int tableClass;  // 0 DC, 1 AC
  const Ipp8u* bits;
  const Ipp8u* values;
};
extern const DefaultHuffmanTable DefaultHuffmanTables[4];

#endif  // QRX_CODECS_JPEG_LIBRARY_DEFAULT_TABLES_H_
