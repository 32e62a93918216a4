// The class road: any bytes through ReadHeader and ReadData, in every mode and to every colour, on
// one object for all inputs; after each input that object has to decode a good image as ever.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/sample_streams.h"
#include "qrx/jpeg_decoder.h"

namespace {

constexpr std::int64_t kMaxPixels = 1 << 18;  // keeps one run short

std::vector<std::uint8_t> decode(CJPEGDecoder& decoder, const std::uint8_t* data, std::size_t size,
                                 _JPEG_COLOR destinationColor, int trim) {
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(data, static_cast<int>(size));
  int width = 0, height = 0, channels = 0, precision = 0;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  if (decoder.ReadHeader(&width, &height, &channels, &color, &sampling, &precision) != 0) return {};
  if (std::int64_t{width} * height > kMaxPixels) return {};
  width -= trim < width ? trim : 0;
  height -= trim < height ? trim : 0;
  const int step = 4 * width;
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(step) *
                                   static_cast<std::size_t>(height));
  decoder.SetDestination(pixels.data(), step, {width, height}, 4, destinationColor, 8);
  decoder.ReadData();
  return pixels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CJPEGDecoder* const decoder = new CJPEGDecoder;
  static const auto* const good = new std::vector<std::uint8_t>(sampleBaseline());
  static const auto* const expected = new std::vector<std::uint8_t>(
      decode(*decoder, good->data(), good->size(), JPEG_COLOR_BGR, 0));
  if (size < 1) return 0;
  const std::uint8_t choice = data[size - 1];
  decode(*decoder, data, size - 1, static_cast<_JPEG_COLOR>(choice % 7), choice / 7 % 5);
  if (decode(*decoder, good->data(), good->size(), JPEG_COLOR_BGR, 0) != *expected) std::abort();
  return 0;
}
