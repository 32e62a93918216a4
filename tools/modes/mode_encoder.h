// Progressive and lossless JPEGs. The host contract knows baseline only, so these go through the
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

class ModeEncoder {
 public:
  // Needs a library that is loaded. Throws Error where the module is missing.
  ModeEncoder();

  // A whole JPEG. Lossless takes pictures without colour, progressive any. Throws Error where the
  // picture does not fit the mode and with the library's reason where it fails.
  std::vector<std::uint8_t> encode(const Image& image, Mode mode, unsigned quality,
                                   Sampling sampling) const;

 private:
  using EncodeFn = int (*)(const std::uint8_t* pixels, int channels, int width, int height,
                           int quality, int sampling, int mode, std::uint8_t* stream, int capacity,
                           int* size);
  using TextFn = const char* (*)(int code);

  EncodeFn encode_;
  TextFn text_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_MODES_MODE_ENCODER_H_
