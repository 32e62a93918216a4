// An independent JPEG codec, run as programs: djpeg reads what the library writes, cjpeg writes
// what the library reads, jpegtran tells what coefficients a stream carries.
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

// The stream's coefficients, coded again as a baseline stream with the tables of Annex K. Empty
// where the program fails or warns.
Bytes runJpegtran(std::span<const std::uint8_t> jpeg);

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_PEER_CODEC_H_
