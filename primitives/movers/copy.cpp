// Copies of 8-bit images between interleaved and planar layouts.
#include "primitives/form.h"
#include "primitives/movers/movers_ref.h"

namespace {

template <int kSrc, int kDst>
IppStatus copyColour(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  for (int j = 0; j < roiSize.height; ++j) {
    copyColourRow<kSrc, kDst>(rowAt(pSrc, j, srcStep), rowAt(pDst, j, dstStep), roiSize.width);
  }
  return ippStsNoErr;
}

template <int kChannels>
IppStatus split(const Ipp8u* pSrc, int srcStep, Ipp8u* const* pDst, int dstStep, IppiSize roiSize) {
  if (pSrc == nullptr || anyPlaneNull(pDst, kChannels)) return ippStsNullPtrErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  for (int j = 0; j < roiSize.height; ++j) {
    splitRow<kChannels>(rowAt(pSrc, j, srcStep), rowAt(pDst[0], j, dstStep),
                        rowAt(pDst[1], j, dstStep), rowAt(pDst[2], j, dstStep),
                        rowAt(pDst[kChannels - 1], j, dstStep), roiSize.width);
  }
  return ippStsNoErr;
}

template <int kChannels>
IppStatus join(const Ipp8u* const* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
  if (pDst == nullptr || anyPlaneNull(pSrc, kChannels)) return ippStsNullPtrErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  for (int j = 0; j < roiSize.height; ++j) {
    joinRow<kChannels>(rowAt(pSrc[0], j, srcStep), rowAt(pSrc[1], j, srcStep),
                       rowAt(pSrc[2], j, srcStep), rowAt(pSrc[kChannels - 1], j, srcStep),
                       rowAt(pDst, j, dstStep), roiSize.width);
  }
  return ippStsNoErr;
}

}  // namespace

IppStatus FORM(ippiCopy_8u_C1R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                IppiSize roiSize) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  const auto width = static_cast<size_t>(roiSize.width);
  if (srcStep == roiSize.width && dstStep == roiSize.width) {  // rows lie end to end
    __builtin_memcpy(pDst, pSrc, width * static_cast<size_t>(roiSize.height));
    return ippStsNoErr;
  }
  for (int j = 0; j < roiSize.height; ++j) {
    __builtin_memcpy(rowAt(pDst, j, dstStep), rowAt(pSrc, j, srcStep), width);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiCopy_8u_AC4C3R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                   IppiSize roiSize) {
  return copyColour<4, 3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiCopy_8u_C3AC4R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                   IppiSize roiSize) {
  return copyColour<3, 4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiCopy_8u_C3P3R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[3], int dstStep,
                                  IppiSize roiSize) {
  return split<3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiCopy_8u_C4P4R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[4], int dstStep,
                                  IppiSize roiSize) {
  return split<4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiCopy_8u_P3C3R)(const Ipp8u* pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize roiSize) {
  return join<3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiCopy_8u_P4C4R)(const Ipp8u* pSrc[4], int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize roiSize) {
  return join<4>(pSrc, srcStep, pDst, dstStep, roiSize);
}
