// The server's loop, and how a session begins and ends.
#include "tools/live/server.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "tools/live/wire.h"

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kViewerSilent{1200};
constexpr double kPacedShare = 0.8;  // of a frame's time; the rest is for answers

const ServerOptions& checked(const ServerOptions& options) {
  if (options.key || options.listen.isLoopback()) return options;
  throw Error(
      options.listen.text() +
          ": other machines could connect, and nothing tells who they are: give --key FILE, "
          "or listen on 127.0.0.1 or [::1]",
      kUsage);
}

}  // namespace

Server::Server(codec::Compressor& compressor, FrameSource source, const ServerOptions& options)
    : options_(checked(options)),
      key_(options.key ? *options.key : publicKey()),
      socket_(options.listen),
      source_(std::move(source)),
      sender_(compressor, options.size, options.sender) {}

ServerReport Server::run(const std::atomic<bool>& stop) {
  const auto period = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(1 / options_.framesPerSecond));
  alone_ = Clock::now();
  int number = 0;
  Clock::time_point deadline = Clock::now();
  while (!stop) {
    if (client_ && Clock::now() - client_->heard > kViewerSilent) part("fell silent");
    const bool last = options_.frames > 0 && number >= options_.frames - 1;
    if (!client_) {
      if (report_.viewers > 0 && options_.frames > 0) break;
      const std::chrono::duration<double> alone = Clock::now() - alone_;
      if (options_.waitSeconds > 0 && alone.count() > options_.waitSeconds) break;
      listenUntil(Clock::now() + milliseconds(100), stop);
      deadline = Clock::now();
      continue;
    }
    deadline = std::max(deadline + period, Clock::now());
    sendFrame(number, deadline);
    listenUntil(deadline, stop);
    if (!last) ++number;
  }
  close();
  report_.repairs = sender_.repairs();
  return report_;
}

void Server::sendFrame(int number, Clock::time_point deadline) {
  if (rendered_ != number) {
    source_(number, frame_);
    rendered_ = number;
    ready_ = Clock::now();
    ++report_.frames;
  }
  std::vector<Packet> packets;
  FrameInfo info = sender_.send(frame_, static_cast<std::uint32_t>(number), packets);
  info.finished = options_.frames > 0 && number == options_.frames - 1;
  report_.encodeMicroseconds += info.encodeMicroseconds;
  const Clock::time_point now = Clock::now();
  const auto left = std::max(deadline - now, Clock::duration::zero());
  pace(packets, now, std::chrono::duration_cast<Clock::duration>(left * kPacedShare));
  for (Changes& changes : sender_.changes()) tell(std::move(changes));
  const auto age = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - ready_);
  info.ageMicroseconds = static_cast<std::uint32_t>(age.count());
  tell(info);
}

void Server::pace(const std::vector<Packet>& packets, Clock::time_point start,
                  Clock::duration span) {
  constexpr std::size_t kBunch = 4;  // packets between two sleeps
  for (std::size_t i = 0; i < packets.size() && client_; ++i) {
    if (i % kBunch == 0) {
      std::this_thread::sleep_until(start +
                                    span * static_cast<int>(i) / static_cast<int>(packets.size()));
      while (auto datagram = socket_.receive(0)) answer(*datagram);
      if (!client_) return;
    }
    socket_.send(client_->at, client_->channel.sealPacket(packets[i]));
    ++report_.packets;
    report_.bytes += packets[i].size();
  }
}

void Server::listenUntil(Clock::time_point deadline, const std::atomic<bool>& stop) {
  do {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    auto datagram = socket_.receive(static_cast<int>(std::clamp<std::int64_t>(left, 0, 50)));
    if (datagram) answer(*datagram);
  } while (!stop && Clock::now() < deadline);
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
  if (const auto* request = std::get_if<RepairRequest>(&message)) tell(sender_.repair(*request));
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
  client_ =
      Client{from, hello.viewer, Channel(key_, PayloadKind::kFromServer, session), Clock::now()};
  ++report_.viewers;
  sender_.restart(static_cast<std::uint32_t>(session));
  options_.notice("viewer " + from.text() + " came");
  tell(sender_.latest());
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
    listenUntil(Clock::now() + milliseconds(60), never);
  }
}

void Server::tell(const ControlMessage& message) {
  if (client_) socket_.send(client_->at, client_->channel.seal(message));
}

}  // namespace qrx::tool
