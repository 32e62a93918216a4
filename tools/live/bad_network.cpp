// Loss as a two-state chain, so that it comes in bursts; the rest datagram by datagram.
#include "tools/live/bad_network.h"

#include <algorithm>
#include <utility>

namespace qrx::tool {

BadNetwork::BadNetwork(const BadNetworkOptions& options)
    : options_(options), random_(options.seed) {}

// A burst ends with probability 1 / burst; the rate of its beginning makes the share come out.
bool BadNetwork::loses() {
  if (options_.loss <= 0) return false;
  if (options_.loss >= 1) return true;
  const double end = 1.0 / std::max(1, options_.burst);
  const double begin = std::min(1.0, end * options_.loss / (1 - options_.loss));
  losing_ = losing_ ? !random_.chance(end) : random_.chance(begin);
  return losing_;
}

void BadNetwork::damage(Packet& datagram) {
  if (datagram.empty()) return;
  for (std::uint64_t count = 1 + random_.below(4); count > 0; --count) {
    datagram[random_.below(datagram.size())] ^= static_cast<std::uint8_t>(1 + random_.below(255));
  }
}

void BadNetwork::push(Packet datagram, std::vector<Packet>& out) {
  ++counts_.taken;
  if (loses()) {
    ++counts_.lost;
    release(out);
    return;
  }
  if (random_.chance(options_.corrupt)) {
    ++counts_.corrupted;
    damage(datagram);
  }
  if (random_.chance(options_.duplicate)) {
    ++counts_.duplicated;
    out.push_back(datagram);
  }
  if (random_.chance(options_.reorder)) {
    ++counts_.reordered;
    held_.push_back({std::move(datagram), 1 + static_cast<int>(random_.below(8))});
    return;
  }
  out.push_back(std::move(datagram));
  release(out);
}

void BadNetwork::flush(std::vector<Packet>& out) {
  for (Held& held : held_) out.push_back(std::move(held.datagram));
  held_.clear();
}

void BadNetwork::release(std::vector<Packet>& out) {
  for (Held& held : held_) {
    if (--held.later == 0) out.push_back(std::move(held.datagram));
  }
  std::erase_if(held_, [](const Held& held) { return held.later == 0; });
}

}  // namespace qrx::tool
