// Resolution of one plane by a factor of two, down for the encoder and up for the decoder.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/sampling/sampling_ref.h"
#include "primitives/unaligned.h"
#ifdef QRX_SCALAR
namespace forms = scalar;
#else
#include "primitives/sampling/sampling_simd.h"
namespace forms = simd;
#endif

namespace {

IppStatus check(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize, const Ipp8u* pDst, int dstStep,
                IppiSize dstRoiSize) {
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (srcStep < 1) return ippStsStepErr;
  if (isEmpty(srcRoiSize)) return ippStsSizeErr;
  if (pDst == nullptr) return ippStsNullPtrErr;
  if (dstStep < 1) return ippStsStepErr;
  if (isEmpty(dstRoiSize)) return ippStsSizeErr;
  return ippStsNoErr;
}

}  // namespace

IppStatus FORM(ippiSampleDownH2V1_JPEG_8u_C1R)(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize,
                                               Ipp8u* pDst, int dstStep, IppiSize dstRoiSize) {
  const IppStatus status = check(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize);
  if (status != ippStsNoErr) return status;
  for (int j = 0; j < dstRoiSize.height; ++j) {
    forms::downH2V1Row(rowAt(pSrc, j, srcStep), rowAt(pDst, j, dstStep), dstRoiSize.width);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiSampleDownH2V2_JPEG_8u_C1R)(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize,
                                               Ipp8u* pDst, int dstStep, IppiSize dstRoiSize) {
  const IppStatus status = check(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize);
  if (status != ippStsNoErr) return status;
  for (int j = 0; j < dstRoiSize.height; ++j) {
    const Ipp8u* upper = rowAt(rowAt(pSrc, j, srcStep), j, srcStep);  // row 2j
    forms::downH2V2Row(upper, upper + srcStep, rowAt(pDst, j, dstStep), dstRoiSize.width);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiSampleUpH2V1_JPEG_8u_C1R)(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize,
                                             Ipp8u* pDst, int dstStep, IppiSize dstRoiSize) {
  const IppStatus status = check(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize);
  if (status != ippStsNoErr) return status;
  for (int j = 0; j < dstRoiSize.height; ++j) {
    forms::upH2V1Row(rowAt(pSrc, j, srcStep), rowAt(pDst, j, dstStep), dstRoiSize.width);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiSampleUpH2V2_JPEG_8u_C1R)(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize,
                                             Ipp8u* pDst, int dstStep, IppiSize dstRoiSize) {
  const IppStatus status = check(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize);
  if (status != ippStsNoErr) return status;
  for (int j = 0; j < dstRoiSize.height; ++j) {
    const Ipp8u* near = rowAt(pSrc, j / 2, srcStep);
    const Ipp8u* far = j % 2 == 0 ? near - srcStep : near + srcStep;
    forms::upH2V2Row(near, far, rowAt(pDst, j, dstStep), dstRoiSize.width);
  }
  return ippStsNoErr;
}
