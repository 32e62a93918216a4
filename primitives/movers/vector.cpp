// Copy, clear, shift and reversed division of vectors.
#include "primitives/form.h"
#include "primitives/movers/movers_ref.h"

namespace {

template <typename T>
IppStatus copyVector(const T* pSrc, T* pDst, int len) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  const void* from = pSrc;
  void* to = pDst;
  __builtin_memcpy(to, from, sizeof(T) * static_cast<size_t>(len));
  return ippStsNoErr;
}

template <typename T>
IppStatus zeroVector(T* pDst, int len) {
  if (pDst == nullptr) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  void* to = pDst;
  __builtin_memset(to, 0, sizeof(T) * static_cast<size_t>(len));
  return ippStsNoErr;
}

template <typename T>
IppStatus checkShift(const T* pSrc, int val, const T* pDst, int len) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  return val < 0 ? ippStsShiftErr : ippStsNoErr;
}

IppStatus divideReversed(const Ipp16u* pSrc, Ipp16u val, Ipp16u* pDst, int len) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  IppStatus status = ippStsNoErr;
  for (int i = 0; i < len; ++i) {
    const Ipp16u divisor = load(pSrc + i);
    if (divisor == 0) status = ippStsDivByZero;
    store(pDst + i, divideRounded(val, divisor));
  }
  return status;
}

}  // namespace

IppStatus FORM(ippsCopy_8u)(const Ipp8u* pSrc, Ipp8u* pDst, int len) {
  return copyVector(pSrc, pDst, len);
}

IppStatus FORM(ippsCopy_16s)(const Ipp16s* pSrc, Ipp16s* pDst, int len) {
  return copyVector(pSrc, pDst, len);
}

IppStatus FORM(ippsZero_8u)(Ipp8u* pDst, int len) { return zeroVector(pDst, len); }

IppStatus FORM(ippsZero_16s)(Ipp16s* pDst, int len) { return zeroVector(pDst, len); }

// Also serves signed elements: the low 16 bits are the same.
IppStatus FORM(ippsLShiftC_16u)(const Ipp16u* pSrc, int val, Ipp16u* pDst, int len) {
  const IppStatus status = checkShift(pSrc, val, pDst, len);
  if (status != ippStsNoErr) return status;
  if (val > 15) return zeroVector(pDst, len);
  for (int i = 0; i < len; ++i) store(pDst + i, load(pSrc + i) << val);
  return ippStsNoErr;
}

IppStatus FORM(ippsLShiftC_16s)(const Ipp16s* pSrc, int val, Ipp16s* pDst, int len) {
  return FORM(ippsLShiftC_16u)(reinterpret_cast<const Ipp16u*>(pSrc), val,
                               reinterpret_cast<Ipp16u*>(pDst), len);
}

IppStatus FORM(ippsRShiftC_16s)(const Ipp16s* pSrc, int val, Ipp16s* pDst, int len) {
  const IppStatus status = checkShift(pSrc, val, pDst, len);
  if (status != ippStsNoErr) return status;
  const int shift = val > 15 ? 15 : val;
  for (int i = 0; i < len; ++i) store(pDst + i, load(pSrc + i) >> shift);
  return ippStsNoErr;
}

IppStatus FORM(ippsDivCRev_16u)(const Ipp16u* pSrc, Ipp16u val, Ipp16u* pDst, int len) {
  return divideReversed(pSrc, val, pDst, len);
}

IppStatus FORM(ippsDivCRev_16u_I)(Ipp16u val, Ipp16u* pSrcDst, int len) {
  return divideReversed(pSrcDst, val, pSrcDst, len);
}
