// Files of packets on the disk.
#ifndef QRX_TOOLS_LIVE_STORED_PACKETS_H_
#define QRX_TOOLS_LIVE_STORED_PACKETS_H_

#include <string>

#include "tools/live/packet_file.h"

namespace qrx::tool {

// Throws Error with the file's name.
PacketFile readPacketFile(const std::string& path);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_STORED_PACKETS_H_
