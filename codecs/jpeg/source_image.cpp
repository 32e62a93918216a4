// Pixel formats, and the copy that drops the fourth byte of a pixel.
#include "codecs/jpeg/source_image.h"

#include <algorithm>
#include <climits>
#include <new>

#include "codecs/jpeg/library/encoder_room.h"
#include "qrx/codec.h"

namespace qrx::codec {
namespace {

constexpr int kFormatRgb = 6407;
constexpr int kFormatBgra = 32993;
constexpr std::int64_t kSmallestStream = 4096;

}  // namespace

bool isKnownFormat(int format) {
  return format == kFormatRgb || format == int{kFormatRgba} || format == kFormatBgra;
}

PixelLayout pixelLayout(const qrxJPEGArgs_type& args) {
  if (args.format == kFormatRgb) return {3, JPEG_COLOR_RGB, JPEG_COLOR_YCBCR};
  if (args.useAlpha == 0) return {3, JPEG_COLOR_BGR, JPEG_COLOR_YCBCR};
  return {4, JPEG_COLOR_CMYK, JPEG_COLOR_YCCK};
}

std::int64_t rawSize(const PixelLayout& layout, int width, int height) {
  return std::int64_t{layout.channels} * width * height;
}

std::int64_t streamCapacity(const PixelLayout& layout, int width, int height) {
  return std::max(rawSize(layout, width, height), kSmallestStream);
}

bool isCodableSize(const PixelLayout& layout, int width, int height, int maxSide) {
  return width >= 0 && width <= maxSide && height >= 0 && height <= maxSide &&
         rawSize(layout, width, height) <= INT_MAX;
}

void setSource(CJPEGEncoder& encoder, const std::uint8_t* image, IppiSize size,
               const PixelLayout& layout, bool fourBytes) {
  encoder.SetSource(image, (fourBytes ? 4 : layout.channels) * size.width, size, layout.channels,
                    layout.source);
  if (fourBytes && jpeg::setFourByteSource(encoder) != JPEG_NO_ERROR) throw std::bad_alloc();
}

}  // namespace qrx::codec
