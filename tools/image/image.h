// A picture in memory, in the form in which the library takes and gives frames.
#ifndef QRX_TOOLS_IMAGE_IMAGE_H_
#define QRX_TOOLS_IMAGE_IMAGE_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tools/support/error.h"

namespace qrx::tool {

struct Size {
  int width = 0;
  int height = 0;
  bool operator==(const Size&) const = default;
  std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
  std::uint64_t pixels() const {
    return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  }
};

// Rows of width pixels, top row first, tightly packed: blue, green, red, alpha.
struct Image {
  static constexpr int kBytesPerPixel = 4;

  Image() = default;
  // All bytes are `fill`. Throws Error for sizes below 1 or with more bytes than an int can hold.
  explicit Image(Size imageSize, std::uint8_t fill = 0)
      : size(imageSize), pixels(byteCount(imageSize), fill) {}

  static std::size_t byteCount(Size size) {
    const std::int64_t pixelCount = std::int64_t{size.width} * size.height;
    if (size.width < 1 || size.height < 1) throw Error("an image needs a width and a height");
    constexpr int kMostPixels = std::numeric_limits<int>::max() / kBytesPerPixel;
    if (pixelCount > kMostPixels) {
      throw Error("an image of " + std::to_string(size.width) + "x" + std::to_string(size.height) +
                  " is too large: at most " + std::to_string(kMostPixels) +
                  " pixels are allowed: make it smaller");
    }
    return static_cast<std::size_t>(pixelCount) * kBytesPerPixel;
  }

  std::size_t stride() const { return static_cast<std::size_t>(size.width) * kBytesPerPixel; }
  std::uint8_t* row(int y) { return pixels.data() + static_cast<std::size_t>(y) * stride(); }
  const std::uint8_t* row(int y) const {
    return pixels.data() + static_cast<std::size_t>(y) * stride();
  }

  Size size;
  std::vector<std::uint8_t> pixels;
  bool gray = false;  // has no colour by its kind; all three colours are equal then
};

// Takes the colour away: luma as JPEG has it.
inline void makeGray(Image& image) {
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    std::uint8_t* p = &image.pixels[i];
    const int luma = (1868 * p[0] + 9617 * p[1] + 4899 * p[2] + 8192) >> 14;
    p[0] = p[1] = p[2] = static_cast<std::uint8_t>(luma);
  }
  image.gray = true;
}

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_IMAGE_H_
