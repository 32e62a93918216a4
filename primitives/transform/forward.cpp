// Level shift, forward DCT and quantisation of one block.
#include "primitives/form.h"
#ifdef QRX_SCALAR
#include "primitives/transform/forward_ref.h"
namespace forms = scalar;
#else
#include "primitives/transform/forward_simd.h"
namespace forms = simd;
#endif

IppStatus FORM(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R)(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst,
                                                    const Ipp16u* pQuantFwdTable) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (srcStep < 1) return ippStsStepErr;
  if (pQuantFwdTable == nullptr) return ippStsNullPtrErr;
  forms::forwardBlock(pSrc, srcStep, pDst, pQuantFwdTable);
  return ippStsNoErr;
}
