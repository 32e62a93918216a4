// Reading, with the name in every message.
#include "tools/live/stored_packets.h"

#include "tools/support/error.h"
#include "tools/support/files.h"

namespace qrx::tool {

PacketFile readPacketFile(const std::string& path) {
  const std::vector<std::uint8_t> data = readFile(path);
  try {
    return splitPackets(data);
  } catch (const Error& error) {
    throw Error(displayName(path) + ": " + error.what());
  }
}

}  // namespace qrx::tool
