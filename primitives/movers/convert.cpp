// Widening and narrowing of samples.
#include "primitives/form.h"
#include "primitives/movers/movers_ref.h"

namespace {

template <typename From, typename To>
IppStatus convert(const From* pSrc, int srcStep, To* pDst, int dstStep, IppiSize roiSize,
                  void (*convertRow)(const From* __restrict, To* __restrict, int)) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
  for (int j = 0; j < roiSize.height; ++j) {
    convertRow(rowAt(pSrc, j, srcStep), rowAt(pDst, j, dstStep), roiSize.width);
  }
  return ippStsNoErr;
}

}  // namespace

IppStatus FORM(ippiConvert_8u16s_C1R)(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst, int dstStep,
                                      IppiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, widenRow<Ipp16s>);
}

IppStatus FORM(ippiConvert_8u16u_C1R)(const Ipp8u* pSrc, int srcStep, Ipp16u* pDst, int dstStep,
                                      IppiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, widenRow<Ipp16u>);
}

IppStatus FORM(ippiConvert_16s8u_C1R)(const Ipp16s* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                      IppiSize roiSize) {
  return convert(pSrc, srcStep, pDst, dstStep, roiSize, narrowRow);
}
