// What the Huffman coders share: argument checks, the flush, a symbol with its extra bits.
#ifndef QRX_PRIMITIVES_HUFFMAN_ENCODE_COMMON_H_
#define QRX_PRIMITIVES_HUFFMAN_ENCODE_COMMON_H_

#include "primitives/huffman/bit_writer.h"
#include "primitives/huffman/codes.h"

namespace {

// The checks that come before the flush test.
inline IppStatus checkOutput(const Ipp8u* pDst, int dstLenBytes, const int* pDstCurrPos,
                             const IppiEncodeHuffmanState* pState) {
  if (pDst == nullptr) return ippStsNullPtrErr;
  if (dstLenBytes < 1) return ippStsSizeErr;
  return pDstCurrPos == nullptr || pState == nullptr ? ippStsNullPtrErr : ippStsNoErr;
}

// Completes the pending byte with ones and clears the state. Not for the two AC coders.
inline IppStatus flush(Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos,
                       IppiEncodeHuffmanState* pState) {
  Output out = {pDst, dstLenBytes, load(pDstCurrPos)};
  const IppStatus status = ownpj_write_bits_jpeg(&out, pState, 127, 7);
  store(pDstCurrPos, out.position);
  clear(pState);
  return status;
}

// The code of `symbol` and then the `size` extra bits of `v`.
inline IppStatus writeValue(Output* out, IppiEncodeHuffmanState* state,
                            const IppiEncodeHuffmanSpec* table, int symbol, int v, int size) {
  const IppStatus status = writeSymbol(out, state, table, symbol);
  if (status != ippStsNoErr || size == 0) return status;
  return ownpj_write_bits_jpeg(out, state, extraBits(v, size), static_cast<unsigned>(size));
}

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_ENCODE_COMMON_H_
