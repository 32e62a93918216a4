#include "codecs/jpeg/c_interface/pixels.h"

#include <climits>

#include "codecs/jpeg/library/encoder_room.h"

namespace qrx::codec {

std::optional<FormatTraits> formatTraits(std::int32_t format) {
  switch (format) {
    case QRXC_GRAY: return FormatTraits{1, 1, JPEG_COLOR_GRAY};
    case QRXC_RGB: return FormatTraits{3, 3, JPEG_COLOR_RGB};
    case QRXC_BGR: return FormatTraits{3, 3, JPEG_COLOR_BGR};
    case QRXC_RGBX: return FormatTraits{4, 3, JPEG_COLOR_RGB};
    case QRXC_BGRX: return FormatTraits{4, 3, JPEG_COLOR_BGR};
    case QRXC_CMYK: return FormatTraits{4, 4, JPEG_COLOR_CMYK};
    default: return std::nullopt;
  }
}

std::optional<Pixels> pixelsOf(qrxc_coder* coder, const void* first, const qrxc_layout* layout,
                               std::uint32_t maxSide) {
  if (first == nullptr || layout == nullptr) {
    tell(coder, QRXC_BAD_ARGUMENT, "pixels or layout is null");
    return std::nullopt;
  }
  const auto format = formatTraits(layout->format);
  if (!format) {
    tell(coder, QRXC_BAD_ARGUMENT, "%d is no pixel format", layout->format);
    return std::nullopt;
  }
  const std::uint32_t width = layout->width, height = layout->height;
  if (width < 1 || width > maxSide || height < 1 || height > maxSide) {
    tell(coder, QRXC_BAD_ARGUMENT, "%u x %u pixels: each side has to be 1 to %u", width, height,
         maxSide);
    return std::nullopt;
  }
  const std::int64_t line = std::int64_t{format->bytes} * width;
  const std::int64_t step = layout->stride != 0 ? layout->stride : line;
  const std::int64_t bound = PTRDIFF_MAX / height;
  if ((step < line && step > -line) || step > bound || step < -bound) {
    tell(coder, QRXC_BAD_ARGUMENT, "a stride of %lld bytes for rows of %lld",
         static_cast<long long>(step), static_cast<long long>(line));
    return std::nullopt;
  }
  // Sources are read only.
  auto* const bytes = static_cast<std::uint8_t*>(const_cast<void*>(first));
  return Pixels{bytes, step, width, height, *format};
}

bool isPlainStep(std::ptrdiff_t step) { return step >= 1 && step <= INT_MAX; }

int plainStep(std::ptrdiff_t step) { return isPlainStep(step) ? static_cast<int>(step) : 1; }

bool areCodable(qrxc_coder* coder, std::int32_t quality, std::int32_t sampling) {
  if (quality < 1 || quality > 100) {
    tell(coder, QRXC_BAD_ARGUMENT, "quality %d is not 1 to 100", quality);
    return false;
  }
  if (sampling < QRXC_444 || sampling > QRXC_420) {
    tell(coder, QRXC_BAD_ARGUMENT, "%d is no sampling to code with", sampling);
    return false;
  }
  return true;
}

void setSource(CJPEGEncoder& encoder, const Pixels& pixels) {
  encoder.Clean();
  encoder.SetSource(pixels.first, plainStep(pixels.step),
                    {static_cast<int>(pixels.width), static_cast<int>(pixels.height)},
                    pixels.format.channels, pixels.format.color);
  int result = JPEG_NO_ERROR;
  if (pixels.format.bytes != pixels.format.channels) result = jpeg::setFourByteSource(encoder);
  if (result == JPEG_NO_ERROR && !isPlainStep(pixels.step)) {
    result = jpeg::setWideSourceStep(encoder, pixels.step);
  }
  if (result != JPEG_NO_ERROR) throw std::bad_alloc();
}

_JPEG_COLOR codedColor(const Pixels& pixels) {
  switch (pixels.format.channels) {
    case 1: return JPEG_COLOR_GRAY;
    case 4: return JPEG_COLOR_YCCK;
    default: return JPEG_COLOR_YCBCR;
  }
}

}  // namespace qrx::codec
