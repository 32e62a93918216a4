// Reading a packet's head.
#include "codecs/jpeg/packets/packet_head.h"

#include <cstring>

namespace qrx::codec {

std::optional<udp_header> readHead(const Buffer* buffer) {
  udp_header head;
  if (buffer == nullptr || buffer->data == nullptr || buffer->size < sizeof head) return {};
  std::memcpy(&head, buffer->data, sizeof head);
  return head;
}

PacketGrid packetGrid(const udp_header& head) {
  const int mcuWidth = mcuWidthOf(head), mcuHeight = mcuHeightOf(head);
  if (mcuWidth == 0 || mcuHeight == 0 || head.frameWidth <= 0 || head.frameHeight <= 0) {
    return {0, 0};
  }
  return {(head.frameWidth + mcuWidth - 1) / mcuWidth,
          (head.frameHeight + mcuHeight - 1) / mcuHeight};
}

std::int64_t outputSize(const udp_header& head, std::uint32_t bytesPerPixel) {
  const PacketGrid grid = packetGrid(head);
  return grid.across * mcuWidthOf(head) * grid.down * mcuHeightOf(head) * bytesPerPixel;
}

}  // namespace qrx::codec
