// Progressive, lossless and gray JPEGs, and such with restart markers. The host contract knows
// baseline colour only, so these go through the
// library's encoder class, in a module that links the library as a direct user does. The tool loads
// the module after the library, which the loader then finds by its name.
#ifndef QRX_TOOLS_MODES_MODE_ENCODER_H_
#define QRX_TOOLS_MODES_MODE_ENCODER_H_

#include <cstdint>
#include <vector>

#include "tools/host/library.h"
#include "tools/host/session.h"
#include "tools/image/image.h"

namespace qrx::tool {

enum class Mode { kBaseline, kProgressive, kLossless };

struct ModeJob {
  Mode mode = Mode::kBaseline;
  unsigned quality = 80;
  Sampling sampling = Sampling::k422;
  bool gray = false;
  int restart = 0;  // MCUs between restart markers; 0 for none
};

class ModeEncoder {
 public:
  // Needs a library that is loaded. Throws Error where the module is missing.
  ModeEncoder();

  // A whole JPEG. Gray ones, and thereby lossless ones, take pictures without colour. Throws Error
  // where the picture does not fit and with the library's reason where it fails.
  std::vector<std::uint8_t> encode(const Image& image, const ModeJob& job) const;

 private:
  using EncodeFn = int (*)(const std::uint8_t* pixels, int channels, int width, int height,
                           int quality, int sampling, int mode, int restart, std::uint8_t* stream,
                           int capacity, int* size);
  using TextFn = const char* (*)(int code);

  EncodeFn encode_;
  TextFn text_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_MODES_MODE_ENCODER_H_
