// The server's loop, and how a session begins and ends.
#include "tools/live/server.h"

#include <algorithm>
#include <utility>

#include "tools/live/wire.h"

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kViewerSilent{1200}, kAsleep{300}, kRepeatEvery{2000};
constexpr milliseconds kOldReport{500};  // what it says holds no longer
constexpr milliseconds kHoard{100};      // time that a rate may be saved up for
constexpr double kPacedShare = 0.8;      // of a frame's time; the rest is for answers

const ServerOptions& checked(const ServerOptions& options) {
  const Endpoint& end = options.to ? *options.to : options.listen;
  if (options.key || end.isLoopback()) return options;
  if (options.to) {
    throw Error(end.text() +
                    ": nothing there could tell who sends: give --key FILE, or send to 127.0.0.1 "
                    "or [::1]",
                kUsage);
  }
  throw Error(
      end.text() +
          ": other machines could connect, and nothing tells who they are: give --key FILE, "
          "or listen on 127.0.0.1 or [::1]",
      kUsage);
}

WindowSenderOptions withEnvelope(WindowSenderOptions options) {
  options.bytesPerPacket = kEnvelopeHeadSize + kTagSize;
  return options;
}

}  // namespace

Server::Server(codec::Compressor& compressor, FrameSource source, const ServerOptions& options)
    : options_(checked(options)),
      key_(options.key ? *options.key : publicKey()),
      socket_(options.to ? Endpoint::toReach(*options.to) : options.listen),
      source_(std::move(source)),
      sender_(compressor, options.size, withEnvelope(options.sender)),
      period_(std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(1 / options.framesPerSecond))) {}

ServerReport Server::run(const std::atomic<bool>& stop) {
  alone_ = Clock::now();
  int number = 0;
  Clock::time_point due = Clock::now();  // of the frame
  if (options_.to) begin(*options_.to, 0, randomNumber());
  while (!stop) {
    if (options_.to && !repeat(number)) break;
    if (!options_.to && client_ && Clock::now() - client_->heard > kViewerSilent) {
      part("fell silent");
    }
    if (!client_) {
      if (report_.viewers > 0 && options_.frames > 0) break;
      const std::chrono::duration<double> alone = Clock::now() - alone_;
      if (options_.waitSeconds > 0 && alone.count() > options_.waitSeconds) break;
      listenUntil(Clock::now() + milliseconds(100), stop);
      due = Clock::now();
      continue;
    }
    const std::int64_t late = (Clock::now() - due) / period_;
    due += late * period_;
    drop(number, late);
    if (isBehind(Clock::now())) {
      drop(number, 1);
    } else {
      sendFrame(number, due + period_);
      if (!isLast(number)) ++number;
    }
    due += period_;
    listenUntil(due, stop);
  }
  close();
  report_.repairs = sender_.repairs();
  report_.sharpening = sender_.sharpening();
  return report_;
}

void Server::drop(int& number, std::int64_t frames) {
  // Packets tell their frame by its last eight bits: further on, a viewer would take it for an old
  // one.
  constexpr std::int64_t kFurthest = 100;
  std::int64_t next = std::min(number + frames, sent_ + kFurthest);
  if (options_.frames > 0) next = std::min<std::int64_t>(next, options_.frames - 1);
  if (next <= number) return;
  report_.dropped += static_cast<std::uint64_t>(next - number);
  sender_.leaveOut(static_cast<std::uint32_t>(next - number));
  number = static_cast<int>(next);
}

bool Server::repeat(int number) {
  const Clock::time_point now = Clock::now();
  if (now < repeatDue_) return true;
  if (isLast(number) && sent_ == number && report_.frames > 0) return false;
  repeatDue_ = now + kRepeatEvery;
  sender_.repeat();
  tell(sender_.latest());  // for one that came in between
  return true;
}

