// Image primitives: the per-pixel and per-block work of the codec.
//
// Common rules. Argument checks run first, in the order given at each function, and nothing is
// written when one fails. Steps are in bytes from one row to the next; regions never clip: the
// caller guarantees that they lie in the buffers. Nothing needs alignment, 16-bit data included.
// Nothing outside the region is written. All functions are reentrant: any number of threads may
// run them at once on different data. All processor forms give the same bits.
#ifndef QRX_PRIMITIVES_H_
#define QRX_PRIMITIVES_H_

#include <stddef.h>
#include <stdint.h>

#include "qrx/export.h"
#include "qrx/primitive_types.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------------------------------------
// Dispatch and library core

// Slot, 0 to 6, that every entry point reads: 0 and 1 SSE2, 2 SSSE3, 3 SSSE3 with MOVBE,
// 4 SSE4.1, 5 AVX, 6 AVX2. Zero at load; written by ippInit and ippInitCpu. A host may write it,
// with a slot whose instructions the processor has, while no primitive runs.
extern QRX_API int32_t ippJumpIndexForMergedLibs;
// 1 when slot 3 was chosen, else 0. No primitive reads it.
extern QRX_API int32_t ippJumpIndexForMergedLibsLP;

// Allocator hooks, the system's functions unless a host replaces them (before it calls anything
// else). ippMalloc calls i_malloc, ippFree calls i_free; nothing calls the other two.
extern QRX_API void* (*i_malloc)(size_t);
extern QRX_API void* (*i_calloc)(size_t, size_t);
extern QRX_API void* (*i_realloc)(void*, size_t);
extern QRX_API void (*i_free)(void*);

// Chooses the forms for this processor; harmless to repeat. Result: 0; ippStsOtherVendorCpu on a
// processor of another vendor, with the best slot chosen all the same; ippStsNotSupportedCpu
// without SSE2. Call it before other threads run primitives.
QRX_API IppStatus ippInit(void);
QRX_API IppStatus ippStaticInit(void);

// Forces the forms of a processor family without looking at the processor; -1 does what ippInit
// does. From then on the forced features count as the detected ones, for a later ippInit too.
// Result: 0, ippStsNotSupportedCpu for families without a form of their own (the slot stays),
// ippStsUnknownCpuType for a selector that is not known (nothing changes).
QRX_API IppStatus ippInitCpu(int32_t selector);

// Stores the detected feature word (bits 0 to 15: MMX, SSE, SSE2, SSE3, SSSE3, MOVBE, SSE4.1,
// SSE4.2, AVX, AVX state saved, AES, CLMUL, family-0xB extension, RDRAND, F16C, AVX2 with FMA and
// BMI) in *pFeatures and, if pRegs is not null, EAX, EBX, ECX, EDX of CPUID leaf 1 in pRegs[0..3].
// Result: 0; ippStsNotSupportedCpu without CPUID; ippStsNullPtrErr for a null pFeatures.
QRX_API IppStatus ippGetCpuFeatures(uint64_t* pFeatures, uint32_t* pRegs);
// The features in use: the detected word cut to what the chosen slot may use; 3 before ippInit.
QRX_API uint64_t ippGetEnabledCpuFeatures(void);
// Replaces the features in use; returns 0. The slot does not change.
QRX_API IppStatus ippSetCpuFeaturesMask(uint64_t mask);
// Always 1.
QRX_API int ippIsCpuEnabled(int32_t selector);
// Always 0.
QRX_API IppStatus ippEnableCpu(int32_t selector);
// 1 if every bit of `features` is in use, else 0.
QRX_API int ownGetFeature(uint64_t features);

// Stores the size in bytes of the largest data cache. The first call asks the processor, later
// calls repeat its outcome. Result: 0; ippStsNullPtrErr; ippStsNotSupportedCpu where there is no
// cache data (size 0); ippStsUnknownCacheSize where the processor tells no size (size 0).
QRX_API IppStatus ippGetMaxCacheSizeB(int* pSizeBytes);

// `length` bytes at a 64-byte boundary, uninitialised, through i_malloc; null for a length below
// 1 or too large for an int with its overhead, or without memory. Release with ippFree only.
QRX_API void* ippMalloc(int length);
// Releases memory of ippMalloc through i_free; null is allowed.
QRX_API void ippFree(void* ptr);
// `ptr` rounded up to a multiple of alignBytes, a power of two.
QRX_API void* ippAlignPtr(void* ptr, int alignBytes);

