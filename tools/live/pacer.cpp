// Times of packets.
#include "tools/live/pacer.h"

#include <algorithm>
#include <utility>

namespace qrx::tool {

void Pacer::begin(Clock::time_point start, Clock::duration span) {
  start_ = start;
  span_ = std::max(span, Clock::duration::zero());
  progress_ = 0;
}

void Pacer::push(std::vector<Packet> packets, double progress) {
  const double end = std::clamp(progress, progress_, 1.0);
  const double step = packets.empty() ? 0 : (end - progress_) / static_cast<double>(packets.size());
  double at = progress_;
  for (Packet& packet : packets) {
    waiting_.push_back(
        {start_ + std::chrono::duration_cast<Clock::duration>(span_ * at), std::move(packet)});
    at += step;
  }
  progress_ = end;
}

std::optional<Packet> Pacer::take(Clock::time_point now) {
  if (waiting_.empty() || waiting_.front().due > now) return std::nullopt;
  Packet packet = std::move(waiting_.front().packet);
  waiting_.pop_front();
  return packet;
}

}  // namespace qrx::tool
