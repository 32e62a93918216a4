// Forwarding with delay.
#include "tools/live/relay.h"

#include <utility>

namespace qrx::tool {
namespace {

constexpr std::chrono::milliseconds kQuiet{30};  // then nothing is held back any longer

BadNetworkOptions withSeed(BadNetworkOptions options, std::uint64_t seed) {
  options.seed = seed;
  return options;
}

}  // namespace

Relay::Relay(const RelayOptions& options)
    : options_(options),
      viewerSide_(options.listen),
      serverSide_(Endpoint::toReach(options.server)),
      toViewer_{BadNetwork(options.network), {}, {}},
      toServer_{BadNetwork(withSeed(options.network, ~options.network.seed)), {}, {}} {}

void Relay::take(Line& line, Packet datagram) {
  line.quietSince = Clock::now();
  std::vector<Packet> out;
  line.network.push(std::move(datagram), out);
  for (Packet& packet : out)
    line.due.emplace_back(line.quietSince + options_.delay, std::move(packet));
}

void Relay::deliver(Line& line, const UdpSocket& socket, const Endpoint& to) {
  const Clock::time_point now = Clock::now();
  if (now - line.quietSince > kQuiet) {
    std::vector<Packet> out;
    line.network.flush(out);
    for (Packet& packet : out) line.due.emplace_back(now, std::move(packet));
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
