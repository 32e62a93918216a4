// One viewer's session, without sockets: frames to datagrams, through the bad network.
#ifndef QRX_INTEGRATIONS_BROWSER_SERVER_SESSION_H_
#define QRX_INTEGRATIONS_BROWSER_SERVER_SESSION_H_

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string_view>

#include "tools/live/bad_network.h"
#include "tools/live/window_sender.h"

namespace qrx::web {

class Session {
 public:
  using Clock = std::chrono::steady_clock;

  Session(codec::Compressor& compressor, tool::Size window,
          const tool::WindowSenderOptions& options, const tool::BadNetworkOptions& network);

  // Queues what is to be sent of a frame that was there at `ready`. A viewer that does not keep up
  // gets none until it has taken what is queued.
  void send(const tool::Image& frame, bool isLast, Clock::time_point ready);

  // A message of the viewer's, whatever is in it. False for what no page of ours says.
  bool hear(std::span<const std::uint8_t> message);
  // "loss SHARE", 0 to 1.
  bool hearText(std::string_view text);

  // The next datagram to go out.
  std::optional<tool::Packet> take();
  bool hasMore() const { return !queue_.empty(); }

 private:
  void tell(const tool::ControlMessage& message);
  void push(std::span<const std::uint8_t> payload);

  tool::WindowSender sender_;
  tool::BadNetworkOptions options_;
  tool::BadNetwork network_;
  std::uint32_t frame_ = 0;  // number of the next one
  std::uint64_t sequence_ = 0;
  std::deque<tool::Packet> queue_;
  std::size_t queued_ = 0;  // bytes
  std::vector<tool::Packet> arriving_;
};

}  // namespace qrx::web

#endif  // QRX_INTEGRATIONS_BROWSER_SERVER_SESSION_H_
