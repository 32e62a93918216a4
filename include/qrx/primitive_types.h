// Types and status codes of the image primitives.
#ifndef QRX_PRIMITIVE_TYPES_H_
#define QRX_PRIMITIVE_TYPES_H_

#include <stdint.h>

typedef uint8_t Ipp8u;
typedef int16_t Ipp16s;
typedef uint16_t Ipp16u;
typedef int32_t Ipp32s;

// A region's size in pixels or samples. Passed by value.
typedef struct {
  int width;
  int height;
} IppiSize;

// Result of a primitive: 0 success; negative an error, after which nothing further was done;
// positive a warning, with the work done.
typedef int32_t IppStatus;

enum {
  ippStsNoErr = 0,
  ippStsBadArgErr = -5,         // an argument outside its allowed range
  ippStsSizeErr = -6,           // a size or length below 1
  ippStsNullPtrErr = -8,        // a null pointer
  ippStsStepErr = -14,          // a row step below 1
  ippStsShiftErr = -32,         // a negative shift count
  ippStsJPEGOutOfBufErr = -62,  // encoder: destination full; decoder: data ended
  // Encoder: a value outside the category tables. Decoder: a marker cut the data off, or no
  // Huffman code matched.
  ippStsJPEGDCTRangeErr = -63,
  ippStsJPEGHuffTableErr = -64,  // a table that is not valid, or a symbol without a code
  ippStsDivByZero = 6,           // warning: a zero divisor was met
  ippStsOtherVendorCpu = 20,     // warning: not a "GenuineIntel" processor
  ippStsUnknownCpuType = 21,     // ippInitCpu: selector not known
  ippStsNotSupportedCpu = 36,    // no CPUID, no SSE2, or no cache data
  ippStsUnknownCacheSize = 37    // CPUID gave no cache size
};

// The record that ippjGetLibVersion returns.
typedef struct {
  int32_t major;
  int32_t minor;
  int32_t majorBuild;
  int32_t build;
  char targetCpu[4];  // form code, zero-padded: "w7", "v8", "s8", "p8", "g9", "h9"
  const char* Name;
  const char* Version;
  const char* BuildDate;
} IppLibraryVersion;

// Records of the entropy primitives. Their sizes come from the GetBufSize functions; the caller
// provides the memory, which needs no alignment.
typedef struct IppiEncodeHuffmanSpec IppiEncodeHuffmanSpec;
typedef struct IppiEncodeHuffmanState IppiEncodeHuffmanState;
typedef struct IppiDecodeHuffmanSpec IppiDecodeHuffmanSpec;
typedef struct IppiDecodeHuffmanState IppiDecodeHuffmanState;

#endif  // QRX_PRIMITIVE_TYPES_H_
