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
  double megabitsPerSecond =
      0;  // each direction takes no more, and holds 200 ms of it; 0: no limit
};

class Relay {
 public:
  explicit Relay(const RelayOptions& options);

  Endpoint local() const { return viewerSide_.local(); }
  // Forwards what has come and what is due; waits so long at most.
  void step(int timeoutMs);

  // What found no room in the line's queue counts as lost.
  BadNetworkCounts toViewer() const { return toViewer_.counts(); }
  BadNetworkCounts toServer() const { return toServer_.counts(); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Line {
    BadNetwork network;
    Clock::time_point quietSince{};
    std::deque<std::pair<Clock::time_point, Packet>> due;
    Clock::time_point free{};  // when all that was taken has gone out
    std::uint64_t overflowed = 0;

    BadNetworkCounts counts() const;
  };

  void take(Line& line, Packet datagram);
  void enqueue(Line& line, Packet datagram, Clock::time_point now) const;
  void deliver(Line& line, const UdpSocket& socket, const Endpoint& to);

  RelayOptions options_;
  UdpSocket viewerSide_, serverSide_;
  Endpoint viewer_;  // the latest sender on the viewer's side
  Line toViewer_, toServer_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RELAY_H_
