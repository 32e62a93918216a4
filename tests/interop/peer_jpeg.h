// libjpeg on the other side: an independent writer and reader of the public standard.
#ifndef QRX_TESTS_INTEROP_PEER_JPEG_H_
#define QRX_TESTS_INTEROP_PEER_JPEG_H_

// jpeglib.h does not bring what it needs.
// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <functional>
#include <string>

#include "tests/support/pictures.h"

namespace qrx::test {

// Rows tightly packed: gray; blue, green, red; or C, M, Y, K.
struct Pixels {
  Size size;
  int channels = 0;
  Bytes bytes;
};

// A stream of this colour space, with a comment and with settings that differ from libjpeg's own.
using Configure = std::function<void(jpeg_compress_struct&)>;
Bytes peerEncode(const Pixels& pixels, J_COLOR_SPACE space, const Configure& configure);

struct PeerDecoded {
  bool done = false;
  std::string message;
  Pixels pixels;
};
PeerDecoded peerDecode(const Bytes& stream);

}  // namespace qrx::test

#endif  // QRX_TESTS_INTEROP_PEER_JPEG_H_
