// How many bits a second the line to a viewer is given, by what the viewer says of loss and delay.
//
// Additive increase, multiplicative decrease: a queue (for 100 ms all datagrams take 25 ms longer
// than the quickest did) or a loss above 10% takes the rate to 85% of what arrived, or of the rate
// where that is less, and no more often than every 300 ms; without either and with a loss below 2%
// it grows by an eighth of the most in a second. Half a second without a report halves it.
#ifndef QRX_TOOLS_LIVE_RATE_CONTROL_H_
#define QRX_TOOLS_LIVE_RATE_CONTROL_H_

#include <chrono>
#include <deque>
#include <optional>

#include "tools/live/control.h"

namespace qrx::tool {

class RateControl {
 public:
  using Clock = std::chrono::steady_clock;

  // Begins with the most that the rate may be, in bits a second.
  explicit RateControl(double most) : most_(most), rate_(most) {}

  void take(const Report& report, Clock::time_point now);
  // The rate as of now. Before the first report it is the most: whoever sends none is not steered.
  double rate(Clock::time_point now);

 private:
  bool queued() const;
  void decrease(double to, Clock::time_point now);

  double most_, rate_;
  std::deque<Report> reports_;  // of the last moments, for what arrived in between
  std::optional<Clock::time_point> heard_;
  Clock::time_point decreased_{};
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RATE_CONTROL_H_
