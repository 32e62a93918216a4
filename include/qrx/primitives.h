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

#ifdef __cplusplus
}  // extern "C"
#endif

// ---------------------------------------------------------------------------------------------
// Dispatched primitives. Each has an entry point `name` and a table `name_arraddr` of seven
// functions, indexed by slot.
#ifdef __cplusplus
extern "C" {
#endif
#define PRIMITIVE(slots, result, name, parameters, arguments) QRX_API result name parameters;
#include "../../primitives/primitives.def"
#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // QRX_PRIMITIVES_H_
