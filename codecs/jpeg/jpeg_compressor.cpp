// The compressor on whole frames. What it does with packets stands in packets/.
#include <memory>

#include "codecs/jpeg/compress_args.h"
#include "codecs/jpeg/diagnostics.h"
#include "codecs/jpeg/jpeg_codec.h"
#include "qrx/front_end.h"
#include "qrx/product_settings.h"

namespace qrx::codec {
namespace {

_JPEG_SAMPLING samplingFromSettings() {
  conf::Settings::init();
  switch (Singleton<conf::Settings>::s_instance->subsampling) {
    case 1: return JPEG_SAMPLING_420;
    case 4: return JPEG_SAMPLING_444;
    default: return JPEG_SAMPLING_422;
  }
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
  const qrxJPEGArgs_type args = compressArgs(quality, sampling_);
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

}  // namespace qrx::codec