bool Server::isBehind(Clock::time_point now) const {
  if (!client_->report || now - client_->reported > kOldReport) return false;
  const Report& report = *client_->report;
  const std::uint64_t lag = std::uint64_t{report.queueMicroseconds} + report.backlogMicroseconds;
  return std::chrono::microseconds(lag) > period_ / 2;
}

WindowSender::Allowance Server::allowance(Clock::time_point now) {
  WindowSender::Allowance allowance;
  allowance.now = now;
  allowance.period = period_;
  if (options_.megabitsPerSecond <= 0) return allowance;
  const double bytesPerSecond = client_->control.rate(now) / 8;
  client_->budget.earn(bytesPerSecond, now, std::max<Clock::duration>(kHoard, period_));
  allowance.bytes = client_->budget.left();
  allowance.income = bytesPerSecond * std::chrono::duration<double>(period_).count();
  return allowance;
}

void Server::sendFrame(int number, Clock::time_point deadline) {
  if (rendered_ != number) {
    frame_ = &source_(number);
    rendered_ = number;
    ++report_.frames;
  }
  ready_ = Clock::now();
  sent_ = number;
  const Clock::time_point now = Clock::now();
  const auto left = std::max(deadline - now, Clock::duration::zero());
  pacer_.begin(now, std::chrono::duration_cast<Clock::duration>(left * kPacedShare));
  FrameInfo info = sender_.send(*frame_, static_cast<std::uint32_t>(number), allowance(now),
                                [this](std::vector<Packet> packets, double progress) {
                                  pacer_.push(std::move(packets), progress);
                                  sendDue();
                                });
  report_.encodeMicroseconds += info.encodeMicroseconds;
  const std::atomic<bool> never{false};
  for (; client_ && !pacer_.empty(); sendDue()) listenUntil(pacer_.next(), never);
  pacer_.clear();
  for (Changes& changes : sender_.changes()) tell(changes);
  info.finished = isLast(number) && sender_.settled();
  const auto age = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - ready_);
  info.ageMicroseconds = static_cast<std::uint32_t>(age.count());
  tell(info);
}

void Server::sendDue() {
  // Somewhat early, so that there are bunches of several and not a sleep for each.
  const Clock::time_point now = Clock::now() + milliseconds(1);
  while (client_) {
    const auto packet = pacer_.take(now);
    if (!packet) return;
    sendToClient(client_->channel.sealPacket(*packet));
    ++report_.packets;
    report_.bytes += packet->size();
  }
}

void Server::listenUntil(Clock::time_point deadline, const std::atomic<bool>& stop) {
  constexpr int kMostAfterwards = 64;  // whoever floods us does not stop us
  for (int afterwards = 0; afterwards < kMostAfterwards;) {
    const Clock::time_point before = Clock::now();
    const auto left = std::chrono::ceil<milliseconds>(deadline - before).count();
    auto datagram = socket_.receive(static_cast<int>(std::clamp<std::int64_t>(left, 0, 50)));
    // The time that this machine slept is nobody's silence.
    const auto took = Clock::now() - before;
    if (client_ && took > kAsleep) client_->heard += took;
    if (datagram) answer(*datagram);
    const bool over = Clock::now() >= deadline;
    if (stop || (over && !datagram)) return;
    afterwards += over ? 1 : 0;
  }
}

void Server::answer(UdpSocket::Datagram& datagram) {
  const std::size_t size = datagram.bytes.size();
  EnvelopeHead head;
  const Arrival arrival = openEnvelope(key_, datagram.bytes, head);
  if (arrival != Arrival::kFresh) {
    ++report_.arrivals[arrival];
    return;
  }
  const auto message = parseControl(datagram.bytes);
  const auto* hello = message ? std::get_if<Hello>(&*message) : nullptr;
  if (hello != nullptr && head.session == 0 && head.kind == PayloadKind::kFromViewer) {
    ++report_.arrivals[Arrival::kFresh];
    return greet(*hello, datagram.from, size);
  }
  Client* client = nullptr;
  for (std::optional<Client>* one : {&client_, &gone_}) {
    const bool theirs = *one && (*one)->at == datagram.from;
    if (theirs && (*one)->channel.session() == head.session) client = &**one;
  }
  if (client == nullptr) {
    ++report_.arrivals[Arrival::kOtherSession];
    return;
  }
  answerClient(*client, datagram, head);
}

