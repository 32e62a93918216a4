// Files of packets (.qpk): the four bytes "QPK1", then for each packet its length, 32 bits
// little-endian, and its bytes as they go on the wire.
#ifndef QRX_TOOLS_LIVE_PACKET_FILE_H_
#define QRX_TOOLS_LIVE_PACKET_FILE_H_

#include <span>
#include <vector>

#include "tools/live/packet.h"

namespace qrx::tool {

std::vector<std::uint8_t> joinPackets(const std::vector<Packet>& packets);

struct PacketFile {
  struct Entry {
    std::size_t offset;  // of the packet's first byte in the file
    Packet bytes;
  };
  std::vector<Entry> entries;
  bool cutOff = false;  // the last packet is not all there, and left out
};

// Throws Error where the data is no packet file.
PacketFile splitPackets(std::span<const std::uint8_t> data);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_PACKET_FILE_H_
