// libjpeg on the other side: an independent writer and reader of the public standard.
#ifndef QRX_TESTS_INTEROP_PEER_JPEG_H_
#define QRX_TESTS_INTEROP_PEER_JPEG_H_

#include <cstdint>
#include <string>
#include <vector>

namespace qrx::test {

using Bytes = std::vector<std::uint8_t>;

// Rows of width pixels, tightly packed: gray; blue, green, red; or four channels.
struct Pixels {
  int width = 0;
  int height = 0;
  int channels = 0;
  Bytes bytes;
};

enum class PeerColor { kGray, kYcbcr, kRgb, kCmyk, kYcck };

struct PeerScan {
  std::vector<int> components;
  int ss, se, ah, al;
};

struct PeerOptions {
  PeerColor color = PeerColor::kYcbcr;
  int quality = 75;
  int across = 2, down = 2;  // sampling factors of components 0 and 3
  int restartMCUs = 0;
  int restartRows = 0;
  bool optimise = false;
  bool progressive = false;
  std::vector<PeerScan> scans;  // a script of one's own
  std::string comment;
};

// Channels of a picture that the peer codes in `color`.
int channelsOf(PeerColor color);

Bytes peerEncode(const Pixels& pixels, const PeerOptions& options);

struct PeerDecoded {
  bool done = false;
  long warnings = 0;
  std::string message;
  Pixels pixels;  // gray; blue, green, red; or C, M, Y, K
};
PeerDecoded peerDecode(const Bytes& stream);

}  // namespace qrx::test

#endif  // QRX_TESTS_INTEROP_PEER_JPEG_H_
