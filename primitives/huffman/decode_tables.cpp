// Huffman tables for decoding, and the decoder's state record.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/huffman/bit_reader.h"
#include "primitives/huffman/codes.h"

namespace {

// Every place of the look-up that begins with the code.
void enterLookup(IppiDecodeHuffmanSpec* spec, unsigned code, int length, unsigned symbol) {
  const unsigned first = code << (8 - length);
  for (unsigned i = 0; i < 1u << (8 - length); ++i) {
    spec->lookup[first + i] = static_cast<uint32_t>(length) << 16 | symbol;
  }
}

void enterRun(IppiDecodeHuffmanSpec* spec, const CodeRuns& runs, int length) {
  const int count = runs.count[length];
  if (count == 0) return;
  const unsigned first = runs.firstCode[length];
  const int index = runs.firstIndex[length];
  spec->minCode[length] = static_cast<Ipp16u>(first);
  spec->maxCode[length] = static_cast<Ipp16u>(first + static_cast<unsigned>(count) - 1);
  spec->valIndex[length] = static_cast<Ipp16u>(index);
  for (int i = 0; i < count && length <= 8; ++i) {
    enterLookup(spec, first + static_cast<unsigned>(i), length, spec->values[index + i]);
  }
}

}  // namespace

IppStatus FORM(ippiDecodeHuffmanSpecGetBufSize_JPEG_8u)(int* pSize) {
  return tellSize<IppiDecodeHuffmanSpec>(pSize);
}

IppStatus FORM(ippiDecodeHuffmanSpecInit_JPEG_8u)(const Ipp8u* pListBits, const Ipp8u* pListVals,
                                                  IppiDecodeHuffmanSpec* pSpec) {
  if (anyNull(pListBits, pListVals, pSpec)) return ippStsNullPtrErr;
  __builtin_memset(pSpec, 0, sizeof *pSpec);
  for (int length = 0; length < 18; ++length) pSpec->maxCode[length] = kNoCode;
  CodeRuns runs;
  if (!assignCodes(pListBits, CompleteTable::kTake, &runs)) return ippStsJPEGHuffTableErr;
  for (int i = 0; i < runs.total; ++i) pSpec->values[i] = pListVals[i];
  for (int length = 1; length <= 16; ++length) enterRun(pSpec, runs, length);
  return ippStsNoErr;
}

IppStatus FORM(ippiDecodeHuffmanStateGetBufSize_JPEG_8u)(int* pSize) {
  return tellSize<IppiDecodeHuffmanState>(pSize);
}

IppStatus FORM(ippiDecodeHuffmanStateInit_JPEG_8u)(IppiDecodeHuffmanState* pState) {
  if (pState == nullptr) return ippStsNullPtrErr;
  __builtin_memset(pState, 0, sizeof *pState);
  return ippStsNoErr;
}
