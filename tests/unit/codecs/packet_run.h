// A rectangle's packets, for tests of both packet roads.
#ifndef QRX_TESTS_UNIT_CODECS_PACKET_RUN_H_
#define QRX_TESTS_UNIT_CODECS_PACKET_RUN_H_

#include <ostream>
#include <vector>

#include "qrx/codec.h"
#include "qrx/tile_header.h"
#include "tests/support/pictures.h"

namespace qrx::test {

// A packet's bytes begin with its head.
constexpr int kHead = sizeof(udp_header);
udp_header headOf(const Bytes& packet);
void setHead(Bytes& packet, const udp_header& head);

struct PacketRun {
  // Compresses the picture as the rectangle whose left and lower edge are x and y.
  PacketRun(Image picture, int mcuSampling, int jpegQuality, int x = 0, int y = 0, int index = 5);

  Image image;
  int sampling;  // _JPEG_SAMPLING
  int quality;
  int mcuWidth, mcuHeight;
  int across, down;  // MCUs
  std::vector<Bytes> packets;

  // For every MCU of the rectangle the number of its packet, by mcuCount.
  std::vector<int> owners() const;
  // The same for a pixel.
  int ownerOf(int x, int y) const {
    return owners()[static_cast<std::size_t>(y / mcuHeight * across + x / mcuWidth)];
  }
  std::size_t pixels() const { return image.pixels.size() / 4; }
};

std::ostream& operator<<(std::ostream& out, const PacketRun& run);

// One codec for all tests of a program.
codec::Decompressor& decompressor();

// decompressTile; `size` as destinationSize.
bool decodePacket(const Bytes& packet, int bytesPerPixel, std::uint8_t* destination,
                  std::size_t size);

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_CODECS_PACKET_RUN_H_
