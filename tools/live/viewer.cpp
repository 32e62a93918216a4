// Receiving, decoding and repair of the viewer.
#include "tools/live/viewer.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAskEvery{100}, kAliveEvery{100}, kRepairEvery{10}, kReportEvery{30};
constexpr milliseconds kServerSilent{1200}, kAsleep{300};
constexpr milliseconds kBusyAfter{1300};  // one that was here before may be gone by then
constexpr std::size_t kTicketsKept = 8;
constexpr std::size_t kLongestQueue = 8192;  // beyond this, packets are as good as lost

}  // namespace

Viewer::Viewer(codec::Decompressor& decompressor, const ViewerOptions& options)
    : options_(options),
      socket_(options.listens ? options.server : Endpoint::toReach(options.server), options.room),
      assembler_(decompressor, options.limits) {
  threads_.emplace_back([this](const std::stop_token& stop) { receive(stop); });
  for (int i = 0; i < options.decoders; ++i) {
    threads_.emplace_back([this](const std::stop_token& stop) { decode(stop); });
  }
}

void Viewer::leave() {
  if (threads_.empty()) return;
  threads_.front().request_stop();
  threads_.front().join();
  {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return queue_.empty() && decoding_ == 0 && !hearing_; });
  }
  for (std::jthread& thread : threads_) thread.request_stop();
  threads_.clear();
}

LinkStatistics Viewer::link() const {
  const std::lock_guard lock(mutex_);
  return link_;
}

std::string Viewer::lastNotice() const {
  const std::lock_guard lock(mutex_);
  return notice_;
}

void Viewer::receive(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    const Clock::time_point before = Clock::now();
    tick(before);
    auto datagram = socket_.receive(static_cast<int>(kRepairEvery.count()));
    // The time that this machine slept is nobody's silence.
    const auto took = Clock::now() - before;
    if (took > kAsleep) heard_ += took;
    if (datagram && (options_.listens || datagram->from == options_.server)) take(*datagram);
    refuseIfAsked();
    countLink();
  }
  sayGoodbye();
  countLink();
}

void Viewer::tick(Clock::time_point now) {
  const std::string server = options_.server.text();
  if (state_ == ViewerState::kServed && now - heard_ > kServerSilent) {
    enter(ViewerState::kSilent, options_.listens
                                    ? "the sender to " + server + " fell silent; listening on"
                                    : "the server at " + server + " fell silent; asking on");
  }
  if (state_ == ViewerState::kRefused || options_.listens) return;
  if (state_ != ViewerState::kServed && now >= askDue_) {
    askDue_ = now + kAskEvery;
    ask();
  }
  if (channel_.session() == 0 || closed_) return;
  if (now >= aliveDue_) {
    aliveDue_ = now + kAliveEvery;
    tell(Alive{clockMicroseconds()});
  }
  if (now >= reportDue_) {
    reportDue_ = now + kReportEvery;
    tell(report());
  }
  if (state_ == ViewerState::kServed && now >= repairDue_) {
    repairDue_ = now + kRepairEvery;
    std::vector<std::uint32_t> indexes = assembler_.toRepair(now);
    if (!indexes.empty()) tell(RepairRequest{std::move(indexes)});
  }
}

Report Viewer::report() {
  Report report{clockMicroseconds(),  bytes_,
                channel_.arrived(),   channel_.lost(),
                transit_.takeQueue(), static_cast<std::uint32_t>(std::exchange(waited_, 0))};
  const std::lock_guard lock(mutex_);
  if (!queue_.empty()) {
    report.backlogMicroseconds = static_cast<std::uint32_t>(report.time - queue_.front().came);
  }
  return report;
}

void Viewer::ask() {
  tickets_.push_back(randomNumber());
  if (tickets_.size() > kTicketsKept) tickets_.pop_front();
  const Hello hello{number_, tickets_.back(), offered_};
  socket_.send(options_.server, sealLoose(options_.key, PayloadKind::kFromViewer, hello));
}

