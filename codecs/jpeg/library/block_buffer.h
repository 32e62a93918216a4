// One block of coefficients on its way from the transform to the entropy coder.
#ifndef QRX_CODECS_JPEG_LIBRARY_BLOCK_BUFFER_H_
#define QRX_CODECS_JPEG_LIBRARY_BLOCK_BUFFER_H_

#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

struct CJPEGEncoder::BlockBuffer {
  Ipp16s* data() { return static_cast<Ipp16s*>(ippAlignPtr(storage, kAlignment)); }

 private:
  static constexpr int kAlignment = 32;
  Ipp8u storage[64 * sizeof(Ipp16s) + kAlignment - 1];
};

#endif  // QRX_CODECS_JPEG_LIBRARY_BLOCK_BUFFER_H_