void Server::answerClient(Client& client, UdpSocket::Datagram& datagram, const EnvelopeHead& head) {
  const Arrival arrival = client.channel.admit(head);
  ++report_.arrivals[arrival];
  const auto message = parseControl(datagram.bytes);
  if (arrival != Arrival::kFresh || !message) return;
  if (std::holds_alternative<Bye>(*message)) {
    socket_.send(client.at, client.channel.seal(Closing{}));
    if (client_ && &client == &*client_) part("left");
    return;
  }
  if (!client_ || &client != &*client_) return;
  client.heard = Clock::now();
  obey(*message);
}

void Server::obey(const ControlMessage& message) {
  if (std::holds_alternative<Alive>(message)) tell(message);
  if (const auto* request = std::get_if<RepairRequest>(&message)) {
    const Superseded answer = sender_.repair(*request);
    if (!answer.indexes.empty()) tell(answer);
  }
  if (const auto* report = std::get_if<Report>(&message)) {
    client_->control.take(*report, Clock::now());
    client_->report = *report;
    client_->reported = Clock::now();
  }
}

std::uint64_t Server::sessionFor(const Hello& hello, const Endpoint& from) const {
  WireWriter out;
  out.u64(generation_);
  out.u64(hello.viewer);
  out.bytes(from.bytes());
  return keyedNumber(secret_, out.written());
}

// Nothing is kept of an address that only asks, and it gets one datagram for its own, no longer
// than that: who forges another's address wins nothing by it.
void Server::greet(const Hello& hello, const Endpoint& from, std::size_t size) {
  if (closing_) return;
  const bool present = client_ && client_->at == from && client_->viewer == hello.viewer;
  const std::uint64_t session = present ? client_->channel.session() : sessionFor(hello, from);
  if (!client_ && hello.session == session) return welcome(hello, from, session);
  const bool busy = client_ && !present;
  const Packet reply =
      sealLoose(key_, PayloadKind::kFromServer, Welcome{hello.ticket, busy ? 0 : session});
  if (reply.size() <= size) socket_.send(from, reply);
}

void Server::welcome(const Hello& hello, const Endpoint& from, std::uint64_t session) {
  begin(from, hello.viewer, session);
  options_.notice("viewer " + from.text() + " came");
  tell(sender_.latest());
}

void Server::begin(const Endpoint& at, std::uint64_t viewer, std::uint64_t session) {
  client_ = Client{at,
                   viewer,
                   Channel(key_, PayloadKind::kFromServer, session),
                   Clock::now(),
                   RateControl(options_.megabitsPerSecond * 1e6),
                   {},
                   {},
                   {}};
  ++report_.viewers;
  sender_.restart(static_cast<std::uint32_t>(session));
}

void Server::part(const char* how) {
  options_.notice("viewer " + client_->at.text() + " " + how);
  gone_ = std::exchange(client_, std::nullopt);
  ++generation_;
  alone_ = Clock::now();
}

// Until the viewer says that it has heard.
void Server::close() {
  constexpr int kTimes = 8;
  const std::atomic<bool> never{false};
  closing_ = true;
  for (int i = 0; i < kTimes && client_; ++i) {
    tell(Closing{});
    listenUntil(Clock::now() + milliseconds(options_.to ? 5 : 60), never);
  }
}

void Server::tell(const ControlMessage& message) {
  if (client_) sendToClient(client_->channel.seal(message));
}

void Server::sendToClient(const Packet& datagram) {
  socket_.send(client_->at, datagram);
  client_->budget.spend(static_cast<double>(datagram.size()));
}

}  // namespace qrx::tool
