// The coder classes of a library that was loaded at run time. A program that links the classes has
// one library; two builds side by side in one process need their members by address.
#ifndef QRX_BENCH_CODER_ENTRIES_H_
#define QRX_BENCH_CODER_ENTRIES_H_

#include <cstddef>

#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"
#include "tools/host/library.h"

namespace qrx::bench {

// The members that a picture takes, each as a function of the object: how the ABI of g++ and
// clang++ calls them.
struct CoderEntries {
  explicit CoderEntries(const tool::Library& library);

  void (*makeEncoder)(CJPEGEncoder*);
  void (*endEncoder)(CJPEGEncoder*);
  int (*cleanEncoder)(CJPEGEncoder*);
  int (*setEncoderSource)(CJPEGEncoder*, const Ipp8u*, int, IppiSize, int, _JPEG_COLOR);
  int (*setEncoderDestination)(CJPEGEncoder*, Ipp8u*, int, int, _JPEG_SAMPLING, _JPEG_COLOR,
                               _JPEG_MODE, int);
  int (*write[3])(CJPEGEncoder*);  // by _JPEG_MODE

  void (*makeDecoder)(CJPEGDecoder*);
  void (*endDecoder)(CJPEGDecoder*);
  int (*cleanDecoder)(CJPEGDecoder*);
  void (*resetDecoder)(CJPEGDecoder*);
  int (*setDecoderSource)(CJPEGDecoder*, const Ipp8u*, int);
  int (*readHeader)(CJPEGDecoder*, int*, int*, int*, _JPEG_COLOR*, _JPEG_SAMPLING*, int*);
  int (*setDecoderDestination)(CJPEGDecoder*, Ipp8u*, int, IppiSize, int, _JPEG_COLOR, int);
  int (*readData)(CJPEGDecoder*);
};

// An object of a library: made and ended there, in room of ours.
template <typename T>
class Coder {
 public:
  Coder(void (*make)(T*), void (*end)(T*)) : end_(end) { make(get()); }
  ~Coder() { end_(get()); }
  Coder(const Coder&) = delete;
  Coder& operator=(const Coder&) = delete;

  T* get() { return reinterpret_cast<T*>(room_); }

 private:
  // Of another build the object may be larger.
  alignas(T) std::byte room_[2 * sizeof(T) + 4096];
  void (*end_)(T*);
};

}  // namespace qrx::bench

#endif  // QRX_BENCH_CODER_ENTRIES_H_