// The version record of the running form; constant data.
QRX_API const IppLibraryVersion* ippjGetLibVersion(void);

// ---------------------------------------------------------------------------------------------
// Dispatched primitives
//
// Common rules. All return a status: 0 where nothing else is said. A null pointer is
// ippStsNullPtrErr, a step below 1 ippStsStepErr, a width, height or length below 1 ippStsSizeErr;
// each family tells in which order they are tested. Source and destination do not overlap unless
// the function works in place. Planes are an array of pointers that share one step.

// ---------------------------------------------------------------------------------------------
// Colour conversion
//
// Fixed-point conversion of 8-bit samples, each result clamped to 0..255. Interleaved pixels are
// R,G,B, or B,G,R, or C,M,Y,K; planes are Y, Cb, Cr (and K). Pixels in whole blocks of a row and
// the ones left over differ by rounding: a row's first 8 * (width / 8) pixels (to YCbCr) or
// 4 * (width / 4) pixels (from YCbCr and YCCK) are in blocks.
//
// Checks: null pointers, planes included; steps; size.

QRX_API IppStatus ippiRGBToYCbCr_JPEG_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[3],
                                               int dstStep, IppiSize roiSize);
QRX_API IppStatus ippiBGRToYCbCr_JPEG_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[3],
                                               int dstStep, IppiSize roiSize);
// Luma only, by the rounding of blocks in the whole row.
QRX_API IppStatus ippiRGBToY_JPEG_8u_C3C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                           IppiSize roiSize);
// Converts 255 - C, 255 - M, 255 - Y as R, G, B, by one rounding in the whole row; copies K.
QRX_API IppStatus ippiCMYKToYCCK_JPEG_8u_C4P4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[4],
                                               int dstStep, IppiSize roiSize);
QRX_API IppStatus ippiYCbCrToRGB_JPEG_8u_P3C3R(const Ipp8u* pSrc[3], int srcStep, Ipp8u* pDst,
                                               int dstStep, IppiSize roiSize);
QRX_API IppStatus ippiYCbCrToBGR_JPEG_8u_P3C3R(const Ipp8u* pSrc[3], int srcStep, Ipp8u* pDst,
                                               int dstStep, IppiSize roiSize);
// C, M, Y are 255 minus R, G, B; copies K.
QRX_API IppStatus ippiYCCKToCMYK_JPEG_8u_P4C4R(const Ipp8u* pSrc[4], int srcStep, Ipp8u* pDst,
                                               int dstStep, IppiSize roiSize);

// ---------------------------------------------------------------------------------------------
// Sampling
//
// Halves or doubles the resolution of one 8-bit plane: H2V1 in columns, H2V2 in columns and rows.
// Down-sampling averages boxes, rounding up; up-sampling is a triangle filter with weights 3/4 and
// 1/4 in each direction. dstRoiSize, W x H, drives the work; srcRoiSize is checked and not used.
//
// There is no image border: neighbours are read whatever they are, so the caller fills the margins.
// Source samples that are read:
//   down, H2V1   rows 0 to H - 1, columns 0 to 2W - 1
//   down, H2V2   rows 0 to 2H - 1, columns 0 to 2W - 1
//   up, H2V1     rows 0 to H - 1, columns -1 to W / 2
//   up, H2V2     rows -1 to H / 2, columns -1 to W / 2
//
// Checks: pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize.

QRX_API IppStatus ippiSampleDownH2V1_JPEG_8u_C1R(const Ipp8u* pSrc, int srcStep,
                                                 IppiSize srcRoiSize, Ipp8u* pDst, int dstStep,
                                                 IppiSize dstRoiSize);
QRX_API IppStatus ippiSampleDownH2V2_JPEG_8u_C1R(const Ipp8u* pSrc, int srcStep,
                                                 IppiSize srcRoiSize, Ipp8u* pDst, int dstStep,
                                                 IppiSize dstRoiSize);
QRX_API IppStatus ippiSampleUpH2V1_JPEG_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize,
                                               Ipp8u* pDst, int dstStep, IppiSize dstRoiSize);
