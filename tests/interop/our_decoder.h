// Our decoder, with results in the peer's form.
#ifndef QRX_TESTS_INTEROP_OUR_DECODER_H_
#define QRX_TESTS_INTEROP_OUR_DECODER_H_

#include <algorithm>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"
#include "tests/interop/peer_jpeg.h"

namespace qrx::test {

struct OurDecoded {
  int headerResult = 0;
  int dataResult = 0;
  bool shown = false;  // whether anything was written
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_OTHER;
  Pixels pixels;

  bool good() const { return headerResult == 0 && dataResult == 0 && shown; }
};

// Through CJPEGDecoder, to the colours that peerDecode gives.
inline OurDecoded ourDecode(const Bytes& stream) {
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
  p.bytes.assign(static_cast<std::size_t>(step) * static_cast<std::size_t>(p.size.height), 0xA5);
  constexpr _JPEG_COLOR kColors[] = {JPEG_COLOR_NONE, JPEG_COLOR_GRAY, JPEG_COLOR_NONE,
                                     JPEG_COLOR_BGR, JPEG_COLOR_CMYK};
  decoder.SetDestination(p.bytes.data(), step, {p.size.width, p.size.height}, p.channels,
                         kColors[p.channels], 8);
  result.dataResult = decoder.ReadData();
  result.shown =
      std::any_of(p.bytes.begin(), p.bytes.end(), [](auto byte) { return byte != 0xA5; });
  return result;
}

}  // namespace qrx::test

#endif  // QRX_TESTS_INTEROP_OUR_DECODER_H_
