// Pictures out of packets, without a network: all of them, or what a bad one would leave.
#ifndef QRX_TOOLS_LIVE_UNPACKING_H_
#define QRX_TOOLS_LIVE_UNPACKING_H_

#include <vector>

#include "tools/image/limits.h"
#include "tools/live/bad_network.h"
#include "tools/live/frame_assembler.h"
#include "tools/live/packet_colours.h"

namespace qrx::tool {

struct UnpackRequest {
  BadNetworkOptions network;
  std::uint32_t after = 0;  // frames, as their indexes tell them apart; 0: all
  bool tint = false;
  bool packets = false;  // colour what each packet of the last frame brought
  Limits limits;
};

struct Unpacked {
  Image picture;
  std::uint32_t frames = 0;
  BadNetworkCounts network;
  AssemblerStatistics statistics;
  double right = 0;                 // percent of the pixels that are those of all packets
  std::vector<PacketPlace> latest;  // packets of the last frame that arrived
};

// Each index is a frame of its own. The window is the smallest that holds all valid packets. Throws
// Error where there are none.
Unpacked unpackPackets(codec::Decompressor& decompressor, const std::vector<Packet>& packets,
                       const UnpackRequest& request);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_UNPACKING_H_
