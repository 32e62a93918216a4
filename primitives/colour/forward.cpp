// Interleaved RGB, BGR and CMYK to planes of YCbCr, Y and YCCK.
#include "primitives/colour/colour_ref.h"
#include "primitives/form.h"
#include "primitives/unaligned.h"
#ifdef QRX_SCALAR
namespace forms = scalar;
#else
#include "primitives/colour/colour_simd.h"
namespace forms = simd;
#endif

namespace {

template <int kRed>
IppStatus forward(const Ipp8u* pSrc, int srcStep, Ipp8u* const* pDst, int dstStep,
                  IppiSize roiSize) {
  if (pSrc == nullptr || anyPlaneNull(pDst, 3)) return ippStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  const int inBlocks = pixelsInForwardBlocks(roiSize.width);
  for (int j = 0; j < roiSize.height; ++j) {
    forms::forwardRow<kRed, 3>(rowAt(pSrc, j, srcStep), rowAt(pDst[0], j, dstStep),
                               rowAt(pDst[1], j, dstStep), rowAt(pDst[2], j, dstStep), inBlocks,
                               roiSize.width);
  }
  return ippStsNoErr;
}

void lumaRow(const Ipp8u* __restrict src, Ipp8u* __restrict y, int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    y[i] = lumaOfBlock(src[3 * i], src[3 * i + 1], src[3 * i + 2]);
  }
}

void cmykRow(const Ipp8u* __restrict src, Ipp8u* __restrict y, Ipp8u* __restrict cb,
             Ipp8u* __restrict cr, Ipp8u* __restrict k, int width) {
  for (ptrdiff_t i = 0; i < width; ++i) {
    const YCbCr pixel = forwardOfRest(255 - src[4 * i], 255 - src[4 * i + 1], 255 - src[4 * i + 2]);
    y[i] = pixel.y;
    cb[i] = pixel.cb;
    cr[i] = pixel.cr;
    k[i] = src[4 * i + 3];
  }
}

}  // namespace

IppStatus FORM(ippiRGBToYCbCr_JPEG_8u_C3P3R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[3],
                                             int dstStep, IppiSize roiSize) {
  return forward<0>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiBGRToYCbCr_JPEG_8u_C3P3R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[3],
                                             int dstStep, IppiSize roiSize) {
  return forward<2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiRGBToY_JPEG_8u_C3C1R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                         IppiSize roiSize) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  for (int j = 0; j < roiSize.height; ++j) {
    lumaRow(rowAt(pSrc, j, srcStep), rowAt(pDst, j, dstStep), roiSize.width);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiCMYKToYCCK_JPEG_8u_C4P4R)(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[4],
                                             int dstStep, IppiSize roiSize) {
  if (pSrc == nullptr || anyPlaneNull(pDst, 4)) return ippStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  for (int j = 0; j < roiSize.height; ++j) {
    cmykRow(rowAt(pSrc, j, srcStep), rowAt(pDst[0], j, dstStep), rowAt(pDst[1], j, dstStep),
            rowAt(pDst[2], j, dstStep), rowAt(pDst[3], j, dstStep), roiSize.width);
  }
  return ippStsNoErr;
}