void Viewer::take(UdpSocket::Datagram& datagram) {
  const std::uint64_t came = clockMicroseconds() - datagram.waited;
  const std::size_t size = datagram.bytes.size();
  EnvelopeHead head;
  Arrival arrival = openEnvelope(options_.key, datagram.bytes, head);
  const bool loose =
      arrival == Arrival::kFresh && head.session == 0 && head.kind == PayloadKind::kFromServer;
  if (arrival == Arrival::kFresh && options_.listens) beginOneWay(head);
  if (arrival == Arrival::kFresh && !loose) arrival = channel_.admit(head);
  {
    const std::lock_guard lock(mutex_);
    ++link_.arrivals[arrival];
  }
  if (arrival != Arrival::kFresh) return;
  if (!loose) {
    heard_ = Clock::now();
    bytes_ += size;
    waited_ = datagram.waited;
    window_.add(size, heard_ - std::chrono::microseconds(waited_));
    transit_.add(head.sent, came);
    if (state_ != ViewerState::kServed && state_ != ViewerState::kRefused && !closed_) {
      enter(ViewerState::kServed,
            options_.listens ? "a sender came" : "connected to " + options_.server.text());
    }
  }
  if (!loose && head.kind == PayloadKind::kPacket) {
    return queue({std::move(datagram.bytes), std::nullopt, head, came});
  }
  auto message = parseControl(datagram.bytes);
  if (!message) return;
  const auto* welcome = std::get_if<Welcome>(&*message);
  if (loose && welcome != nullptr) return takeWelcome(*welcome);
  if (!loose) takeControl(std::move(*message), head);
}

void Viewer::takeWelcome(const Welcome& welcome) {
  if (std::find(tickets_.begin(), tickets_.end(), welcome.ticket) == tickets_.end()) return;
  if (welcome.session == 0) {
    offered_ = 0;
    if (state_ == ViewerState::kAsking && Clock::now() - start_ > kBusyAfter) {
      enter(ViewerState::kBusy,
            "the server at " + options_.server.text() + " is busy with another viewer");
    }
    return;
  }
  if (welcome.session == offered_ && welcome.session == channel_.session()) return;
  offered_ = welcome.session;
  if (channel_.session() != 0) enter(state_, "a new session: the server was started again");
  begin(offered_);
  tickets_.clear();
  ask();  // brings the number back
}

// A sender that nobody asked is heard once the one before it has ended or fallen silent.
void Viewer::beginOneWay(const EnvelopeHead& head) {
  const bool free = channel_.session() == 0 || closed_ || Clock::now() - heard_ > kServerSilent;
  const bool fromServer = head.kind != PayloadKind::kFromViewer && head.session != 0;
  if (free && fromServer && head.session != channel_.session()) begin(head.session);
}

void Viewer::begin(std::uint64_t session) {
  arrivedBefore_ += channel_.arrived();
  lostBefore_ += channel_.lost();
  closed_ = false;
  channel_ = Channel(options_.key, PayloadKind::kFromViewer, session);
  leastTrip_ = UINT64_MAX;
  transit_ = {};
  bytes_ = 0;
  const std::lock_guard lock(mutex_);
  ++link_.sessions;
}

void Viewer::takeControl(ControlMessage message, const EnvelopeHead& head) {
  if (const auto* list = std::get_if<Superseded>(&message)) return assembler_.supersede(*list);
  if (const auto* alive = std::get_if<Alive>(&message)) return takeEcho(*alive, head);
  if (!std::holds_alternative<Closing>(message)) {
    return queue({{}, std::move(message), head, clockMicroseconds()});
  }
  closed_ = true;
  offered_ = 0;
  if (!options_.listens) tell(Bye{});
  if (state_ != ViewerState::kEnded) {
    enter(ViewerState::kEnded, options_.listens
                                   ? "the sender has ended"
                                   : "the server at " + options_.server.text() + " has ended");
  }
}

void Viewer::queue(Queued item) {
  const std::lock_guard lock(mutex_);
  if (queue_.size() >= kLongestQueue) return;
  queue_.push_back(std::move(item));
  arrived_.notify_one();
}

