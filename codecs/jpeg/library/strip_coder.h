// The inner loop of baseline images and of packets: one row of MCUs from source pixels to code.
//
// Three colours go to planes, and planes to code, by the fused routes of the processor. Other
// pixels go to planes by the encoder's stages; and wherever the route to code stops or does not
// take the image, an MCU goes through the primitives.
#ifndef QRX_CODECS_JPEG_LIBRARY_STRIP_CODER_H_
#define QRX_CODECS_JPEG_LIBRARY_STRIP_CODER_H_

#include <cstdint>

#include "codecs/jpeg/library/mcu_walk.h"
#include "primitives/strips/strips.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

class StripCoder {
 public:
  // `encoder` is initialised for baseline and stays the caller's.
  explicit StripCoder(CJPEGEncoder& encoder);

  // Converts and reduces the source lines of `strip`. Strips come in rising order.
  int fill(int strip);

  // Codes MCUs of the strip from `column` on, with restart markers between them where an interval
  // is full: `count` of them, or fewer where one takes the stream's position beyond `stopAt`, and
  // then no other follows. `coded` gets their number.
  int code(int column, int count, std::int64_t stopAt, int* coded);

 private:
  bool takeFillRoute();
  bool takeCodeRoute();
  void settleSamples();
  void fillByRoute(int strip);
  int codeByRoute(int column, int count, int stopAt);
  int codeMCU(int column);

  CJPEGEncoder& encoder_;
  MCUWalk walk_;
  // Settled with the first strip.
  bool fillsByRoute_ = false;
  bool codesByRoute_ = false;
  strips::PixelsIn pixels_ = {};
  strips::ScanOut scan_ = {};
  alignas(64) Ipp16s block_[64];  // between the transform and the entropy coder
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_STRIP_CODER_H_
