#include "tests/unit/decoder/stream_kit.h"

#include <algorithm>

#include "qrx/jpeg_encoder.h"

namespace qrx::test {
namespace {

constexpr std::uint8_t kFill = 0xA5;
constexpr std::size_t kGuard = 512;

int channelsOf(_JPEG_COLOR color) {
  return color == JPEG_COLOR_GRAY ? 1 : color == JPEG_COLOR_CMYK ? 4 : 3;
}

}  // namespace

Decoded decode(CJPEGDecoder& decoder, const Bytes& stream, const DecodeOptions& options) {
  Decoded result;
  decoder.Clean();
  decoder.Reset();
  // A copy of exactly the size, so that a sanitizer sees reads behind it.
  const Bytes source(stream);
  decoder.SetSource(source.data(), static_cast<int>(source.size()));
  result.header = decoder.ReadHeader(&result.width, &result.height, &result.channels, &result.color,
                                     &result.sampling, &result.precision);
  if (result.header != 0 || std::int64_t{result.width} * result.height > options.maxPixels) {
    return result;
  }
  const int width = result.width + options.extraWidth;
  const int height = result.height + options.extraHeight;
  const auto size = static_cast<std::size_t>(width * height * options.channels);
  Bytes memory(size + kGuard, kFill);
  decoder.SetDestination(memory.data(), width * options.channels, {width, height}, options.channels,
                         options.destination, 8);
  result.data = decoder.ReadData();
  result.lines = decoder.lines_written;
  result.guardsIntact = std::all_of(memory.begin() + static_cast<std::ptrdiff_t>(size),
                                    memory.end(), [](std::uint8_t b) { return b == kFill; });
  memory.resize(size);
  result.pixels = memory;
  return result;
}

Bytes sourcePixels(const EncodeOptions& o) {
  Bytes pixels;
  for (int y = 0; y < o.height; ++y) {
    for (int x = 0; x < o.width; ++x) {
      for (int c = 0; c < channelsOf(o.source); ++c) {
        pixels.push_back(static_cast<std::uint8_t>((x * x + 3 * y * (c + 1)) % 251));
      }
    }
  }
  return pixels;
}

Bytes encode(const EncodeOptions& o) {
  const Bytes pixels = sourcePixels(o);
  Bytes stream(pixels.size() * 3 + 8192);
  const int channels = channelsOf(o.source);
  CJPEGEncoder encoder;
  encoder.SetSource(pixels.data(), channels * o.width, {o.width, o.height}, channels, o.source);
  encoder.SetDestination(stream.data(), static_cast<int>(stream.size()), 80, o.sampling, o.jpeg,
                         o.mode, o.restartInterval);
  const int result = o.mode == JPEG_MODE_PROGRESSIVE ? encoder.WriteImageProgressive()
                     : o.mode == JPEG_MODE_LOSSLESS  ? encoder.WriteImageLossless()
                                                     : encoder.WriteImageBaseline();
  if (result != 0) return {};
  stream.resize(static_cast<std::size_t>(encoder.stream.position));
  return stream;
}

}  // namespace qrx::test
