#include "tests/unit/decoder/stream_kit.h"

namespace qrx::test {

Decoded DecoderTest::decode(const Bytes& stream, _JPEG_COLOR destination, Size extra) {
  constexpr int kMostPixels = 1 << 14;
  const Bytes source(stream);  // of exactly the size, so that a sanitizer sees reads behind it
  Decoded d;
  decoder_.Clean();
  decoder_.Reset();
  decoder_.SetSource(source.data(), static_cast<int>(source.size()));
  _JPEG_SAMPLING sampling;
  d.header = decoder_.ReadHeader(&d.size.width, &d.size.height, &d.channels, &d.color, &sampling,
                                 &d.precision);
  if (d.header != 0 || std::int64_t{d.size.width} * d.size.height > kMostPixels) return d;

  const int width = d.size.width + extra.width, height = d.size.height + extra.height;
  const int channels = destination == JPEG_COLOR_GRAY ? 1 : destination == JPEG_COLOR_CMYK ? 4 : 3;
  GuardedBuffer buffer(static_cast<std::size_t>(width * height * channels));
  decoder_.SetDestination(buffer.data(), width * channels, {width, height}, channels, destination,
                          8);
  d.data = decoder_.ReadData();
  d.lines = decoder_.lines_written;
  EXPECT_TRUE(buffer.guardsIntact());
  d.pixels = buffer.content();
  return d;
}

}  // namespace qrx::test
