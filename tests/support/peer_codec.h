// An independent JPEG codec, run as programs: djpeg reads what the library writes, cjpeg writes
// what the library reads.
#ifndef QRX_TESTS_SUPPORT_PEER_CODEC_H_
#define QRX_TESTS_SUPPORT_PEER_CODEC_H_

#include <span>
#include <string>

#include "tests/support/pictures.h"

namespace qrx::test {

struct PeerPicture {
  std::string messages;  // warnings and errors
  Image image;           // of no size where the program fails
};

PeerPicture runDjpeg(std::span<const std::uint8_t> jpeg);

// Empty where the program fails.
Bytes runCjpeg(const Image& image, const std::string& options);

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_PEER_CODEC_H_
