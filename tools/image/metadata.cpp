// The one Exif tag and the one profile field that change what is shown.
#include "tools/image/metadata.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace qrx::tool {
namespace {

// TIFF numbers in the byte order of their file; the caller stays inside.
struct Tiff {
  std::span<const std::uint8_t> data;
  bool bigEndian;

  std::uint32_t number(std::size_t at, int bytes) const {
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) {
      const int from = bigEndian ? i : bytes - 1 - i;
      value = value << 8 | data[at + static_cast<std::size_t>(from)];
    }
    return value;
  }
};

bool startsWith(std::span<const std::uint8_t> data, std::string_view text) {
  return data.size() >= text.size() && std::equal(text.begin(), text.end(), data.begin());
}

// Offset of the orientation's two bytes, or 0.
std::size_t findOrientation(const Tiff& tiff) {
  constexpr std::size_t kEntry = 12;
  constexpr std::uint32_t kTag = 0x0112, kShort = 3;
  if (tiff.data.size() < 8 || tiff.number(2, 2) != 42) return 0;
  const std::size_t directory = tiff.number(4, 4);
  if (directory > tiff.data.size() - 2) return 0;
  const std::size_t count = tiff.number(directory, 2);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = directory + 2 + i * kEntry;
    if (tiff.data.size() < kEntry || at > tiff.data.size() - kEntry) return 0;
    if (tiff.number(at, 2) == kTag) return tiff.number(at + 2, 2) == kShort ? at + 8 : 0;
  }
  return 0;
}

Tiff openTiff(std::span<const std::uint8_t> exif) {
  const bool big = startsWith(exif, "MM");
  return {big || startsWith(exif, "II") ? exif : exif.first(0), big};
}

}  // namespace

int orientationOf(std::span<const std::uint8_t> exif) {
  const Tiff tiff = openTiff(exif);
  const std::size_t at = findOrientation(tiff);
  const std::uint32_t value = at == 0 ? 1 : tiff.number(at, 2);
  return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void setUpright(std::span<std::uint8_t> exif) {
  const Tiff tiff = openTiff(exif);
  const std::size_t at = findOrientation(tiff);
  if (at == 0) return;
  exif[at] = tiff.bigEndian ? 0 : 1;
  exif[at + 1] = tiff.bigEndian ? 1 : 0;
}

Image upright(const Image& image, int orientation) {
  if (orientation <= 1 || orientation > 8) return image;
  const int w = image.size.width, h = image.size.height;
  const bool turned = orientation >= 5;
  Image result(turned ? Size{h, w} : image.size);
  result.gray = image.gray;
  const bool mirrorX = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool mirrorY = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  for (int y = 0; y < result.size.height; ++y) {
    std::uint8_t* target = result.row(y);
    for (int x = 0; x < result.size.width; ++x, target += Image::kBytesPerPixel) {
      const int fromX = turned ? y : x, fromY = turned ? x : y;
      const int sx = mirrorX ? w - 1 - fromX : fromX, sy = mirrorY ? h - 1 - fromY : fromY;
      std::memcpy(target, image.row(sy) + std::ptrdiff_t{sx} * Image::kBytesPerPixel,
                  Image::kBytesPerPixel);
    }
  }
  return result;
}

bool profileFits(std::span<const std::uint8_t> icc, bool gray) {
  constexpr std::size_t kHeader = 128, kColourSpace = 16;
  return icc.size() >= kHeader && startsWith(icc.subspan(kColourSpace), gray ? "GRAY" : "RGB ");
}

}  // namespace qrx::tool
