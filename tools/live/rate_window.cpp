// A sum that slides in steps.
#include "tools/live/rate_window.h"

#include <algorithm>

namespace qrx::tool {

void RateWindow::add(std::size_t bytes, Clock::time_point now) {
  if (!stepEnd_) stepEnd_ = now + kStep;
  for (; now >= *stepEnd_; *stepEnd_ += kStep) {
    std::uint64_t& step = steps_[passed_ % kSteps];
    sum_ = sum_ - step + current_;
    step = current_;
    current_ = 0;
    if (++passed_ < kSteps) continue;
    const double rate =
        static_cast<double>(sum_) * 8 / std::chrono::duration<double>(kStep * kSteps).count();
    least_ = passed_ == kSteps ? rate : std::min(least_, rate);
    most_ = std::max(most_, rate);
  }
  current_ += bytes;
}

}  // namespace qrx::tool
