// Which packet brought which part of a picture.
#ifndef QRX_TOOLS_LIVE_PACKET_COLOURS_H_
#define QRX_TOOLS_LIVE_PACKET_COLOURS_H_

#include <cstddef>
#include <span>

#include "tools/image/image.h"
#include "tools/live/packet.h"

namespace qrx::tool {

struct PacketPlace {
  Box box;  // of the whole rectangle, in the window
  PacketCells cells;
  std::size_t number = 0;  // among the packets of its rectangle; tells the colour
};

// Lays a colour over the MCUs of each packet, another one than over those of the packets around it,
// and an edge around them; what none of the packets brings becomes dark gray.
void colourPackets(Image& window, std::span<const PacketPlace> packets);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_PACKET_COLOURS_H_
