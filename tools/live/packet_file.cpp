// Reading and writing of packet files.
#include "tools/live/packet_file.h"

#include <algorithm>

#include "tools/jpeg/reasons.h"
#include "tools/live/wire.h"
#include "tools/support/error.h"

namespace qrx::tool {
namespace {

constexpr std::uint8_t kMagic[4] = {'Q', 'P', 'K', '1'};

}  // namespace

std::vector<std::uint8_t> joinPackets(const std::vector<Packet>& packets) {
  WireWriter out;
  out.bytes(kMagic);
  for (const Packet& packet : packets) {
    out.u32(static_cast<std::uint32_t>(packet.size()));
    out.bytes(packet);
  }
  return out.take();
}

PacketFile splitPackets(std::span<const std::uint8_t> data) {
  if (data.size() < sizeof kMagic ||
      !std::equal(std::begin(kMagic), std::end(kMagic), data.begin())) {
    throw Error(notWanted(data, "not a file of packets"));
  }
  PacketFile file;
  WireReader in(data.subspan(sizeof kMagic));
  while (in.left() > 0) {
    const std::size_t length = in.u32();
    const std::size_t offset = data.size() - in.left();
    const std::span<const std::uint8_t> bytes = in.bytes(length);
    file.cutOff = in.failed();
    if (file.cutOff) break;
    file.entries.push_back({offset, Packet(bytes.begin(), bytes.end())});
  }
  return file;
}

}  // namespace qrx::tool
