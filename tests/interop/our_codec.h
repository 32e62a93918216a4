// The library's decoder on this side.
#ifndef QRX_TESTS_INTEROP_OUR_CODEC_H_
#define QRX_TESTS_INTEROP_OUR_CODEC_H_

#include <cmath>
#include <cstdlib>

#include "qrx/jpeg_types.h"
#include "tests/interop/peer_jpeg.h"

namespace qrx::test {

struct OurDecoded {
  int headerResult = 0;
  int dataResult = 0;
  int linesWritten = 0;
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_OTHER;
  _JPEG_COLOR color = JPEG_COLOR_NONE;
  Pixels pixels;  // gray; blue, green, red; or C, M, Y, K

  bool good() const { return headerResult == 0 && dataResult == 0 && linesWritten > 0; }
};

// Through CJPEGDecoder, to the colours that peerDecode gives.
OurDecoded ourDecode(const Bytes& stream);

// A picture with flat parts, gradients, edges and texture, the same for the same arguments.
Pixels testPicture(int width, int height, int channels);

// How far two pictures lie apart. A mask picks the pixels that count.
struct Difference {
  int largest = 0;
  double psnr = 0;
};
template <typename Mask>
Difference difference(const Pixels& a, const Pixels& b, Mask counts) {
  Difference d;
  if (a.width != b.width || a.height != b.height || a.channels != b.channels) return {256, 0};
  double sum = 0;
  long n = 0;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < a.width; ++x) {
      if (!counts(x, y)) continue;
      for (int c = 0; c < a.channels; ++c, ++n) {
        const auto i = static_cast<std::size_t>((y * a.width + x) * a.channels + c);
        const int delta = std::abs(a.bytes[i] - b.bytes[i]);
        if (delta > d.largest) d.largest = delta;
        sum += delta * delta;
      }
    }
  }
  d.psnr = sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(n) / sum);
  return d;
}

}  // namespace qrx::test

#endif  // QRX_TESTS_INTEROP_OUR_CODEC_H_
