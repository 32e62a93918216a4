// The compressor: the host's arguments become argument records for the two roads.
#include <algorithm>

#include "codecs/jpeg/diagnostics.h"
#include "codecs/jpeg/jpeg_codec.h"
#include "codecs/jpeg/malloc_buffer.h"
#include "qrx/front_end.h"
#include "qrx/product_settings.h"

namespace qrx::codec {
namespace {

constexpr std::uint32_t kMaxQuality = 97;
constexpr std::int32_t kSignature = 1972;
constexpr std::int32_t kFormatRgba = 6408;
constexpr std::uint8_t kPacketKind = 231;

_JPEG_SAMPLING samplingFromSettings() {
  conf::Settings::init();
  switch (Singleton<conf::Settings>::s_instance->subsampling) {
    case 1: return JPEG_SAMPLING_420;
    case 4: return JPEG_SAMPLING_444;
    default: return JPEG_SAMPLING_422;
  }
}

qrxJPEGArgs_type makeArgs(std::uint32_t quality, _JPEG_SAMPLING sampling) {
  return {kSignature, static_cast<std::int32_t>(std::min(quality, kMaxQuality)), sampling,
          kFormatRgba, 0};
}

std::uint8_t mcuShapeOf(_JPEG_SAMPLING sampling) {
  const int across = sampling == JPEG_SAMPLING_444 ? 1 : 2;
  const int down = sampling == JPEG_SAMPLING_420 ? 2 : 1;
  return static_cast<std::uint8_t>(across << 4 | down);
}

std::int16_t low16(std::uint32_t value) { return static_cast<std::int16_t>(value); }

// Carries the host's callback through the encoder's packet function.
struct CallbackClosure {
  CompressCallback callback;
  void* userData;
};

void handPacketOver(std::uint8_t* packet, int length, void* context) {
  const auto* closure = static_cast<const CallbackClosure*>(context);
  closure->callback(packet, static_cast<std::uint32_t>(length), closure->userData);
}

}  // namespace

JpegCompressor::JpegCompressor(JpegCodec* owner)
    : codec_(owner), sampling_(samplingFromSettings()) {}

JpegCompressor::~JpegCompressor() = default;

void JpegCompressor::getAttributes(const char*** names, const char*** values,
                                   std::uint32_t* count) {
  *names = nullptr;
  *values = nullptr;
  *count = 0;
}

bool JpegCompressor::compress(const std::uint8_t* image, std::uint32_t channels, std::uint32_t,
                              std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t width,
                              std::uint32_t height, std::uint32_t, std::uint32_t quality,
                              CompressCallback callback, void* userData) {
  if (callback == nullptr) {
    printError(kInvalidArgument);
    return false;
  }
  const qrxJPEGArgs_type args = makeArgs(quality, sampling_);
  std::uint8_t* output = nullptr;
  int size = 0;
  qrxReleaseFunction release = nullptr;
  if (CompressPatch(image, static_cast<int>(channels), static_cast<int>(width),
                    static_cast<int>(height), &output, &release, &size, &args) == 0) {
    return false;
  }
  // Freed when the callback has returned or thrown.
  const std::unique_ptr<std::uint8_t, qrxReleaseFunction> owner(output, release);
  callback(output, static_cast<std::uint32_t>(size), userData);
  return true;
}

bool JpegCompressor::compress(const std::uint8_t* image, std::uint32_t channels,
                              std::uint32_t window, std::uint32_t index, std::uint32_t x,
                              std::uint32_t y, std::uint32_t width, std::uint32_t height,
                              std::uint32_t, std::uint32_t, std::uint32_t quality,
                              CompressCallback callback, void* userData) {
  if (callback == nullptr || userData == nullptr) return false;
  const qrxTilesArgs_type args = makeArgs(quality, sampling_);
  udp_header header = {};
  header.headerSize = sizeof header;
  header.contextByte = static_cast<const std::uint8_t*>(userData)[4];
  header.kind = kPacketKind;
  header.mcuShape = mcuShapeOf(sampling_);
  header.window = window;
  header.index = static_cast<std::int32_t>(index);
  header.x = header.frameX = low16(x);
  header.y = header.frameY = low16(y);
  header.width = header.frameWidth = low16(width);
  header.height = header.frameHeight = low16(height);
  CallbackClosure closure = {callback, userData};
  return CompressTilesPatch(image, static_cast<int>(channels), static_cast<int>(width),
                            static_cast<int>(height), &header, &args, handPacketOver,
                            &closure) != 0;
}

}  // namespace qrx::codec