QRX_API IppStatus ippiSampleUpH2V2_JPEG_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize srcRoiSize,
                                               Ipp8u* pDst, int dstStep, IppiSize dstRoiSize);

// ---------------------------------------------------------------------------------------------
// Transform and quantisation
//
// A block is 8 x 8 values in natural (row-major) order. A raw table is the 64 bytes of a DQT
// segment, in zig-zag order; the tables for the block functions are 64 words in natural order.

// Level shift by 128, forward DCT (T.81 A.3.3) in 16-bit fixed point, and quantisation, to the
// nearest integer and to the even one of two. pSrc is the first sample of a plane's block, with
// rows srcStep apart; pDst receives 64 coefficients.
// Checks: pSrc and pDst; srcStep; pQuantFwdTable.
QRX_API IppStatus ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst,
                                                      const Ipp16u* pQuantFwdTable);
// Scales a raw table in place: entry * s / 100, rounded and clamped to 1..255, where s is
// 5000 / quality below 50 and 200 - 2 * quality from there on, so that 100 and above gives all 1.
// Arithmetic is in 32 bits and wraps for qualities of some millions.
// Checks: the pointer; ippStsBadArgErr for a quality below 1.
QRX_API IppStatus ippiQuantFwdRawTableInit_JPEG_8u(Ipp8u* pQuantRawTable, int qualityFactor);
// Multipliers 32768 / entry for the forward function. An entry of 0 gives 65535 and the warning
// ippStsDivByZero.
QRX_API IppStatus ippiQuantFwdTableInit_JPEG_8u16u(const Ipp8u* pQuantRawTable,
                                                   Ipp16u* pQuantFwdTable);
// Dequantisation (the low 16 bits of each product), inverse DCT in 16-bit fixed point, level shift
// by 128 and clamp to 0..255. pDst is the first sample of a plane's block.
// Checks: pSrc and pDst; dstStep; pQuantInvTable.
QRX_API IppStatus ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Ipp16s* pSrc, Ipp8u* pDst, int dstStep,
                                                      const Ipp16u* pQuantInvTable);
// The raw table widened, in natural order, for the inverse function.
QRX_API IppStatus ippiQuantInvTableInit_JPEG_8u16u(const Ipp8u* pQuantRawTable,
                                                   Ipp16u* pQuantInvTable);

// ---------------------------------------------------------------------------------------------
// Huffman tables and records
//
// pListBits is 16 counts, of codes of length 1 to 16; pListVals the symbols in order of code
// length: the content of a DHT segment. The caller provides the memory of the records, of the size
// that GetBufSize stores. Tables are read only, so that scans may share them; a state belongs to
// one scan. Checks: null pointers.

// Code lengths from the frequency of each symbol, by T.81 figures K.1 to K.3; among equal
// frequencies the higher symbol gets the longer code. pListBits receives 16 counts, pListVals the
// symbols of non-zero frequency, up to 256. All-zero statistics give an empty table. Frequencies
// above 1000000000, and negative ones, get no code. Result: ippStsJPEGHuffTableErr, with nothing
// written, where a code would be longer than 32 bits before the lengths are limited to 16.
QRX_API IppStatus ippiEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[256],
                                                        Ipp8u* pListBits, Ipp8u* pListVals);
QRX_API IppStatus ippiEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
// Codes for encoding (T.81 Annex C). Result: ippStsJPEGHuffTableErr, with an empty table, for more
// than 256 codes or for codes that do not fit their lengths with the code of all ones left free.
QRX_API IppStatus ippiEncodeHuffmanSpecInit_JPEG_8u(const Ipp8u* pListBits, const Ipp8u* pListVals,
                                                    IppiEncodeHuffmanSpec* pSpec);
QRX_API IppStatus ippiEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
// Clears the state: at the start of a scan and of a restart interval.
QRX_API IppStatus ippiEncodeHuffmanStateInit_JPEG_8u(IppiEncodeHuffmanState* pState);
QRX_API IppStatus ippiDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
// Look-up for decoding. The code of all ones may be in use. Result: ippStsJPEGHuffTableErr, with
// an empty table, for more than 256 codes or for codes that do not fit their lengths.
QRX_API IppStatus ippiDecodeHuffmanSpecInit_JPEG_8u(const Ipp8u* pListBits, const Ipp8u* pListVals,
                                                    IppiDecodeHuffmanSpec* pSpec);
