#include "tests/interop/our_codec.h"

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::test {

OurDecoded ourDecode(const Bytes& stream) {
  ippInit();
  OurDecoded result;
  CJPEGDecoder decoder;
  decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
  Pixels& p = result.pixels;
  int precision = 0;
  result.headerResult = decoder.ReadHeader(&p.width, &p.height, &p.channels, &result.color,
                                           &result.sampling, &precision);
  if (result.headerResult != 0) return result;
  p.bytes.resize(static_cast<std::size_t>(p.width) * static_cast<std::size_t>(p.height) *
                 static_cast<std::size_t>(p.channels));
  const _JPEG_COLOR wanted = p.channels == 1   ? JPEG_COLOR_GRAY
                             : p.channels == 4 ? JPEG_COLOR_CMYK
                                               : JPEG_COLOR_BGR;
  decoder.SetDestination(p.bytes.data(), p.width * p.channels, {p.width, p.height}, p.channels,
                         wanted, 8);
  result.dataResult = decoder.ReadData();
  result.linesWritten = decoder.lines_written;
  return result;
}

Pixels testPicture(int width, int height, int channels) {
  Pixels p = {width, height, channels, {}};
  std::uint32_t noise = 7;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      noise = noise * 1664525 + 1013904223;
      for (int c = 0; c < channels; ++c) {
        int value = 40 * c + 2 * x + y;                                                // gradient
        if ((x / 24 + y / 24) % 3 == 0) value = 200 - 60 * c;                          // flat
        if ((x / 24 + y / 24) % 3 == 1) value += static_cast<int>(noise >> (27 - c));  // texture
        if (x % 37 == 0 || y % 29 == 0) value = c == 1 ? 250 : 10;                     // lines
        p.bytes.push_back(static_cast<std::uint8_t>(value));
      }
    }
  }
  return p;
}

}  // namespace qrx::test
