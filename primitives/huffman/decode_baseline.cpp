// Baseline and lossless Huffman decoding: a block, or one sample.
#include "primitives/checks.h"
#include "primitives/clear_block.h"
#include "primitives/form.h"
#include "primitives/huffman/decode_common.h"

namespace {

IppStatus decodeCoefficients(BitReader* reader, const IppiDecodeHuffmanSpec* table, Ipp16s* block) {
  for (int k = 1; k < 64; ++k) {
    int symbol = 0;
    IppStatus status = reader->symbol(table, &symbol);
    if (status < 0) return status;
    const int run = symbol >> 4;
    const int size = symbol & 15;
    k += run;
    if (size == 0) {
      if (run != 15) break;
      continue;
    }
    int value = 0;
    status = reader->takeValue(size, &value);
    if (status < 0) return status;
    store(block + naturalPlace(k), value);
  }
  return ippStsNoErr;
}

}  // namespace

IppStatus FORM(ippiDecodeHuffman8x8_JPEG_1u16s_C1)(const Ipp8u* pSrc, int srcLenBytes,
                                                   int* pSrcCurrPos, Ipp16s* pDst, Ipp16s* pLastDC,
                                                   int* pMarker,
                                                   const IppiDecodeHuffmanSpec* pDcTable,
                                                   const IppiDecodeHuffmanSpec* pAcTable,
                                                   IppiDecodeHuffmanState* pState) {
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (srcLenBytes < 0) return ippStsBadArgErr;
  if (anyNull(pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pState)) {
    return ippStsNullPtrErr;
  }
  clearBlock(pDst);
  BitReader reader(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState, FillBytes::kPass);
  IppStatus status = decodeDc(&reader, pDcTable, pLastDC);
  if (status >= 0) {
    store(pDst, load(pLastDC));
    status = decodeCoefficients(&reader, pAcTable, pDst);
  }
  reader.close(pSrcCurrPos, pMarker, pState);
  return status;
}

IppStatus FORM(ippiDecodeHuffmanOne_JPEG_1u16s_C1)(const Ipp8u* pSrc, int srcLenBytes,
                                                   int* pSrcCurrPos, Ipp16s* pDst, int* pMarker,
                                                   const IppiDecodeHuffmanSpec* pTable,
                                                   IppiDecodeHuffmanState* pState) {
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (srcLenBytes < 1) return ippStsSizeErr;
  if (anyNull(pSrcCurrPos, pDst, pMarker, pTable, pState)) return ippStsNullPtrErr;
  BitReader reader(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState, FillBytes::kPass);
  int size = 0;
  IppStatus status = reader.symbol(pTable, &size);
  int value = size < 16 ? 0 : -32768;
  if (status >= 0 && size > 0 && size < 16) status = reader.takeValue(size, &value);
  if (status >= 0) store(pDst, value);
  reader.close(pSrcCurrPos, pMarker, pState);
  return status;
}