QRX_API IppStatus ippiDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
// Clears the state, the end-of-band run included: at the start of a scan and of a restart interval.
QRX_API IppStatus ippiDecodeHuffmanStateInit_JPEG_8u(IppiDecodeHuffmanState* pState);

// ---------------------------------------------------------------------------------------------
// Huffman encoding
//
// Entropy-coded data with byte stuffing into pDst, a buffer of dstLenBytes. *pDstCurrPos is the
// offset of the next byte, advanced by every call; bits of an unfinished byte wait in the state. A
// position outside the buffer counts as a full buffer. Blocks are 64 coefficients in natural order.
//
// A non-zero bFlushState completes the last byte with ones and clears the state, the status of the
// write notwithstanding; pSrc and what belongs to it are then not looked at. It ends a scan or a
// restart interval.
//
// *pLastDC is the DC value of the block before, updated by each call; 0 at a scan's start. Ss and
// Se bound the spectral band in zig-zag order, 1 <= Ss <= Se <= 63; Al is the point transform, 0 to
// 13. The two AC forms hold up to 8 bytes and the end-of-band run in the state until the flush; the
// other coders finish all whole bytes in each call. One scan uses one kind.
//
// Results: ippStsJPEGOutOfBufErr when the buffer is full: the bytes that fit are written, and
// coding cannot be resumed. ippStsJPEGHuffTableErr for a symbol without a code.
// ippStsJPEGDCTRangeErr in the progressive forms for a value above category 11, or for an
// end-of-band run beyond 32767.
//
// Checks: pDst; dstLenBytes; pDstCurrPos, pState (and pAcTable in the AC forms); then the flush, if
// asked for; pSrc, pLastDC (and the tables in the forms without Al); Ss, Se, Al with
// ippStsBadArgErr; pDcTable.

// A block of a sequential scan (T.81 F.1.2).
QRX_API IppStatus ippiEncodeHuffman8x8_JPEG_16s1u_C1(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, Ipp16s* pLastDC,
    const IppiEncodeHuffmanSpec* pDcTable, const IppiEncodeHuffmanSpec* pAcTable,
    IppiEncodeHuffmanState* pState, int bFlushState);
// One difference of a lossless scan (T.81 H.1.2.2).
QRX_API IppStatus ippiEncodeHuffmanOne_JPEG_16s1u_C1(const Ipp16s* pSrc, Ipp8u* pDst,
                                                     int dstLenBytes, int* pDstCurrPos,
                                                     const IppiEncodeHuffmanSpec* pTable,
                                                     IppiEncodeHuffmanState* pState,
                                                     int bFlushState);
// The DC coefficient in a first scan (T.81 G.1.2.1); *pLastDC is after the point transform.
QRX_API IppStatus ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, Ipp16s* pLastDC, int Al,
    const IppiEncodeHuffmanSpec* pDcTable, IppiEncodeHuffmanState* pState, int bFlushState);
// Bit Al of the DC coefficient.
QRX_API IppStatus ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Ipp16s* pSrc, Ipp8u* pDst,
                                                              int dstLenBytes, int* pDstCurrPos,
                                                              int Al,
                                                              IppiEncodeHuffmanState* pState,
                                                              int bFlushState);
// A band of AC coefficients in a first scan (T.81 G.1.2.2) and in a refinement (T.81 G.1.2.3).
QRX_API IppStatus ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, int Ss, int Se, int Al,
    const IppiEncodeHuffmanSpec* pAcTable, IppiEncodeHuffmanState* pState, int bFlushState);
QRX_API IppStatus ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, int Ss, int Se, int Al,
    const IppiEncodeHuffmanSpec* pAcTable, IppiEncodeHuffmanState* pState, int bFlushState);

// Statistics: the walks of the coders of the same name, adding 1 to pStatistics[symbol] where those
// write a code. The AC forms keep end-of-band runs in a state of their own, and the flush counts
// the last one; the first-scan form refuses values above category 10.
// Checks, DC: null pointers; Al. AC: pStatistics, pState; the flush; pSrc; Ss, Se, Al.
QRX_API IppStatus ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const Ipp16s* pSrc,
                                                                  int pStatistics[256],
                                                                  Ipp16s* pLastDC, int Al);
