// Spreads a frame's packets over its time, so that the line gets a stream and not bursts.
#ifndef QRX_TOOLS_LIVE_PACER_H_
#define QRX_TOOLS_LIVE_PACER_H_

#include <chrono>
#include <deque>
#include <optional>
#include <vector>

#include "tools/live/packet.h"

namespace qrx::tool {

class Pacer {
 public:
  using Clock = std::chrono::steady_clock;

  // A frame whose packets go out from `start` on, the last ones `span` later.
  void begin(Clock::time_point start, Clock::duration span);
  // Packets of the frame's part that ends at `progress`, 0 to 1.
  void push(std::vector<Packet> packets, double progress);

  // A packet whose time has come.
  std::optional<Packet> take(Clock::time_point now);
  bool empty() const { return waiting_.empty(); }
  // When the next one is due. Not of an empty one.
  Clock::time_point next() const { return waiting_.front().due; }
  void clear() { waiting_.clear(); }

 private:
  struct Waiting {
    Clock::time_point due;
    Packet packet;
  };
  Clock::time_point start_{};
  Clock::duration span_{};
  double progress_ = 0;
  std::deque<Waiting> waiting_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_PACER_H_
