// The control law.
#include "tools/live/rate_control.h"

#include <algorithm>

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kQueue = 25000;  // microseconds
constexpr double kMuchLoss = 0.10, kLittleLoss = 0.02;
constexpr double kDecrease = 0.85, kIncreasePerSecond = 1.0 / 8, kLeast = 1.0 / 16;
constexpr std::uint64_t kSpan = 200000;        // microseconds that loss and arrival are told over
constexpr std::uint64_t kQueueLasts = 100000;  // a machine that was busy for a moment is no queue
constexpr milliseconds kHold{300}, kSilent{500};

}  // namespace

void RateControl::decrease(double to, Clock::time_point now) {
  if (now - decreased_ < kHold) return;
  decreased_ = now;
  rate_ = std::clamp(to, most_ * kLeast, rate_);
}

bool RateControl::queued() const {
  for (auto report = reports_.rbegin(); report != reports_.rend(); ++report) {
    if (report->queueMicroseconds <= kQueue) return false;
    if (reports_.back().time - report->time >= kQueueLasts) return true;
  }
  return false;
}

void RateControl::take(const Report& report, Clock::time_point now) {
  if (!reports_.empty() && report.time <= reports_.back().time) return;  // overtaken
  const Clock::duration passed =
      std::min<Clock::duration>(heard_ ? now - *heard_ : kSilent, kSilent);
  heard_ = now;
  reports_.push_back(report);
  // The one before the span stays, to count from.
  while (reports_.size() > 2 && report.time - reports_[1].time >= kSpan) reports_.pop_front();
  const Report& from = reports_.front();
  const double seconds = static_cast<double>(report.time - from.time) / 1e6;
  if (seconds <= 0) return;
  // Datagrams that were late and not lost make the loss go down again.
  const double lost =
      std::max(0.0, static_cast<double>(report.lost) - static_cast<double>(from.lost));
  const double arrived =
      static_cast<double>(report.arrived - std::min(from.arrived, report.arrived));
  const double bits = static_cast<double>(report.bytes - std::min(from.bytes, report.bytes)) * 8;
  const double loss = lost > 0 ? lost / (lost + arrived) : 0;
  if (queued() || loss > kMuchLoss) {
    decrease(kDecrease * std::min(rate_, bits / seconds), now);
  } else if (loss < kLittleLoss) {
    rate_ += most_ * kIncreasePerSecond * std::chrono::duration<double>(passed).count();
    rate_ = std::min(rate_, most_);
  }
}

double RateControl::rate(Clock::time_point now) {
  if (heard_ && now - *heard_ > kSilent) {
    *heard_ = now;
    decrease(rate_ / 2, now);
  }
  return rate_;
}

}  // namespace qrx::tool
