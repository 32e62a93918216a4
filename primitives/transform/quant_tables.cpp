// Tables of the transforms from the bytes of a DQT segment, and the zig-zag order undone.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/unaligned.h"
#include "primitives/zigzag.h"

namespace {

// The 64 bytes widened, in natural order.
IppStatus widenNatural(const Ipp8u* pRaw, Ipp16u* pTable) {
  Ipp16u zigzag[64];
  const IppStatus status =
      FORM(ippiConvert_8u16u_C1R)(pRaw, 64, zigzag, sizeof zigzag, IppiSize{64, 1});
  if (status != ippStsNoErr) return status;
  return FORM(ippiZigzagInv8x8_16s_C1)(reinterpret_cast<const Ipp16s*>(zigzag),
                                       reinterpret_cast<Ipp16s*>(pTable));
}

// Arithmetic of any quality that an int holds wraps in 32 bits.
inline int wrap(uint32_t value) { return static_cast<int>(value); }

}  // namespace

IppStatus FORM(ippiQuantFwdRawTableInit_JPEG_8u)(Ipp8u* pQuantRawTable, int qualityFactor) {
  if (pQuantRawTable == nullptr) return ippStsNullPtrErr;
  if (qualityFactor < 1) return ippStsBadArgErr;
  const auto quality = static_cast<uint32_t>(qualityFactor);
  const uint32_t scale = qualityFactor < 50 ? 5000 / quality : 200 - 2 * quality;
  for (int k = 0; k < 64; ++k) {
    const int entry = wrap(pQuantRawTable[k] * scale + 50) / 100;
    pQuantRawTable[k] = static_cast<Ipp8u>(entry < 1 ? 1 : entry > 255 ? 255 : entry);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiQuantFwdTableInit_JPEG_8u16u)(const Ipp8u* pQuantRawTable,
                                                 Ipp16u* pQuantFwdTable) {
  if (anyNull(pQuantRawTable, pQuantFwdTable)) return ippStsNullPtrErr;
  const IppStatus status = widenNatural(pQuantRawTable, pQuantFwdTable);
  if (status != ippStsNoErr) return status;
  return FORM(ippsDivCRev_16u_I)(32768, pQuantFwdTable, 64);
}

IppStatus FORM(ippiQuantInvTableInit_JPEG_8u16u)(const Ipp8u* pQuantRawTable,
                                                 Ipp16u* pQuantInvTable) {
  if (anyNull(pQuantRawTable, pQuantInvTable)) return ippStsNullPtrErr;
  return widenNatural(pQuantRawTable, pQuantInvTable);
}

IppStatus FORM(ippiZigzagInv8x8_16s_C1)(const Ipp16s* pSrc, Ipp16s* pDst) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  for (int k = 0; k < 64; ++k) store(pDst + own_pj_izigzag_index[k], load(pSrc + k));
  return ippStsNoErr;
}
