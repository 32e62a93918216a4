// Serves one viewer at a time: frames at a steady rate, packets paced over the frame's time. A
// frame whose time is over before its turn comes is left out, and so is one that would come to a
// viewer that is more than half a frame's time behind.
#ifndef QRX_TOOLS_LIVE_SERVER_H_
#define QRX_TOOLS_LIVE_SERVER_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/live/byte_budget.h"
#include "tools/live/channel.h"
#include "tools/live/pacer.h"
#include "tools/live/rate_control.h"
#include "tools/live/udp.h"
#include "tools/live/window_sender.h"

namespace qrx::tool {

// The frame of a number, until the next call; every frame has the same size.
using FrameSource = std::function<const Image&(int number)>;
// Something that a person at the terminal wants to know.
using Notice = std::function<void(const std::string& text)>;

struct ServerOptions {
  Endpoint listen;
  // Sends there from the beginning, asks nobody and needs no answer; `listen` does not count.
  std::optional<Endpoint> to;
  std::optional<Key> key;  // none: the one that everybody knows, and only on loopback
  Size size;
  double framesPerSecond = 25;
  int frames =
      0;  // 0: without end; else the last one stays, and is repaired, until the viewer goes
  double megabitsPerSecond = 0;  // of datagrams, at most; 0: no limit
  double waitSeconds = 0;        // ends after so long without a viewer; 0: never
  WindowSenderOptions sender;
  Notice notice = [](const std::string&) {};
};

struct ServerReport {
  std::uint64_t frames = 0, packets = 0, bytes = 0, repairs = 0, encodeMicroseconds = 0;
  std::uint64_t dropped = 0;  // frames that were left out
  TilePlan::Sharpening sharpening;
  std::uint64_t viewers = 0;  // sessions
  ArrivalCounts arrivals;
};

class Server {
 public:
  // Throws Error for an address beyond this machine without a key, before it takes the port.
  Server(codec::Compressor& compressor, FrameSource source, const ServerOptions& options);

  Endpoint local() const { return socket_.local(); }
  // Returns when the last frame has been taken, or when `stop` becomes true; tells the viewer.
  ServerReport run(const std::atomic<bool>& stop);

 private:
  using Clock = std::chrono::steady_clock;
  struct Client {
    Endpoint at;
    std::uint64_t viewer = 0;  // its number
    Channel channel;
    Clock::time_point heard;
    RateControl control;
    ByteBudget budget;
    std::optional<Report> report;  // the latest
    Clock::time_point reported{};
  };

  // Leaves out frames, and keeps `number` near to what the viewer knows.
  void drop(int& number, std::int64_t frames);
  // The viewer lags, on the line or by itself.
  bool isBehind(Clock::time_point now) const;
  void sendFrame(int number, Clock::time_point deadline);
  WindowSender::Allowance allowance(Clock::time_point now);
  void sendDue();
  bool isLast(int number) const { return options_.frames > 0 && number >= options_.frames - 1; }
  // Answers what comes until then.
  void listenUntil(Clock::time_point deadline, const std::atomic<bool>& stop);
  void answer(UdpSocket::Datagram& datagram);
  void answerClient(Client& client, UdpSocket::Datagram& datagram, const EnvelopeHead& head);
  void obey(const ControlMessage& message);
  void greet(const Hello& hello, const Endpoint& from, std::size_t size);
  void welcome(const Hello& hello, const Endpoint& from, std::uint64_t session);
  std::uint64_t sessionFor(const Hello& hello, const Endpoint& from) const;
  void begin(const Endpoint& at, std::uint64_t viewer, std::uint64_t session);
  // To someone who does not answer: all of it again, now and then. False when that is over.
  bool repeat(int number);
  void part(const char* how);
  void close();
  void tell(const ControlMessage& message);
  void sendToClient(const Packet& datagram);

  ServerOptions options_;
  Key key_;
  UdpSocket socket_;
  FrameSource source_;
  WindowSender sender_;
  Pacer pacer_;
  Clock::duration period_;
  const Image* frame_ = nullptr;
  int rendered_ = -1;  // number of that frame
  int sent_ = 0;       // of the latest one sent
  Clock::time_point ready_{};
  std::optional<Client> client_, gone_;  // the one served, and the one that left last
  Key secret_ = randomKey();      // session numbers follow from it and from what a hello says
  std::uint64_t generation_ = 0;  // goes on when a session ends, so that none comes again
  Clock::time_point repeatDue_{};
  bool closing_ = false;       // no further viewer
  Clock::time_point alone_{};  // since when there is no viewer
  ServerReport report_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_SERVER_H_
