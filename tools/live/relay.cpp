// Forwarding with delay.
#include "tools/live/relay.h"

#include <algorithm>
#include <utility>

namespace qrx::tool {
namespace {

constexpr std::chrono::milliseconds kQuiet{30};  // then nothing is held back any longer
constexpr std::chrono::milliseconds kLongestQueue{200};

BadNetworkOptions withSeed(BadNetworkOptions options, std::uint64_t seed) {
  options.seed = seed;
  return options;
}

}  // namespace

Relay::Relay(const RelayOptions& options)
    : options_(options),
      viewerSide_(options.listen),
      serverSide_(Endpoint::toReach(options.server)),
      toViewer_{BadNetwork(options.network), {}, {}, {}, 0},
      toServer_{BadNetwork(withSeed(options.network, ~options.network.seed)), {}, {}, {}, 0} {}

void Relay::take(Line& line, Packet datagram) {
  line.quietSince = Clock::now();
  std::vector<Packet> out;
  line.network.push(std::move(datagram), out);
  for (Packet& packet : out) enqueue(line, std::move(packet), line.quietSince);
}

BadNetworkCounts Relay::Line::counts() const {
  BadNetworkCounts counts = network.counts();
  counts.lost += overflowed;
  return counts;
}

void Relay::enqueue(Line& line, Packet datagram, Clock::time_point now) const {
  line.free = std::max(line.free, now);
  if (line.free - now > kLongestQueue) {
    ++line.overflowed;
    return;
  }
  if (options_.megabitsPerSecond > 0) {
    const double microseconds =
        static_cast<double>(datagram.size()) * 8 / options_.megabitsPerSecond;
    line.free += std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double, std::micro>(microseconds));
  }
  line.due.emplace_back(line.free + options_.delay, std::move(datagram));
}

void Relay::deliver(Line& line, const UdpSocket& socket, const Endpoint& to) {
  const Clock::time_point now = Clock::now();
  if (now - line.quietSince > kQuiet) {
    std::vector<Packet> out;
    line.network.flush(out);
    for (Packet& packet : out) enqueue(line, std::move(packet), now);
  }
  for (; !line.due.empty() && line.due.front().first <= now; line.due.pop_front()) {
    socket.send(to, line.due.front().second);
  }
}

void Relay::step(int timeoutMs) {
  constexpr int kBatch = 64;
  const bool busy = !toViewer_.due.empty() || !toServer_.due.empty();
  for (int i = 0; i < kBatch; ++i) {
    auto datagram = viewerSide_.receive(0);
    if (!datagram) break;
    viewer_ = datagram->from;
    take(toServer_, std::move(datagram->bytes));
  }
  // The server's side has nearly all of the traffic: wait there.
  for (int i = 0; i < kBatch; ++i) {
    auto datagram = serverSide_.receive(i > 0 ? 0 : busy ? 1 : timeoutMs);
    if (!datagram) break;
    take(toViewer_, std::move(datagram->bytes));
  }
  deliver(toServer_, serverSide_, options_.server);
  if (viewer_.port != 0) deliver(toViewer_, viewerSide_, viewer_);
}

}  // namespace qrx::tool
