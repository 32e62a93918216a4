// Small streams of every kind, made by the encoder: seeds, and images that have to decode.
#ifndef QRX_FUZZ_SAMPLE_STREAMS_H_
#define QRX_FUZZ_SAMPLE_STREAMS_H_

#include <cstdint>
#include <vector>

#include "qrx/jpeg_encoder.h"

struct SampleOptions {
  int width = 33;
  int height = 17;
  int quality = 75;
  _JPEG_COLOR source = JPEG_COLOR_BGR;
  _JPEG_COLOR jpeg = JPEG_COLOR_YCBCR;
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_420;
  _JPEG_MODE mode = JPEG_MODE_BASELINE;
  int restartInterval = 0;
};

// A picture with flat parts, edges and texture.
inline std::vector<std::uint8_t> samplePixels(int width, int height) {
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(4 * width * height));
  std::uint32_t noise = 1;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    noise = noise * 1664525 + 1013904223;
    const auto row = i / static_cast<std::size_t>(4 * width);
    pixels[i] = static_cast<std::uint8_t>(row % 8 < 4 ? row * 9 : noise >> 26 | i % 5 * 40);
  }
  return pixels;
}

inline std::vector<std::uint8_t> sampleStream(const SampleOptions& o) {
  const std::vector<std::uint8_t> pixels = samplePixels(o.width, o.height);
  std::vector<std::uint8_t> stream(static_cast<std::size_t>(8192 + 8 * o.width * o.height));
  const int channels = o.source == JPEG_COLOR_GRAY ? 1 : o.source == JPEG_COLOR_CMYK ? 4 : 3;
  CJPEGEncoder encoder;
  encoder.SetSource(pixels.data(), channels * o.width, {o.width, o.height}, channels, o.source);
  encoder.SetDestination(stream.data(), static_cast<int>(stream.size()), o.quality, o.sampling,
                         o.jpeg, o.mode, o.restartInterval);
  switch (o.mode) {
    case JPEG_MODE_BASELINE: encoder.WriteImageBaseline(); break;
    case JPEG_MODE_PROGRESSIVE: encoder.WriteImageProgressive(); break;
    case JPEG_MODE_LOSSLESS: encoder.WriteImageLossless(); break;
  }
  stream.resize(static_cast<std::size_t>(encoder.stream.position));
  return stream;
}

inline std::vector<std::uint8_t> sampleBaseline() { return sampleStream({}); }

#endif  // QRX_FUZZ_SAMPLE_STREAMS_H_
