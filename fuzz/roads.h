// The two ways into the decoder that fuzz targets share: the class, and the host's decompressor.
#ifndef QRX_FUZZ_ROADS_H_
#define QRX_FUZZ_ROADS_H_

#include <cstdint>
#include <vector>

#include "qrx/codec.h"
#include "qrx/jpeg_decoder.h"

struct ClassRoad {
  std::int64_t maxPixels;  // larger images end after their header: keeps one run short
  int channels = 4;
  _JPEG_COLOR color = JPEG_COLOR_BGR;
  int trim = 0;  // by how much the destination is smaller than the image
};

struct ClassOutcome {
  int result;
  std::vector<std::uint8_t> pixels;  // empty where no data was read
};

inline ClassOutcome decode(CJPEGDecoder& decoder, const std::uint8_t* data, std::size_t size,
                           const ClassRoad& road) {
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(data, static_cast<int>(size));
  int width = 0, height = 0, channels = 0, precision = 0;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  const int result = decoder.ReadHeader(&width, &height, &channels, &color, &sampling, &precision);
  if (result != 0 || std::int64_t{width} * height > road.maxPixels) return {result, {}};
  width -= road.trim < width ? road.trim : 0;
  height -= road.trim < height ? road.trim : 0;
  const int step = 4 * width;
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(step) *
                                   static_cast<std::size_t>(height));
  decoder.SetDestination(pixels.data(), step, {width, height}, road.channels, road.color, 8);
  const int dataResult = decoder.ReadData();
  return {dataResult, std::move(pixels)};
}

// The host's, of one codec for all inputs.
inline qrx::codec::Decompressor* decompressor() {
  static qrx::codec::Decompressor* const instance = [] {
    initCodec();
    return createCodec()->getDecompressor();
  }();
  return instance;
}

#endif  // QRX_FUZZ_ROADS_H_
