// Sizes of the decoder's working buffers, and their allocation.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_BUFFER_SIZES_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_BUFFER_SIZES_H_

#include <climits>
#include <cstdint>
#include <initializer_list>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

// In bytes, 0 for a buffer that the frame does not need.
struct BufferSizes {
  std::int64_t blocks = 0;        // coefficients of a row of MCUs, or differences of a line
  std::int64_t coefficients = 0;  // of the whole image
  std::int64_t samples = 0;       // ss_buffer of a component at full resolution
  std::int64_t reduced = 0;       // ss_buffer of a reduced component
  std::int64_t full = 0;          // cc_buffer
  std::int64_t row = 0;           // row_buffer

  bool fitInInt() const {
    for (const std::int64_t size : {blocks, coefficients, samples, reduced, full, row}) {
      if (size > INT_MAX) return false;
    }
    return true;
  }
};

// Of a frame whose geometry is settled and whose components all exist.
BufferSizes bufferSizes(const CJPEGDecoder& decoder);

// Of a progressive image's coefficients; 0 in other modes.
std::int64_t coefficientBytes(const CJPEGDecoder& decoder);

// `size` bytes, uninitialised; false without memory and for a size of 0.
template <typename T>
bool allocate(T** buffer, std::int64_t size) {
  *buffer = static_cast<T*>(ippMalloc(static_cast<int>(size)));
  return *buffer != nullptr;
}

template <typename T>
bool allocateZeroed(T** buffer, std::int64_t size) {
  if (!allocate(buffer, size)) return false;
  ippsZero_8u(reinterpret_cast<Ipp8u*>(*buffer), static_cast<int>(size));
  return true;
}

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_BUFFER_SIZES_H_
