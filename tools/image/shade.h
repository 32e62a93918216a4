// Laying colours over a picture.
#ifndef QRX_TOOLS_IMAGE_SHADE_H_
#define QRX_TOOLS_IMAGE_SHADE_H_

#include <array>

#include "tools/image/image.h"

namespace qrx::tool {

using Shade = std::array<std::uint8_t, 3>;  // blue, green, red

// `share` of 256 of the colour over a pixel.
inline void blend(std::uint8_t* pixel, const Shade& over, int share) {
  for (std::size_t i = 0; i < over.size(); ++i) {
    pixel[i] = static_cast<std::uint8_t>((pixel[i] * (256 - share) + over[i] * share) >> 8);
  }
}

// Dark gray, so that colours laid over it stand out; opaque.
inline void dim(Image& image) {
  makeGray(image);
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    blend(&image.pixels[i], {24, 20, 20}, 168);
    image.pixels[i + 3] = 0xFF;
  }
  image.gray = false;
}

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_SHADE_H_
