// Planes of YCbCr and YCCK to interleaved RGB, BGR and CMYK.
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

void inverseCmykRow(const Ipp8u* __restrict y, const Ipp8u* __restrict cb,
                    const Ipp8u* __restrict cr, const Ipp8u* __restrict k, Ipp8u* __restrict dst,
                    int width) {
  const auto convert = [&](ptrdiff_t i, auto&& inverse) {
    const Rgb pixel = inverse(y[i], cb[i], cr[i]);
    dst[4 * i] = static_cast<Ipp8u>(255 - pixel.r);
    dst[4 * i + 1] = static_cast<Ipp8u>(255 - pixel.g);
    dst[4 * i + 2] = static_cast<Ipp8u>(255 - pixel.b);
    dst[4 * i + 3] = k[i];
  };
  const int inBlocks = pixelsInInverseBlocks(width);
  for (int i = 0; i < inBlocks; ++i) convert(i, inverseToCmyOfBlock);
  for (int i = inBlocks; i < width; ++i) convert(i, inverseOfRest);
}

template <int kRed>
IppStatus inverse(const Ipp8u* const* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                  IppiSize roiSize) {
  if (anyPlaneNull(pSrc, 3) || pDst == nullptr) return ippStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  const int inBlocks = pixelsInInverseBlocks(roiSize.width);
  for (int j = 0; j < roiSize.height; ++j) {
    forms::inverseRow<kRed, 3>(rowAt(pSrc[0], j, srcStep), rowAt(pSrc[1], j, srcStep),
                               rowAt(pSrc[2], j, srcStep), rowAt(pDst, j, dstStep), inBlocks,
                               roiSize.width);
  }
  return ippStsNoErr;
}

}  // namespace

IppStatus FORM(ippiYCbCrToRGB_JPEG_8u_P3C3R)(const Ipp8u* pSrc[3], int srcStep, Ipp8u* pDst,
                                             int dstStep, IppiSize roiSize) {
  return inverse<0>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiYCbCrToBGR_JPEG_8u_P3C3R)(const Ipp8u* pSrc[3], int srcStep, Ipp8u* pDst,
                                             int dstStep, IppiSize roiSize) {
  return inverse<2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

IppStatus FORM(ippiYCCKToCMYK_JPEG_8u_P4C4R)(const Ipp8u* pSrc[4], int srcStep, Ipp8u* pDst,
                                             int dstStep, IppiSize roiSize) {
  if (anyPlaneNull(pSrc, 4) || pDst == nullptr) return ippStsNullPtrErr;
  if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
  if (isEmpty(roiSize)) return ippStsSizeErr;
  for (int j = 0; j < roiSize.height; ++j) {
    inverseCmykRow(rowAt(pSrc[0], j, srcStep), rowAt(pSrc[1], j, srcStep),
                   rowAt(pSrc[2], j, srcStep), rowAt(pSrc[3], j, srcStep), rowAt(pDst, j, dstStep),
                   roiSize.width);
  }
  return ippStsNoErr;
}
