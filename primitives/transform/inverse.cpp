// Dequantisation, inverse DCT, level shift and clamp of one block.
#include "primitives/form.h"
#include "primitives/transform/inverse_ref.h"
#ifdef QRX_SCALAR
namespace forms = scalar;
#else
#include "primitives/transform/inverse_simd.h"
namespace forms = simd;
#endif

IppStatus FORM(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R)(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                                                    const Ipp16u* pQuantInvTable) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (dstStep < 1) return ippStsStepErr;
  if (pQuantInvTable == nullptr) return ippStsNullPtrErr;
  forms::inverseBlock(pSrc, pDst, dstStep, pQuantInvTable);
  return ippStsNoErr;
}

IppStatus FORM(ippiDCT8x8InvLSClip_16s8u_C1R)(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                                              Ipp16s level, Ipp8u clipMin, Ipp8u clipMax) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (dstStep < 1) return ippStsStepErr;
  Ipp16s block[8][8];
  const void* coefficients = pSrc;
  __builtin_memcpy(block, coefficients, sizeof block);
  scalar::inverseTransform(block, pDst, dstStep, {level, clipMin, clipMax});
  return ippStsNoErr;
}
