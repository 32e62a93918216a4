// The viewer's threads: one receives and asks for repair, some decode.
#ifndef QRX_TOOLS_LIVE_VIEWER_H_
#define QRX_TOOLS_LIVE_VIEWER_H_

#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

#include "tools/live/frame_assembler.h"
#include "tools/live/udp.h"

namespace qrx::tool {

class Viewer {
 public:
  // Starts asking the server for its window. `decoders` threads share the one decompressor.
  Viewer(codec::Decompressor& decompressor, const Endpoint& server, int decoders);
  ~Viewer();  // ends the threads and tells the server
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  const FrameAssembler& assembler() const { return assembler_; }

 private:
  using Clock = std::chrono::steady_clock;

  void receive(const std::stop_token& stop);
  void take(Packet datagram);
  void askForRepair(Clock::time_point now);
  void decode(const std::stop_token& stop);

  UdpSocket socket_;
  Endpoint server_;
  FrameAssembler assembler_;
  std::mutex mutex_;
  std::condition_variable_any arrived_;
  std::deque<Packet> queue_;  // guarded by the mutex
  std::vector<std::jthread> threads_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_VIEWER_H_
