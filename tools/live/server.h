// Serves one viewer at a time: frames at a steady rate, packets paced over the frame's time.
#ifndef QRX_TOOLS_LIVE_SERVER_H_
#define QRX_TOOLS_LIVE_SERVER_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <vector>

#include "tools/live/udp.h"
#include "tools/live/window_sender.h"

namespace qrx::tool {

// Renders the frame of a number; every frame has the same size.
using FrameSource = std::function<void(int number, Image& frame)>;

struct ServerOptions {
  Endpoint listen;
  Size size;
  double framesPerSecond = 25;
  int frames =
      0;  // 0: without end; else the last one stays, and is repaired, until the viewer goes
  double waitSeconds = 0;  // ends after so long without a viewer; 0: never
  WindowSenderOptions sender;
};

struct ServerReport {
  std::uint64_t frames = 0, packets = 0, bytes = 0, repairs = 0, encodeMicroseconds = 0;
};

class Server {
 public:
  Server(codec::Compressor& compressor, FrameSource source, const ServerOptions& options);

  Endpoint local() const { return socket_.local(); }
  // Returns when the last frame has been taken, or when `stop` becomes true.
  ServerReport run(const std::atomic<bool>& stop);

 private:
  using Clock = std::chrono::steady_clock;

  void sendFrame(int number, Clock::time_point deadline);
  void pace(const std::vector<Packet>& packets, Clock::time_point start, Clock::duration span);
  // Answers what comes until then.
  void listenUntil(Clock::time_point deadline, const std::atomic<bool>& stop);
  void answer(const UdpSocket::Datagram& datagram);
  void welcome(const Hello& hello, const Endpoint& from);
  bool hasViewer() const { return viewer_.port != 0; }

  UdpSocket socket_;
  FrameSource source_;
  ServerOptions options_;
  WindowSender sender_;
  Image frame_;
  int rendered_ = -1;  // number of the frame in frame_
  Endpoint viewer_;
  std::uint32_t viewerNumber_ = 0;
  Clock::time_point heard_{};
  ServerReport report_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_SERVER_H_