QRX_API IppStatus ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Ipp16s* pSrc,
                                                                  int pStatistics[256], int Ss,
                                                                  int Se, int Al,
                                                                  IppiEncodeHuffmanState* pState,
                                                                  int bFlushState);
QRX_API IppStatus ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Ipp16s* pSrc,
                                                                   int pStatistics[256], int Ss,
                                                                   int Se, int Al,
                                                                   IppiEncodeHuffmanState* pState,
                                                                   int bFlushState);

// ---------------------------------------------------------------------------------------------
// Huffman decoding
//
// pSrc is the whole buffer of srcLenBytes; *pSrcCurrPos the offset of the next unread byte,
// advanced by every call. Up to 64 bits that were read and not yet used wait in the state, so that
// the position does not tell where the last block ended; it never passes a marker that was not
// reported. *pMarker is 0, or the second byte of the marker that ended the data: set by the
// decoders when they come upon one, with the position behind it, and cleared by the caller when it
// has dealt with it. While it is set nothing is read, and the bits in hand are used up.
//
// *pLastDC, Ss, Se and Al are as in encoding. Coefficients whose place lies behind position 63 are
// stored at position 63; nothing outside the 64 of the block is touched.
//
// Results: 0, also where a marker was met and the data sufficed. ippStsJPEGOutOfBufErr: the buffer
// ended with too few bits, or ended in a 0xFF. ippStsJPEGDCTRangeErr: a marker ended the data with
// too few bits, or no code matched. After a failure the block holds what was decoded so far.
//
// Checks: pSrc; srcLenBytes; pSrcCurrPos, pDst, pLastDC, pMarker (and the table and pState in the
// forms without Al); Ss, Se, Al with ippStsBadArgErr; the table, pState.

// A block of a sequential scan (T.81 F.2.2), cleared first. A length of 0 is allowed (and holds no
// data); a negative one is ippStsBadArgErr.
QRX_API IppStatus ippiDecodeHuffman8x8_JPEG_1u16s_C1(const Ipp8u* pSrc, int srcLenBytes,
                                                     int* pSrcCurrPos, Ipp16s* pDst,
                                                     Ipp16s* pLastDC, int* pMarker,
                                                     const IppiDecodeHuffmanSpec* pDcTable,
                                                     const IppiDecodeHuffmanSpec* pAcTable,
                                                     IppiDecodeHuffmanState* pState);
// One difference of a lossless scan (T.81 H.2); a category above 15 is -32768.
QRX_API IppStatus ippiDecodeHuffmanOne_JPEG_1u16s_C1(const Ipp8u* pSrc, int srcLenBytes,
                                                     int* pSrcCurrPos, Ipp16s* pDst, int* pMarker,
                                                     const IppiDecodeHuffmanSpec* pTable,
                                                     IppiDecodeHuffmanState* pState);
// The progressive forms (T.81 G.2) add to a block that the caller keeps over the scans.
QRX_API IppStatus ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Ipp8u* pSrc, int srcLenBytes,
                                                             int* pSrcCurrPos, Ipp16s* pDst,
                                                             Ipp16s* pLastDC, int* pMarker, int Al,
                                                             const IppiDecodeHuffmanSpec* pDcTable,
                                                             IppiDecodeHuffmanState* pState);
QRX_API IppStatus ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Ipp8u* pSrc, int srcLenBytes,
                                                              int* pSrcCurrPos, Ipp16s* pDst,
                                                              int* pMarker, int Al,
                                                              IppiDecodeHuffmanState* pState);
// These two take a 0xFF after a 0xFF for the marker 0xFF; the others pass over it as a fill byte.
QRX_API IppStatus ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Ipp8u* pSrc, int srcLenBytes,
                                                             int* pSrcCurrPos, Ipp16s* pDst,
                                                             int* pMarker, int Ss, int Se, int Al,
                                                             const IppiDecodeHuffmanSpec* pAcTable,
                                                             IppiDecodeHuffmanState* pState);
QRX_API IppStatus ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Ipp8u* pSrc, int srcLenBytes,
                                                              int* pSrcCurrPos, Ipp16s* pDst,
                                                              int* pMarker, int Ss, int Se, int Al,
                                                              const IppiDecodeHuffmanSpec* pAcTable,
                                                              IppiDecodeHuffmanState* pState);

