// Progressive Huffman decoding (T.81 G.2): bands of DC and AC coefficients, first scans and
// refinements.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/huffman/decode_common.h"

namespace {

constexpr int kHighestPointTransform = 13;

inline bool isPointTransform(int Al) { return Al >= 0 && Al <= kHighestPointTransform; }

inline bool isBand(int Ss, int Se) { return Ss >= 1 && Ss <= 63 && Se >= Ss && Se <= 63; }

// The length of the end-of-band run that a symbol with high nibble `run` begins.
IppStatus takeEobRun(BitReader* reader, int run, int* result) {
  int low = 0;
  const IppStatus status = run == 0 ? ippStsNoErr : reader->take(run, &low);
  *result = (1 << run) + low;
  return status;
}

IppStatus decodeFirst(BitReader* reader, Ipp16s* block, int Ss, int Se, int Al,
                      const IppiDecodeHuffmanSpec* table, int* eobRun) {
  for (int k = Ss; k <= Se; ++k) {
    int symbol = 0;
    IppStatus status = reader->symbol(table, &symbol);
    if (status < 0) return status;
    const int run = symbol >> 4;
    const int size = symbol & 15;
    if (size == 0 && run < 15) {
      int length = 0;
      status = takeEobRun(reader, run, &length);
      if (status >= 0) *eobRun = length - 1;
      return status;
    }
    k += run;
    if (size == 0) continue;
    int value = 0;
    status = reader->takeValue(size, &value);
    if (status < 0) return status;
    store(block + naturalPlace(k), value * (1 << Al));
  }
  return ippStsNoErr;
}

// Refinement of one band (T.81 G.1.2.3 read backwards).
struct Refinement {
  BitReader* reader;
  Ipp16s* block;
  int Se;
  int Al;

  // A correction bit for a coefficient that is not zero.
  IppStatus correct(Ipp16s* coefficient) {
    int bit = 0;
    const IppStatus status = reader->take(1, &bit);
    const int value = load(coefficient);
    const int step = 1 << Al;
    if (bit != 0 && (value & step) == 0)
      store(coefficient, value > 0 ? value + step : value - step);
    return status;
  }

  // Corrects from *k on; stops at the zero coefficient that `zeros` others precede, or behind Se.
  IppStatus walk(int* k, int zeros) {
    for (; *k <= Se; ++*k) {
      Ipp16s* coefficient = block + naturalPlace(*k);
      if (load(coefficient) == 0) {
        if (zeros-- == 0) break;
        continue;
      }
      const IppStatus status = correct(coefficient);
      if (status < 0) return status;
    }
    return ippStsNoErr;
  }

  IppStatus decode(int k, const IppiDecodeHuffmanSpec* table, int* eobRun) {
    IppStatus status = ippStsNoErr;
    for (; *eobRun == 0 && k <= Se; ++k) {
      int symbol = 0;
      status = reader->symbol(table, &symbol);
      if (status < 0) return status;
      const int run = symbol >> 4;
      int value = 0;
      if ((symbol & 15) != 0) {
        int positive = 0;
        status = reader->take(1, &positive);
        value = positive != 0 ? 1 << Al : -(1 << Al);
      } else if (run < 15) {
        status = takeEobRun(reader, run, eobRun);
        if (status < 0) return status;
        break;
      }
      if (status < 0) return status;
      status = walk(&k, run);
      if (status < 0) return status;
      if (value != 0) store(block + naturalPlace(k), value);
    }
    if (*eobRun > 0) {
      status = walk(&k, 64);
      if (status >= 0) --*eobRun;
    }
    return status;
  }
};

}  // namespace

