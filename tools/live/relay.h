// A bad network between a viewer and a server: forwards datagrams both ways.
#ifndef QRX_TOOLS_LIVE_RELAY_H_
#define QRX_TOOLS_LIVE_RELAY_H_

#include <chrono>
#include <deque>

#include "tools/live/bad_network.h"
#include "tools/live/udp.h"

namespace qrx::tool {

struct RelayOptions {
  Endpoint listen;  // where the viewer sends to
  Endpoint server;
  BadNetworkOptions network;  // each direction has such a network of its own
  std::chrono::milliseconds delay{0};
};

class Relay {
 public:
  explicit Relay(const RelayOptions& options);

  Endpoint local() const { return viewerSide_.local(); }
  // Forwards what has come and what is due; waits so long at most.
  void step(int timeoutMs);

  const BadNetworkCounts& toViewer() const { return toViewer_.network.counts(); }
  const BadNetworkCounts& toServer() const { return toServer_.network.counts(); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Line {
    BadNetwork network;
    Clock::time_point quietSince{};
    std::deque<std::pair<Clock::time_point, Packet>> due;
  };

  void take(Line& line, Packet datagram);
  void deliver(Line& line, const UdpSocket& socket, const Endpoint& to);

  RelayOptions options_;
  UdpSocket viewerSide_, serverSide_;
  Endpoint viewer_;  // the latest sender on the viewer's side
  Line toViewer_, toServer_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RELAY_H_