// ---------------------------------------------------------------------------------------------
// Lossless prediction
//
// Rows of `width` 16-bit samples to prediction differences and back (T.81 Annex H), modulo 2^16.
// The first row is predicted from the left, its first sample from 2^(P - Pt - 1); P is the sample
// precision, 2 to 16, Pt the point transform, below P. In other rows `predictor`, 1 to 7, selects
// by T.81 table H.1, and the first sample is predicted from above; pPrevRow is the row above. The
// Reconstruct forms read differences at pSrc, also in place.
//
// Checks: null pointers; width; P, Pt or predictor with ippStsBadArgErr.

QRX_API IppStatus ippiDiffPredFirstRow_JPEG_16s_C1(const Ipp16s* pSrc, Ipp16s* pDst, int width,
                                                   int P, int Pt);
QRX_API IppStatus ippiDiffPredRow_JPEG_16s_C1(const Ipp16s* pSrc, const Ipp16s* pPrevRow,
                                              Ipp16s* pDst, int width, int predictor);
QRX_API IppStatus ippiReconstructPredFirstRow_JPEG_16s_C1(const Ipp16s* pSrc, Ipp16s* pDst,
                                                          int width, int P, int Pt);
QRX_API IppStatus ippiReconstructPredRow_JPEG_16s_C1(const Ipp16s* pSrc, const Ipp16s* pPrevRow,
                                                     Ipp16s* pDst, int width, int predictor);

// ---------------------------------------------------------------------------------------------
// Data movers
//
// Image members. Checks: null pointers, planes included; size; steps in the Convert members only
// (the Copy members take any step).

// Values clamped to 0..255.
QRX_API IppStatus ippiConvert_16s8u_C1R(const Ipp16s* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                        IppiSize roiSize);
QRX_API IppStatus ippiConvert_8u16s_C1R(const Ipp8u* pSrc, int srcStep, Ipp16s* pDst, int dstStep,
                                        IppiSize roiSize);
// Four bytes a pixel to three: the fourth is dropped.
QRX_API IppStatus ippiCopy_8u_AC4C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                     IppiSize roiSize);
QRX_API IppStatus ippiCopy_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize roiSize);
// Three bytes a pixel to four: the fourth is not written.
QRX_API IppStatus ippiCopy_8u_C3AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                     IppiSize roiSize);
// Interleaved to planes, and planes to interleaved.
QRX_API IppStatus ippiCopy_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[3], int dstStep,
                                    IppiSize roiSize);
QRX_API IppStatus ippiCopy_8u_C4P4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst[4], int dstStep,
                                    IppiSize roiSize);
QRX_API IppStatus ippiCopy_8u_P3C3R(const Ipp8u* pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                                    IppiSize roiSize);
QRX_API IppStatus ippiCopy_8u_P4C4R(const Ipp8u* pSrc[4], int srcStep, Ipp8u* pDst, int dstStep,
                                    IppiSize roiSize);

// Vector members, on `len` elements. Checks: null pointers; len; ippStsShiftErr for a negative val.
// The shifts may work in place.

QRX_API IppStatus ippsCopy_8u(const Ipp8u* pSrc, Ipp8u* pDst, int len);
QRX_API IppStatus ippsZero_8u(Ipp8u* pDst, int len);
// Keeps the low 16 bits; shifts by 16 and more clear.
QRX_API IppStatus ippsLShiftC_16s(const Ipp16s* pSrc, int val, Ipp16s* pDst, int len);
// Arithmetic; shifts by 16 and more give 0 or -1.
QRX_API IppStatus ippsRShiftC_16s(const Ipp16s* pSrc, int val, Ipp16s* pDst, int len);

// ---------------------------------------------------------------------------------------------
// Dispatch tables: the seven forms of each primitive, by slot. An entry point calls the form of
// the slot ippJumpIndexForMergedLibs.
#define QRX_FORMS_OF(name) extern QRX_API const __typeof__(&name) name##_arraddr[7]

