// The caller-owned records of the entropy primitives. They are packed: callers size them with the
// GetBufSize functions and may place them at any address.
#ifndef QRX_PRIMITIVES_HUFFMAN_RECORDS_H_
#define QRX_PRIMITIVES_HUFFMAN_RECORDS_H_

#include "primitives/unaligned.h"
#include "qrx/primitive_types.h"

#define QRX_PACKED __attribute__((packed))

// Codes by symbol: length in the upper 16 bits, code in the lower; 0 for a symbol without a code.
struct QRX_PACKED IppiEncodeHuffmanSpec {
  uint32_t entries[256];
};
static_assert(sizeof(IppiEncodeHuffmanSpec) == 1024);

// The baseline, one-sample and DC coders keep 0 to 7 pending bits below bit 23 of bitAcc, the
// next bit to go out at bit 23. The two AC coders keep 0 to 63 pending bits right-justified.
struct QRX_PACKED IppiEncodeHuffmanState {
  uint64_t bitAcc;
  int32_t bitCount;
  int32_t eobRun;        // end-of-band blocks counted but not yet written
  int32_t corrBitCount;  // correction bits held in corrBits
  Ipp8u corrBits[1024];  // one bit a byte
};
static_assert(sizeof(IppiEncodeHuffmanState) == 1044);

struct QRX_PACKED IppiDecodeHuffmanSpec {
  Ipp16u values[256];    // symbols in table order
  uint32_t lookup[256];  // by the next 8 bits: code length in the upper 16 bits, symbol below
  Ipp16u minCode[18];    // by code length: the first code,
  Ipp16u maxCode[18];    // the last code, kNoCode when there is none,
  Ipp16u valIndex[18];   // and the place in `values` of the first code
};
static_assert(sizeof(IppiDecodeHuffmanSpec) == 1644);

struct QRX_PACKED IppiDecodeHuffmanState {
  uint64_t bitAcc;   // unused bits, right-justified
  int32_t bitCount;  // how many
  int32_t eobRun;    // blocks of the current end-of-band run still to be skipped
  int32_t reserved;
};
static_assert(sizeof(IppiDecodeHuffmanState) == 20);

#undef QRX_PACKED

namespace {

// All that the GetBufSize functions do.
template <typename Record>
IppStatus tellSize(int* pSize) {
  if (pSize == nullptr) return ippStsNullPtrErr;
  store(pSize, sizeof(Record));
  return ippStsNoErr;
}

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_RECORDS_H_
