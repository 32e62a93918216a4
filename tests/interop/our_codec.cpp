#include "tests/interop/our_codec.h"

#include <algorithm>
#include <cmath>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::test {

OurDecoded ourDecode(const Bytes& stream) {
  ippInit();
  OurDecoded result;
  CJPEGDecoder decoder;
  decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
  Pixels& p = result.pixels;
  _JPEG_COLOR color;
  int precision = 0;
  result.headerResult = decoder.ReadHeader(&p.size.width, &p.size.height, &p.channels, &color,
                                           &result.sampling, &precision);
  if (result.headerResult != 0) return result;
  const int step = p.size.width * p.channels;
  p.bytes.resize(static_cast<std::size_t>(step) * static_cast<std::size_t>(p.size.height));
  const _JPEG_COLOR wanted = p.channels == 1   ? JPEG_COLOR_GRAY
                             : p.channels == 4 ? JPEG_COLOR_CMYK
                                               : JPEG_COLOR_BGR;
  decoder.SetDestination(p.bytes.data(), step, {p.size.width, p.size.height}, p.channels, wanted,
                         8);
  result.dataResult = decoder.ReadData();
  result.linesWritten = decoder.lines_written;
  return result;
}

Difference difference(const Pixels& a, const Pixels& b,
                      const std::function<bool(int, int)>& counts) {
  if (a.size != b.size || a.channels != b.channels) return {256, 0};
  Difference d = {0, 99};
  double sum = 0, samples = 0;
  for (int i = 0; i < static_cast<int>(a.bytes.size()); ++i) {
    const int pixel = i / a.channels;
    if (!counts(pixel % a.size.width, pixel / a.size.width)) continue;
    const auto at = static_cast<std::size_t>(i);
    const int delta = std::abs(a.bytes[at] - b.bytes[at]);
    d.largest = std::max(d.largest, delta);
    sum += delta * delta;
    ++samples;
  }
  if (sum > 0) d.psnr = 10 * std::log10(255.0 * 255.0 * samples / sum);
  return d;
}

}  // namespace qrx::test
