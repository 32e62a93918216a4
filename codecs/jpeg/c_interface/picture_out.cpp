// Pictures to JPEGs.
#include <algorithm>
#include <climits>

#include "codecs/jpeg/c_interface/pixels.h"
#include "codecs/jpeg/library/image_limits.h"
#include "codecs/jpeg/library/mcu_grid.h"
#include "codecs/jpeg/malloc_buffer.h"

namespace qrx::codec {
namespace {

// No block takes more: 64 coefficients of at most 26 bits each, and every byte of theirs stuffed.
constexpr std::uint64_t kMostBytesPerBlock = 2 * 208;
constexpr std::uint64_t kMostHeaderBytes = 2048;

// Ink the other way round, as JPEGs with Adobe's segment have it, in rows without a gap.
MallocBuffer turnedOver(const Pixels& pixels) {
  const std::int64_t line = 4 * pixels.width;
  MallocBuffer buffer = allocateBuffer(line * pixels.height);
  std::uint8_t* target = buffer.get();
  for (std::int64_t row = 0; row < pixels.height; ++row, target += line) {
    const std::uint8_t* const source = pixels.line(row);
    std::transform(source, source + line, target,
                   [](std::uint8_t ink) { return static_cast<std::uint8_t>(255 - ink); });
  }
  return buffer;
}

struct Room {
  std::uint8_t* bytes;
  std::size_t capacity;
};

qrxc_code encode(qrxc_coder* coder, Pixels pixels, int quality, int sampling, const Room& room,
                 bool suffices, std::size_t* size) {
  MallocBuffer turned;
  if (pixels.format.color == JPEG_COLOR_CMYK) {
    turned = turnedOver(pixels);
    pixels.first = turned.get();
    pixels.step = 4 * pixels.width;
  }
  CJPEGEncoder& encoder = coder->encoder;
  setSource(encoder, pixels);
  encoder.SetDestination(
      room.bytes, static_cast<int>(std::min<std::size_t>(room.capacity, INT_MAX)), quality,
      static_cast<_JPEG_SAMPLING>(sampling), codedColor(pixels), JPEG_MODE_BASELINE, 0);
  const int result = encoder.WriteImageBaseline();
  const auto length = static_cast<std::size_t>(encoder.stream.position);
  encoder.Clean();
  if (result == JPEG_NO_ERROR) {
    *size = length;
    return done(coder);
  }
  if (result == JPEG_OUT_OF_MEMORY || suffices) throw std::bad_alloc();
  return tell(coder, QRXC_NO_ROOM, "the JPEG does not fit in %zu bytes", room.capacity);
}

}  // namespace
}  // namespace qrx::codec

using namespace qrx::codec;

extern "C" {

std::size_t qrxc_bound(std::uint32_t width, std::uint32_t height, std::int32_t format,
                       std::int32_t sampling) {
  const auto traits = formatTraits(format);
  if (!traits || width < 1 || width > kMaxImageSide || height < 1 || height > kMaxImageSide ||
      sampling < QRXC_444 || sampling > QRXC_420) {
    return 0;
  }
  const bool gray = traits->channels == 1;
  const std::uint64_t across = gray || sampling == QRXC_444 ? 1 : 2;
  const std::uint64_t down = !gray && sampling == QRXC_420 ? 2 : 1;
  const std::uint64_t full = traits->channels == 4 ? 2 : 1, reduced = gray ? 0 : 2;
  const std::uint64_t blocks = full * across * down + reduced;
  const std::uint64_t mcus =
      ((width + 8 * across - 1) / (8 * across)) * ((height + 8 * down - 1) / (8 * down));
  return mcus * blocks * kMostBytesPerBlock + kMostHeaderBytes;
}

qrxc_code qrxc_encode(qrxc_coder* coder, const void* pixels, const qrxc_layout* layout,
                      std::int32_t quality, std::int32_t sampling, void* jpeg, std::size_t capacity,
                      std::size_t* size) {
  if (size != nullptr) *size = 0;
  return call(coder, [&] {
    if (jpeg == nullptr || size == nullptr) {
      return tell(coder, QRXC_BAD_ARGUMENT, "the JPEG's memory or size is null");
    }
    const auto source = pixelsOf(coder, pixels, layout, kMaxImageSide);
    if (!source || !areCodable(coder, quality, sampling)) return QRXC_BAD_ARGUMENT;
    const bool suffices =
        capacity >= qrxc_bound(layout->width, layout->height, layout->format, sampling) &&
        capacity <= INT_MAX;
    return encode(coder, *source, quality, sampling, {static_cast<std::uint8_t*>(jpeg), capacity},
                  suffices, size);
  });
}

}  // extern "C"
