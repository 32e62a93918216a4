// The server's loop.
#include "tools/live/server.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kViewerSilent{3000};
constexpr double kPacedShare = 0.8;  // of a frame's time; the rest is for answers

}  // namespace

Server::Server(codec::Compressor& compressor, FrameSource source, const ServerOptions& options)
    : socket_(options.listen),
      source_(std::move(source)),
      options_(options),
      sender_(compressor, options.size, options.sender) {}

ServerReport Server::run(const std::atomic<bool>& stop) {
  const auto period = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(1 / options_.framesPerSecond));
  heard_ = Clock::now();
  bool served = false;
  int number = 0;
  Clock::time_point deadline = Clock::now();
  while (!stop) {
    if (hasViewer() && Clock::now() - heard_ > kViewerSilent) viewer_ = {};
    const bool last = options_.frames > 0 && number >= options_.frames - 1;
    if (!hasViewer()) {
      if (served && options_.frames > 0) break;
      const std::chrono::duration<double> alone = Clock::now() - heard_;
      if (options_.waitSeconds > 0 && alone.count() > options_.waitSeconds) break;
      listenUntil(Clock::now() + milliseconds(100), stop);
      deadline = Clock::now();
      continue;
    }
    served = true;
    deadline = std::max(deadline + period, Clock::now());
    sendFrame(number, deadline);
    listenUntil(deadline, stop);
    if (!last) ++number;
  }
  report_.repairs = sender_.repairs();
  return report_;
}

void Server::sendFrame(int number, Clock::time_point deadline) {
  if (rendered_ != number) {
    source_(number, frame_);
    rendered_ = number;
    ++report_.frames;
  }
  std::vector<Packet> packets;
  FrameInfo info = sender_.send(frame_, static_cast<std::uint32_t>(number), packets);
  info.finished = options_.frames > 0 && number == options_.frames - 1;
  report_.encodeMicroseconds += info.encodeMicroseconds;
  const Clock::time_point now = Clock::now();
  const auto left = std::max(deadline - now, Clock::duration::zero());
  pace(packets, now, std::chrono::duration_cast<Clock::duration>(left * kPacedShare));
  socket_.send(viewer_, serialise(info));
}

void Server::pace(const std::vector<Packet>& packets, Clock::time_point start,
                  Clock::duration span) {
  constexpr std::size_t kBunch = 4;  // packets between two sleeps
  for (std::size_t i = 0; i < packets.size() && hasViewer(); ++i) {
    if (i % kBunch == 0) {
      std::this_thread::sleep_until(start +
                                    span * static_cast<int>(i) / static_cast<int>(packets.size()));
      while (const auto datagram = socket_.receive(0)) answer(*datagram);
    }
    socket_.send(viewer_, packets[i]);
    ++report_.packets;
    report_.bytes += packets[i].size();
  }
}

void Server::listenUntil(Clock::time_point deadline, const std::atomic<bool>& stop) {
  do {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    const auto datagram = socket_.receive(static_cast<int>(std::clamp<std::int64_t>(left, 0, 50)));
    if (datagram) answer(*datagram);
  } while (!stop && Clock::now() < deadline);
}

void Server::answer(const UdpSocket::Datagram& datagram) {
  const auto message = parseControl(datagram.bytes);
  if (!message) return;
  if (const auto* hello = std::get_if<Hello>(&*message)) return welcome(*hello, datagram.from);
  if (!hasViewer() || datagram.from != viewer_) return;
  heard_ = Clock::now();
  if (std::holds_alternative<Bye>(*message)) viewer_ = {};
  if (const auto* request = std::get_if<RepairRequest>(&*message)) {
    socket_.send(datagram.from, serialise(sender_.repair(*request)));
  }
}

// A further viewer waits until the present one has gone.
void Server::welcome(const Hello& hello, const Endpoint& from) {
  if (hasViewer() && hello.viewer != viewerNumber_) return;
  heard_ = Clock::now();
  if (!hasViewer() || hello.viewer != viewerNumber_) sender_.restart(hello.viewer);
  viewer_ = from;
  viewerNumber_ = hello.viewer;
  socket_.send(viewer_, serialise(sender_.latest()));
}

}  // namespace qrx::tool
