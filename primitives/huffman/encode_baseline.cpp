// Baseline and lossless Huffman coding: a block, or one sample.
//
// Each coder has two routes. The wide one keeps bits in a register and stores eight bytes at a
// time; where a byte does not fit or a symbol has no code it gives up without a trace, and the
// route symbol by symbol, which defines the result, does the work again.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/huffman/bit_writer.h"
#include "primitives/huffman/codes.h"
#include "primitives/huffman/encode_common.h"
#include "primitives/zigzag.h"

namespace {

struct ZigzagPlaces {
  Ipp8u of[64];  // by natural index
};

constexpr ZigzagPlaces zigzagPlaces() {
  ZigzagPlaces places{};
  for (int k = 0; k < 64; ++k) places.of[own_pj_izigzag_index[k]] = static_cast<Ipp8u>(k);
  return places;
}

constexpr ZigzagPlaces kPlaces = zigzagPlaces();

// Bit k is set when the coefficient at zig-zag place k is not zero.
inline uint64_t nonZeroPlaces(const Ipp16s* block) {
  uint64_t places = 0;
  for (int i = 0; i < 64; i += 4) {
    const void* four = block + i;
    uint64_t together;
    __builtin_memcpy(&together, four, sizeof together);
    if (together == 0) continue;
    for (int j = i; j < i + 4; ++j) {
      places |= uint64_t{load(block + j) != 0} << kPlaces.of[j];
    }
  }
  return places;
}

// Bits between the state's pending ones and the ones that it keeps in the end.
struct WideCoder {
  Output out;
  WideBits wide;

  WideCoder(const Output& output, const IppiEncodeHuffmanState* state) : out(output) {
    wide.count = state->bitCount & 7;
    wide.bits = (state->bitAcc & 0xFFFFFF) >> (24 - wide.count);
  }

  // A code and the extra bits of `v`. False where the other route has to decide.
  bool put(uint32_t entry, int v, int size) {
    const unsigned length = entry >> 16;
    if (!isCodeLength(length)) return false;
    const uint64_t code = entry & ((1u << length) - 1);
    return wide.put(&out, code << size | extraBits(v, size), static_cast<int>(length) + size);
  }

  // Whole bytes out, the rest into the state.
  bool finish(IppiEncodeHuffmanState* state) {
    const uint64_t word = wide.leftJustified();
    const int bytes = wide.count / 8;
    const uint64_t behind = ~uint64_t{0} >> 8 * bytes;
    if (out.room() >= 8 && !anyByteIsFF(word & ~behind)) {
      uint64_t stored;
      __builtin_memcpy(&stored, out.bytes + out.position, sizeof stored);
      stored = __builtin_bswap64((word & ~behind) | (__builtin_bswap64(stored) & behind));
      __builtin_memcpy(out.bytes + out.position, &stored, sizeof stored);
      out.position += bytes;
    } else if (!WideBits::putBytes(&out, word, bytes)) {
      return false;
    }
    state->bitAcc = (word & behind) >> (56 - 8 * bytes) << 16;
    state->bitCount = wide.count & 7;
    return true;
  }
};

bool encodeBlockWide(const Ipp16s* pSrc, Output* out, int dcDifference,
                     const IppiEncodeHuffmanSpec* pDcTable, const IppiEncodeHuffmanSpec* pAcTable,
                     IppiEncodeHuffmanState* pState) {
  WideCoder coder(*out, pState);
  const int dcSize = category(dcDifference);
  if (!coder.put(pDcTable->entries[dcSize], dcDifference, dcSize)) return false;
  int last = 0;
  for (uint64_t places = nonZeroPlaces(pSrc) & ~uint64_t{1}; places != 0; places &= places - 1) {
    const int k = __builtin_ctzll(places);
    int run = k - last - 1;
    for (; run > 15; run -= 16) {
      if (!coder.put(pAcTable->entries[0xF0], 0, 0)) return false;
    }
    const int v = load(pSrc + own_pj_izigzag_index[k]);
    const int size = category(v);
    if (size > 15) return false;
    if (!coder.put(pAcTable->entries[run * 16 + size], v, size)) return false;
    last = k;
  }
  if (last != 63 && !coder.put(pAcTable->entries[0], 0, 0)) return false;
  if (!coder.finish(pState)) return false;
  out->position = coder.out.position;
  return true;
}

IppStatus encodeCoefficients(const Ipp16s* pSrc, Output* out, const IppiEncodeHuffmanSpec* pAcTable,
                             IppiEncodeHuffmanState* pState) {
  int run = 0;
  for (int k = 1; k < 64; ++k) {
    const int v = load(pSrc + own_pj_izigzag_index[k]);
    if (v == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) {
      const IppStatus status = writeSymbol(out, pState, pAcTable, 0xF0);
      if (status != ippStsNoErr) return status;
    }
    const int size = category(v);
    if (size > 15) return ippStsJPEGHuffTableErr;  // -32768: there is no such symbol
    const IppStatus status = writeValue(out, pState, pAcTable, run * 16 + size, v, size);
    if (status != ippStsNoErr) return status;
    run = 0;
  }
  return run == 0 ? ippStsNoErr : writeSymbol(out, pState, pAcTable, 0);
}

IppStatus encodeBlock(const Ipp16s* pSrc, Output* out, int dcDifference,
                      const IppiEncodeHuffmanSpec* pDcTable, const IppiEncodeHuffmanSpec* pAcTable,
                      IppiEncodeHuffmanState* pState) {
  const int size = category(dcDifference);
  const IppStatus status = writeValue(out, pState, pDcTable, size, dcDifference, size);
  return status != ippStsNoErr ? status : encodeCoefficients(pSrc, out, pAcTable, pState);
}

}  // namespace

