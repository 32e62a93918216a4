// How a viewer stands with its server.
#ifndef QRX_TOOLS_LIVE_LINK_H_
#define QRX_TOOLS_LIVE_LINK_H_

#include <cstdint>

#include "tools/live/channel.h"

namespace qrx::tool {

enum class ViewerState {
  kAsking,  // no word yet
  kBusy,    // the server has another viewer
  kServed,
  kSilent,   // no word any more; it goes on asking
  kEnded,    // the server said that it ends
  kRefused,  // its window is more than this viewer allows
};

// What is known of the line to the server.
struct LinkStatistics {
  ViewerState state = ViewerState::kAsking;
  std::uint64_t sessions = 0;
  std::uint64_t arrived = 0;  // datagrams of this session and those before it
  std::uint64_t lost = 0;     // sent by the server and not arrived
  std::uint64_t dropped = 0;  // of these, by this machine for lack of room
  ArrivalCounts arrivals;
  double roundTripMs = 0;  // the least one of the session; 0: not known
  double latencyMs = 0;    // estimated, from a frame's being there to its last word here
  double latencyMs99 = 0;  // 99% of the frames took no longer
  double worstLatencyMs = 0;
  double leastRate = 0, mostRate = 0;  // bits a second, over any two seconds
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_LINK_H_