QRX_FORMS_OF(ippjGetLibVersion);
QRX_FORMS_OF(ippiRGBToYCbCr_JPEG_8u_C3P3R);
QRX_FORMS_OF(ippiBGRToYCbCr_JPEG_8u_C3P3R);
QRX_FORMS_OF(ippiRGBToY_JPEG_8u_C3C1R);
QRX_FORMS_OF(ippiCMYKToYCCK_JPEG_8u_C4P4R);
QRX_FORMS_OF(ippiYCbCrToRGB_JPEG_8u_P3C3R);
QRX_FORMS_OF(ippiYCbCrToBGR_JPEG_8u_P3C3R);
QRX_FORMS_OF(ippiYCCKToCMYK_JPEG_8u_P4C4R);
QRX_FORMS_OF(ippiSampleDownH2V1_JPEG_8u_C1R);
QRX_FORMS_OF(ippiSampleDownH2V2_JPEG_8u_C1R);
QRX_FORMS_OF(ippiSampleUpH2V1_JPEG_8u_C1R);
QRX_FORMS_OF(ippiSampleUpH2V2_JPEG_8u_C1R);
QRX_FORMS_OF(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R);
QRX_FORMS_OF(ippiQuantFwdRawTableInit_JPEG_8u);
QRX_FORMS_OF(ippiQuantFwdTableInit_JPEG_8u16u);
QRX_FORMS_OF(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R);
QRX_FORMS_OF(ippiQuantInvTableInit_JPEG_8u16u);
QRX_FORMS_OF(ippiEncodeHuffmanRawTableInit_JPEG_8u);
QRX_FORMS_OF(ippiEncodeHuffmanSpecGetBufSize_JPEG_8u);
QRX_FORMS_OF(ippiEncodeHuffmanSpecInit_JPEG_8u);
QRX_FORMS_OF(ippiEncodeHuffmanStateGetBufSize_JPEG_8u);
QRX_FORMS_OF(ippiEncodeHuffmanStateInit_JPEG_8u);
QRX_FORMS_OF(ippiEncodeHuffman8x8_JPEG_16s1u_C1);
QRX_FORMS_OF(ippiEncodeHuffmanOne_JPEG_16s1u_C1);
QRX_FORMS_OF(ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1);
QRX_FORMS_OF(ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1);
QRX_FORMS_OF(ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1);
QRX_FORMS_OF(ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1);
QRX_FORMS_OF(ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1);
QRX_FORMS_OF(ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1);
QRX_FORMS_OF(ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1);
QRX_FORMS_OF(ippiDecodeHuffmanSpecGetBufSize_JPEG_8u);
QRX_FORMS_OF(ippiDecodeHuffmanSpecInit_JPEG_8u);
QRX_FORMS_OF(ippiDecodeHuffmanStateGetBufSize_JPEG_8u);
QRX_FORMS_OF(ippiDecodeHuffmanStateInit_JPEG_8u);
QRX_FORMS_OF(ippiDecodeHuffman8x8_JPEG_1u16s_C1);
QRX_FORMS_OF(ippiDecodeHuffmanOne_JPEG_1u16s_C1);
QRX_FORMS_OF(ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1);
QRX_FORMS_OF(ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1);
QRX_FORMS_OF(ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1);
QRX_FORMS_OF(ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1);
QRX_FORMS_OF(ippiDiffPredFirstRow_JPEG_16s_C1);
QRX_FORMS_OF(ippiDiffPredRow_JPEG_16s_C1);
QRX_FORMS_OF(ippiReconstructPredFirstRow_JPEG_16s_C1);
QRX_FORMS_OF(ippiReconstructPredRow_JPEG_16s_C1);
QRX_FORMS_OF(ippiConvert_16s8u_C1R);
QRX_FORMS_OF(ippiConvert_8u16s_C1R);
QRX_FORMS_OF(ippiCopy_8u_AC4C3R);
QRX_FORMS_OF(ippiCopy_8u_C1R);
QRX_FORMS_OF(ippiCopy_8u_C3AC4R);
QRX_FORMS_OF(ippiCopy_8u_C3P3R);
QRX_FORMS_OF(ippiCopy_8u_C4P4R);
QRX_FORMS_OF(ippiCopy_8u_P3C3R);
QRX_FORMS_OF(ippiCopy_8u_P4C4R);
QRX_FORMS_OF(ippsCopy_8u);
QRX_FORMS_OF(ippsZero_8u);
QRX_FORMS_OF(ippsLShiftC_16s);
QRX_FORMS_OF(ippsRShiftC_16s);

#undef QRX_FORMS_OF

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // QRX_PRIMITIVES_H_
