// Bytes that may be sent by now at a rate; what was sent too much is saved later.
#ifndef QRX_TOOLS_LIVE_BYTE_BUDGET_H_
#define QRX_TOOLS_LIVE_BYTE_BUDGET_H_

#include <algorithm>
#include <chrono>
#include <optional>

namespace qrx::tool {

class ByteBudget {
 public:
  using Clock = std::chrono::steady_clock;

  // What the time since the last call brings. No more is kept than `hoard` brings, so that a quiet
  // time is not made up for by a burst.
  void earn(double bytesPerSecond, Clock::time_point now, Clock::duration hoard) {
    using Seconds = std::chrono::duration<double>;
    const Seconds passed = last_ ? now - *last_ : hoard;
    left_ += bytesPerSecond * passed.count();
    left_ =
        std::clamp(left_, -bytesPerSecond * kLongestDebt, bytesPerSecond * Seconds(hoard).count());
    last_ = now;
  }
  void spend(double bytes) { left_ -= bytes; }
  double left() const { return left_; }

 private:
  // Seconds: where the messages alone are more than a rate that has come down allows, the picture
  // does not wait for ever.
  static constexpr double kLongestDebt = 2;

  double left_ = 0;
  std::optional<Clock::time_point> last_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_BYTE_BUDGET_H_