IppStatus FORM(ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1)(const Ipp8u* pSrc, int srcLenBytes,
                                                           int* pSrcCurrPos, Ipp16s* pDst,
                                                           Ipp16s* pLastDC, int* pMarker, int Al,
                                                           const IppiDecodeHuffmanSpec* pDcTable,
                                                           IppiDecodeHuffmanState* pState) {
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (srcLenBytes < 1) return ippStsSizeErr;
  if (anyNull(pSrcCurrPos, pDst, pLastDC, pMarker)) return ippStsNullPtrErr;
  if (!isPointTransform(Al)) return ippStsBadArgErr;
  if (anyNull(pDcTable, pState)) return ippStsNullPtrErr;
  BitReader reader(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState, FillBytes::kPass);
  const IppStatus status = decodeDc(&reader, pDcTable, pLastDC);
  if (status >= 0) store(pDst, load(pLastDC) * (1 << Al));
  reader.close(pSrcCurrPos, pMarker, pState);
  return status;
}

IppStatus FORM(ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1)(const Ipp8u* pSrc, int srcLenBytes,
                                                            int* pSrcCurrPos, Ipp16s* pDst,
                                                            int* pMarker, int Al,
                                                            IppiDecodeHuffmanState* pState) {
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (srcLenBytes < 1) return ippStsSizeErr;
  if (anyNull(pSrcCurrPos, pDst, pMarker)) return ippStsNullPtrErr;
  if (!isPointTransform(Al)) return ippStsBadArgErr;
  if (pState == nullptr) return ippStsNullPtrErr;
  BitReader reader(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState, FillBytes::kPass);
  int bit = 0;
  const IppStatus status = reader.take(1, &bit);
  if (bit != 0) store(pDst, load(pDst) | 1 << Al);
  reader.close(pSrcCurrPos, pMarker, pState);
  return status;
}

namespace {

IppStatus checkAc(const Ipp8u* pSrc, int srcLenBytes, const int* pSrcCurrPos, const Ipp16s* pDst,
                  const int* pMarker, int Ss, int Se, int Al, const IppiDecodeHuffmanSpec* pAcTable,
                  const IppiDecodeHuffmanState* pState) {
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (srcLenBytes < 1) return ippStsSizeErr;
  if (anyNull(pSrcCurrPos, pDst, pMarker)) return ippStsNullPtrErr;
  if (!isBand(Ss, Se) || !isPointTransform(Al)) return ippStsBadArgErr;
  return anyNull(pAcTable, pState) ? ippStsNullPtrErr : ippStsNoErr;
}

}  // namespace

IppStatus FORM(ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1)(const Ipp8u* pSrc, int srcLenBytes,
                                                           int* pSrcCurrPos, Ipp16s* pDst,
                                                           int* pMarker, int Ss, int Se, int Al,
                                                           const IppiDecodeHuffmanSpec* pAcTable,
                                                           IppiDecodeHuffmanState* pState) {
  IppStatus status =
      checkAc(pSrc, srcLenBytes, pSrcCurrPos, pDst, pMarker, Ss, Se, Al, pAcTable, pState);
  if (status != ippStsNoErr) return status;
  if (pState->eobRun > 0) {
    --pState->eobRun;
    return ippStsNoErr;
  }
  BitReader reader(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState, FillBytes::kTakeAsMarker);
  int eobRun = 0;
  status = decodeFirst(&reader, pDst, Ss, Se, Al, pAcTable, &eobRun);
  reader.close(pSrcCurrPos, pMarker, pState);
  pState->eobRun = eobRun;
  return status;
}

IppStatus FORM(ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1)(const Ipp8u* pSrc, int srcLenBytes,
                                                            int* pSrcCurrPos, Ipp16s* pDst,
                                                            int* pMarker, int Ss, int Se, int Al,
                                                            const IppiDecodeHuffmanSpec* pAcTable,
                                                            IppiDecodeHuffmanState* pState) {
  IppStatus status =
      checkAc(pSrc, srcLenBytes, pSrcCurrPos, pDst, pMarker, Ss, Se, Al, pAcTable, pState);
  if (status != ippStsNoErr) return status;
  BitReader reader(pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState, FillBytes::kTakeAsMarker);
  int eobRun = pState->eobRun;
  status = Refinement{&reader, pDst, Se, Al}.decode(Ss, pAcTable, &eobRun);
  reader.close(pSrcCurrPos, pMarker, pState);
  pState->eobRun = eobRun;
  return status;
}