IppStatus FORM(ippiEncodeHuffmanStateGetBufSize_JPEG_8u)(int* pSize) {
  return tellSize<IppiEncodeHuffmanState>(pSize);
}

IppStatus FORM(ippiEncodeHuffmanStateInit_JPEG_8u)(IppiEncodeHuffmanState* pState) {
  if (pState == nullptr) return ippStsNullPtrErr;
  clear(pState);
  return ippStsNoErr;
}

IppStatus FORM(ippiEncodeHuffman8x8_JPEG_16s1u_C1)(const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes,
                                                   int* pDstCurrPos, Ipp16s* pLastDC,
                                                   const IppiEncodeHuffmanSpec* pDcTable,
                                                   const IppiEncodeHuffmanSpec* pAcTable,
                                                   IppiEncodeHuffmanState* pState,
                                                   int bFlushState) {
  IppStatus status = checkOutput(pDst, dstLenBytes, pDstCurrPos, pState);
  if (status != ippStsNoErr) return status;
  if (bFlushState != 0) return flush(pDst, dstLenBytes, pDstCurrPos, pState);
  if (anyNull(pSrc, pLastDC, pDcTable, pAcTable)) return ippStsNullPtrErr;

  const int dc = load(pSrc);
  const int difference = dc - load(pLastDC);
  store(pLastDC, dc);
  Output out = {pDst, dstLenBytes, load(pDstCurrPos)};
  if (!encodeBlockWide(pSrc, &out, difference, pDcTable, pAcTable, pState)) {
    status = encodeBlock(pSrc, &out, difference, pDcTable, pAcTable, pState);
  }
  store(pDstCurrPos, out.position);
  return status;
}

IppStatus FORM(ippiEncodeHuffmanOne_JPEG_16s1u_C1)(const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes,
                                                   int* pDstCurrPos,
                                                   const IppiEncodeHuffmanSpec* pTable,
                                                   IppiEncodeHuffmanState* pState,
                                                   int bFlushState) {
  IppStatus status = checkOutput(pDst, dstLenBytes, pDstCurrPos, pState);
  if (status != ippStsNoErr) return status;
  if (bFlushState != 0) return flush(pDst, dstLenBytes, pDstCurrPos, pState);
  if (anyNull(pSrc, pTable)) return ippStsNullPtrErr;

  const int v = load(pSrc);
  const int symbol = category(v);
  const int size = symbol < 16 ? symbol : 0;  // -32768 has no extra bits
  Output out = {pDst, dstLenBytes, load(pDstCurrPos)};
  WideCoder coder(out, pState);
  if (coder.put(pTable->entries[symbol], v, size) && coder.finish(pState)) {
    out.position = coder.out.position;
  } else {
    status = writeValue(&out, pState, pTable, symbol, v, size);
  }
  store(pDstCurrPos, out.position);
  return status;
}
