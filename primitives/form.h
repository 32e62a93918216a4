// Naming of the processor forms. A family's source file is compiled once per form with QRX_FORM
// set to its prefix (w7, v8, s8, p8, g9, h9, or ref for the scalar reference); FORM(name) is then
// this form's function. Everything else in such a file belongs in an unnamed namespace, and no
// inline function with external linkage may be used there: the linker would keep one copy for all
// forms, perhaps one that the processor cannot run.
#ifndef QRX_PRIMITIVES_FORM_H_
#define QRX_PRIMITIVES_FORM_H_

#include "qrx/primitive_types.h"

#ifndef QRX_FORM
#error "compile this file as part of a processor form"
#endif

#define QRX_JOIN_(prefix, name) prefix##_##name
#define QRX_JOIN(prefix, name) QRX_JOIN_(prefix, name)
#define FORM(name) QRX_JOIN(QRX_FORM, name)

extern "C" {

#define PRIMITIVE(slots, result, name, parameters, arguments) result FORM(name) parameters;
#include "primitives/primitives.def"

// Used inside the layer only: forms without an entry point.
IppStatus FORM(ippiDCT8x8InvLSClip_16s8u_C1R)(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                                              Ipp16s level, Ipp8u clipMin, Ipp8u clipMax);
IppStatus FORM(ippiZigzagInv8x8_16s_C1)(const Ipp16s* pSrc, Ipp16s* pDst);
IppStatus FORM(ippiConvert_8u16u_C1R)(const Ipp8u* pSrc, int srcStep, Ipp16u* pDst, int dstStep,
                                      IppiSize roiSize);
IppStatus FORM(ippsCopy_16s)(const Ipp16s* pSrc, Ipp16s* pDst, int len);
IppStatus FORM(ippsZero_16s)(Ipp16s* pDst, int len);
IppStatus FORM(ippsLShiftC_16u)(const Ipp16u* pSrc, int val, Ipp16u* pDst, int len);
IppStatus FORM(ippsDivCRev_16u)(const Ipp16u* pSrc, Ipp16u val, Ipp16u* pDst, int len);
IppStatus FORM(ippsDivCRev_16u_I)(Ipp16u val, Ipp16u* pSrcDst, int len);

}  // extern "C"

#endif  // QRX_PRIMITIVES_FORM_H_
