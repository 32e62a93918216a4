// Pixels of the C interface's formats as the coders take them.
#ifndef QRX_CODECS_JPEG_C_INTERFACE_PIXELS_H_
#define QRX_CODECS_JPEG_C_INTERFACE_PIXELS_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "codecs/jpeg/c_interface/coder.h"

namespace qrx::codec {

struct FormatTraits {
  int bytes;     // of a pixel in memory
  int channels;  // of these that count
  _JPEG_COLOR color;
};
// None for a number that is no format.
std::optional<FormatTraits> formatTraits(std::int32_t format);

// A layout that holds what it has to.
struct Pixels {
  std::uint8_t* first;
  std::ptrdiff_t step;
  std::int64_t width, height;
  FormatTraits format;

  std::uint8_t* line(std::int64_t row) const { return first + row * step; }
};

// Checks a layout whose sides are 1 to `maxSide`; refuses, with a text, and gives none.
std::optional<Pixels> pixelsOf(qrxc_coder* coder, const void* first, const qrxc_layout* layout,
                               std::uint32_t maxSide);

// What the int fields of the coders take of a step. 1 where a wide step is told beside it.
bool isPlainStep(std::ptrdiff_t step);
int plainStep(std::ptrdiff_t step);

// Where both are in range; else refuses, with a text.
bool areCodable(qrxc_coder* coder, std::int32_t quality, std::int32_t sampling);

// Sets the source and what it lacks. Not for CMYK, which has to be turned over first. Throws
// std::bad_alloc.
void setSource(CJPEGEncoder& encoder, const Pixels& pixels);
_JPEG_COLOR codedColor(const Pixels& pixels);

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_C_INTERFACE_PIXELS_H_
