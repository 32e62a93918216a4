// The library's decoder on this side, and how far its picture lies from the peer's.
#ifndef QRX_TESTS_INTEROP_OUR_CODEC_H_
#define QRX_TESTS_INTEROP_OUR_CODEC_H_

#include "qrx/jpeg_types.h"
#include "tests/interop/peer_jpeg.h"

namespace qrx::test {

struct OurDecoded {
  int headerResult = 0;
  int dataResult = 0;
  int linesWritten = 0;
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_OTHER;
  Pixels pixels;

  bool good() const { return headerResult == 0 && dataResult == 0 && linesWritten > 0; }
};

// Through CJPEGDecoder, to the colours that peerDecode gives.
OurDecoded ourDecode(const Bytes& stream);

struct Difference {
  int largest = 0;
  double psnr = 0;
};

// Over the pixels (x, y) that count; {256, 0} for pictures of different shapes.
Difference difference(
    const Pixels& a, const Pixels& b,
    const std::function<bool(int, int)>& counts = [](int, int) { return true; });

}  // namespace qrx::test

#endif  // QRX_TESTS_INTEROP_OUR_CODEC_H_