void Viewer::hear(const ControlMessage& message, const EnvelopeHead& head) {
  if (const auto* changes = std::get_if<Changes>(&message)) assembler_.changes(*changes);
  const auto* info = std::get_if<FrameInfo>(&message);
  if (info == nullptr) return;
  try {
    assembler_.announce(*info, Clock::now());
  } catch (const Error& error) {
    const std::lock_guard lock(mutex_);
    refusal_ = error.what();
    return;
  }
  const std::lock_guard lock(mutex_);
  if (!clockOffset_) return;
  const std::int64_t took = static_cast<std::int64_t>(clockMicroseconds()) + *clockOffset_ -
                            static_cast<std::int64_t>(head.sent) + info->ageMicroseconds;
  countLatency(static_cast<double>(took) / 1000);
}

void Viewer::countLatency(double ms) {
  link_.latencyMs += (ms - link_.latencyMs) * (link_.latencyMs == 0 ? 1 : 0.1);
  link_.worstLatencyMs = std::max(link_.worstLatencyMs, ms);
  const double last = static_cast<double>(latencies_.size() - 1);
  ++latencies_[static_cast<std::size_t>(std::clamp(ms, 0.0, last))];
  const std::uint64_t all = std::accumulate(latencies_.begin(), latencies_.end(), std::uint64_t{0});
  std::uint64_t longer = 0;
  std::size_t at = latencies_.size();
  while (at > 0 && (longer + latencies_[at - 1]) * 100 <= all) longer += latencies_[--at];
  link_.latencyMs99 = static_cast<double>(at);
}

// The least round trip tells the difference of the clocks best.
void Viewer::takeEcho(const Alive& alive, const EnvelopeHead& head) {
  const std::uint64_t now = clockMicroseconds();
  if (alive.time > now || now - alive.time >= leastTrip_) return;
  leastTrip_ = now - alive.time;
  const std::lock_guard lock(mutex_);
  clockOffset_ =
      static_cast<std::int64_t>(head.sent) - static_cast<std::int64_t>(alive.time + leastTrip_ / 2);
  link_.roundTripMs = static_cast<double>(leastTrip_) / 1000;
}

void Viewer::enter(ViewerState state, const std::string& text) {
  state_ = state;
  {
    const std::lock_guard lock(mutex_);
    notice_ = text;
  }
  options_.notice(text);
}

// The answer tells how many datagrams the server has sent in all.
void Viewer::sayGoodbye() {
  if (channel_.session() == 0 || closed_ || options_.listens) return;
  const Clock::time_point end = Clock::now() + milliseconds(500);
  Clock::time_point due{};
  options_.notice = [](const std::string&) {};
  while (!closed_ && Clock::now() < end) {
    if (Clock::now() >= due) {
      due = Clock::now() + milliseconds(60);
      tell(Bye{});
    }
    auto datagram = socket_.receive(10);
    if (datagram && datagram->from == options_.server) take(*datagram);
  }
}

void Viewer::refuseIfAsked() {
  std::string refusal;
  {
    const std::lock_guard lock(mutex_);
    refusal = refusal_;
  }
  if (refusal.empty() || state_ == ViewerState::kRefused) return;
  enter(ViewerState::kRefused,
        "the window of the server at " + options_.server.text() + ": " + refusal);
}

void Viewer::countLink() {
  const std::lock_guard lock(mutex_);
  link_.state = state_;
  link_.arrived = arrivedBefore_ + channel_.arrived();
  link_.lost = lostBefore_ + channel_.lost();
  link_.dropped = socket_.dropped();
  link_.leastRate = window_.least();
  link_.mostRate = window_.most();
}

void Viewer::decode(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  const auto ready = [this] { return !queue_.empty() && !hearing_; };
  while (arrived_.wait(lock, stop, ready)) {
    Queued item = std::move(queue_.front());
    queue_.pop_front();
    if (item.message) {
      hearing_ = true;
      arrived_.wait(lock, [this] { return decoding_ == 0; });
      lock.unlock();
      hear(*item.message, item.head);
      lock.lock();
      hearing_ = false;
    } else {
      ++decoding_;
      lock.unlock();
      assembler_.take(item.packet, Clock::now());
      lock.lock();
      --decoding_;
    }
    if (hearing_ || item.message || queue_.empty()) arrived_.notify_all();
  }
}

}  // namespace qrx::tool
