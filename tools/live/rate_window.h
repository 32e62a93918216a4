// The least and the most that came in any two seconds.
#ifndef QRX_TOOLS_LIVE_RATE_WINDOW_H_
#define QRX_TOOLS_LIVE_RATE_WINDOW_H_

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace qrx::tool {

class RateWindow {
 public:
  using Clock = std::chrono::steady_clock;

  // Bytes that came at this time; none, to let time pass.
  void add(std::size_t bytes, Clock::time_point now);

  // Bits a second; 0 before two seconds are over.
  double least() const { return least_; }
  double most() const { return most_; }

 private:
  static constexpr std::chrono::milliseconds kStep{20};
  static constexpr std::size_t kSteps = 100;

  std::array<std::uint64_t, kSteps> steps_{};  // the window's, in a ring
  std::uint64_t sum_ = 0, current_ = 0, passed_ = 0;
  std::optional<Clock::time_point> stepEnd_;
  double least_ = 0, most_ = 0;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RATE_WINDOW_H_
