// The viewer's threads: one keeps up the session, receives and asks for repair, some decode.
#ifndef QRX_TOOLS_LIVE_VIEWER_H_
#define QRX_TOOLS_LIVE_VIEWER_H_

#include <array>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "tools/live/channel.h"
#include "tools/live/frame_assembler.h"
#include "tools/live/link.h"
#include "tools/live/rate_window.h"
#include "tools/live/transit_meter.h"
#include "tools/live/udp.h"

namespace qrx::tool {

struct ViewerOptions {
  Endpoint server;
  // Nobody is asked: `server` is an address of this machine, and whoever sends there is shown, one
  // sender at a time.
  bool listens = false;
  Key key = publicKey();
  Limits limits;  // of the window
  int decoders = 2;
  int room = UdpSocket::kMostRoom;  // of the socket
  // From the viewer's own thread.
  std::function<void(const std::string& text)> notice = [](const std::string&) {};
};

class Viewer {
 public:
  // Starts asking the server for its window. The decoding threads share the one decompressor.
  Viewer(codec::Decompressor& decompressor, const ViewerOptions& options);
  ~Viewer() { leave(); }
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  // Tells the server, hears what it has sent so far, and ends the threads.
  void leave();

  const FrameAssembler& assembler() const { return assembler_; }
  LinkStatistics link() const;
  // The latest notice.
  std::string lastNotice() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Queued {
    Packet packet;
    std::optional<ControlMessage> message;  // instead of a packet
    EnvelopeHead head;
    std::uint64_t came = 0;  // time of our clock
  };

  void receive(const std::stop_token& stop);
  void tick(Clock::time_point now);
  Report report();
  void beginOneWay(const EnvelopeHead& head);
  void begin(std::uint64_t session);
  void ask();
  void take(UdpSocket::Datagram& datagram);
  void takeWelcome(const Welcome& welcome);
  void takeControl(ControlMessage message, const EnvelopeHead& head);
  void takeEcho(const Alive& alive, const EnvelopeHead& head);
  void enter(ViewerState state, const std::string& text);
  // Packets side by side; what is said of a frame when all before it are done.
  void decode(const std::stop_token& stop);
  void hear(const ControlMessage& message, const EnvelopeHead& head);
  void countLatency(double ms);
  void queue(Queued item);
  void sayGoodbye();
  void countLink();
  void refuseIfAsked();
  void tell(const ControlMessage& message) {
    socket_.send(options_.server, channel_.seal(message));
  }

  ViewerOptions options_;
  UdpSocket socket_;
  FrameAssembler assembler_;

  // Of the receiving thread.
  Channel channel_;
  const std::uint64_t number_ = randomNumber();
  std::deque<std::uint64_t> tickets_;  // of the latest hellos
  std::uint64_t offered_ = 0;          // session number of the latest welcome
  ViewerState state_ = ViewerState::kAsking;
  Clock::time_point start_ = Clock::now(), heard_{}, askDue_{}, aliveDue_{}, repairDue_{},
                    reportDue_{};
  bool closed_ = false;
  std::uint64_t leastTrip_ = UINT64_MAX;
  TransitMeter transit_;
  RateWindow window_;
  std::uint64_t bytes_ = 0;   // of the session's datagrams
  std::uint64_t waited_ = 0;  // microseconds that the latest one stood in the system's buffer
  std::uint64_t arrivedBefore_ = 0, lostBefore_ = 0;  // in earlier sessions

  mutable std::mutex mutex_;
  std::condition_variable_any arrived_;
  // Guarded by the mutex.
  std::deque<Queued> queue_;
  int decoding_ = 0;                             // packets that are being decoded
  bool hearing_ = false;                         // none may be taken from the queue
  std::optional<std::int64_t> clockOffset_;      // the server's clock less ours
  std::array<std::uint32_t, 2048> latencies_{};  // frames by milliseconds
  LinkStatistics link_;
  std::string notice_;
  std::string refusal_;  // why the window is not taken

  std::vector<std::jthread> threads_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_VIEWER_H_
