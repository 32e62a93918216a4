// Rectangles to packets.
#include <cstring>

#include "codecs/jpeg/c_interface/pixels.h"
#include "codecs/jpeg/packets/packet_head.h"

namespace qrx::codec {
namespace {

constexpr std::uint8_t kReceivedKind = 1;

bool is16Bit(std::int32_t value) { return value >= INT16_MIN && value <= INT16_MAX; }

udp_header headOf(const Pixels& pixels, int sampling, const qrxc_place& place) {
  const int across = pixels.format.channels == 1 || sampling == QRXC_444 ? 1 : 2;
  const int down = pixels.format.channels != 1 && sampling == QRXC_420 ? 2 : 1;
  udp_header head = {};
  head.headerSize = kHeadSize;
  head.contextByte = place.mark;
  head.kind = kReceivedKind;
  head.mcuShape = static_cast<std::uint8_t>(across << 4 | down);
  head.window = place.window;
  head.index = place.index;
  head.x = head.frameX = static_cast<std::int16_t>(place.x);
  head.y = head.frameY = static_cast<std::int16_t>(place.y);
  head.width = head.frameWidth = static_cast<std::int16_t>(pixels.width);
  head.height = head.frameHeight = static_cast<std::int16_t>(pixels.height);
  return head;
}

struct Hand {
  CJPEGEncoder& encoder;
  qrxc_packet_function function;
  void* user;
  bool sawLast;
};

// Each packet is made where the one before it was.
void handOver(Ipp8u* packet, int length, void* context) {
  auto& hand = *static_cast<Hand*>(context);
  std::int32_t index;
  std::memcpy(&index, packet + offsetof(udp_header, index), sizeof index);
  hand.sawLast = index < 0;
  hand.function(hand.user, packet, static_cast<std::size_t>(length));
  hand.encoder.stream.position = 0;
}

}  // namespace
}  // namespace qrx::codec

using namespace qrx::codec;

extern "C" qrxc_code qrxc_encode_packets(qrxc_coder* coder, const void* pixels,
                                         const qrxc_layout* layout, std::int32_t quality,
                                         std::int32_t sampling, const qrxc_place* place,
                                         qrxc_packet_function function, void* user) {
  return call(coder, [&] {
    if (place == nullptr || function == nullptr) {
      return tell(coder, QRXC_BAD_ARGUMENT, "place or function is null");
    }
    const auto source = pixelsOf(coder, pixels, layout, kMaxRectangleSide);
    if (!source || !areCodable(coder, quality, sampling)) return QRXC_BAD_ARGUMENT;
    if (source->format.color == JPEG_COLOR_CMYK) {
      return tell(coder, QRXC_NOT_SUPPORTED, "packets have no CMYK");
    }
    if (place->index < 1 || !is16Bit(place->x) || !is16Bit(place->y)) {
      return tell(coder, QRXC_BAD_ARGUMENT, "index %d or place %d, %d is out of range",
                  place->index, place->x, place->y);
    }
    CJPEGEncoder& encoder = coder->encoder;
    setSource(encoder, *source);
    encoder.SetDestinationTiles(coder->packet.data(), static_cast<int>(coder->packet.size()),
                                quality, static_cast<_JPEG_SAMPLING>(sampling), codedColor(*source),
                                JPEG_MODE_BASELINE, 0, 0);
    udp_header head = headOf(*source, sampling, *place);
    Hand hand = {encoder, function, user, false};
    const int result =
        encoder.WriteImageBaselineCB(nullptr, &head, coder->packet.data(), handOver, &hand);
    // With arguments in range and room for any packet there is no other reason.
    if (result != JPEG_NO_ERROR || !hand.sawLast) throw std::bad_alloc();
    encoder.Clean();
    return done(coder);
  });
}
