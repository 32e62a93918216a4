// Makes the decoder's n-th allocation fail: an error comes back, nothing leaks, and the object
// decodes the next image.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/sample_streams.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace {

int g_untilFailure = 0;

void* failingMalloc(std::size_t size) {
  return g_untilFailure-- == 0 ? nullptr : std::malloc(size);
}

int decode(CJPEGDecoder& decoder, const std::uint8_t* data, std::size_t size) {
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(data, static_cast<int>(size));
  int width = 0, height = 0, channels = 0, precision = 0;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  const int result = decoder.ReadHeader(&width, &height, &channels, &color, &sampling, &precision);
  if (result != 0 || std::int64_t{width} * height > 1 << 16) return result;
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(4 * width) *
                                   static_cast<std::size_t>(height));
  decoder.SetDestination(pixels.data(), 4 * width, {width, height}, 3, JPEG_COLOR_BGR, 8);
  return decoder.ReadData();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  static const auto* const good = new std::vector<std::uint8_t>(sampleBaseline());
  i_malloc = failingMalloc;
  g_untilFailure = data[size - 1] % 32;
  {
    CJPEGDecoder decoder;
    decode(decoder, data, size - 1);
    g_untilFailure = -1;
    if (decode(decoder, good->data(), good->size()) != 0) std::abort();
  }
  return 0;
}
