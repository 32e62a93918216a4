// A rectangle of a window to packets, ready for the wire.
#ifndef QRX_TOOLS_LIVE_RECTANGLE_ENCODER_H_
#define QRX_TOOLS_LIVE_RECTANGLE_ENCODER_H_

#include <cstdint>
#include <vector>

#include "qrx/codec.h"
#include "tools/image/image.h"
#include "tools/live/packet.h"

namespace qrx::tool {

struct RectangleJob {
  std::uint32_t window = 1;
  std::uint32_t index = 1;  // above 0, so that the last packet can be told
  unsigned quality = 80;
  std::uint8_t contextByte = 0;
};

struct EncodedRectangle {
  std::vector<Packet> packets;
  unsigned quality = 0;   // that was used in the end
  bool complete = false;  // the packets bring every MCU
};

// Compresses `box` of the window's picture. Where noise at high quality exceeds the library's
// buffer and MCUs are missing, it tries again at lower qualities.
EncodedRectangle encodeRectangle(codec::Compressor& compressor, const Image& picture,
                                 const Box& box, const RectangleJob& job);
// The same for pixels that are cut out already: rows of the box, one behind the other.
EncodedRectangle encodePixels(codec::Compressor& compressor, const std::uint8_t* pixels,
                              const Box& box, int windowHeight, const RectangleJob& job);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RECTANGLE_ENCODER_H_
