// One encoder and one decoder for each thread and road, so that no call takes a lock.
#ifndef QRX_CODECS_JPEG_THREAD_CODERS_H_
#define QRX_CODECS_JPEG_THREAD_CODERS_H_

#include <memory>

#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::codec {

// Owned by the thread's slot, freed when the thread ends.
struct ThreadCoders {
  std::unique_ptr<CJPEGEncoder> encoder = std::make_unique<CJPEGEncoder>();
  std::unique_ptr<CJPEGDecoder> decoder = std::make_unique<CJPEGDecoder>();

  ~ThreadCoders() { encoder.reset(); }  // the encoder goes first
};

// The calling thread's coders for frames and for packets, made on first use. Null before the
// road's _init function has run. Throws std::bad_alloc.
ThreadCoders* getJpegContext();
ThreadCoders* getTilesContext();

// Whether the packet road has been started.
bool tilesStarted();

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_THREAD_CODERS_H_
