// How much longer than the quickest datagrams take: the time they stand in a queue.
#ifndef QRX_TOOLS_LIVE_TRANSIT_METER_H_
#define QRX_TOOLS_LIVE_TRANSIT_METER_H_

#include <algorithm>
#include <cstdint>

namespace qrx::tool {

// The clocks of the two ends may differ, and drift apart slowly.
class TransitMeter {
 public:
  // Microseconds of either clock.
  void add(std::uint64_t sent, std::uint64_t came) {
    const auto took = static_cast<std::int64_t>(came - sent);
    if (came - halfSince_ > kHalf) {  // old times are forgotten by halves
      before_ = halfSince_ == 0 ? took : least_;
      least_ = took;
      halfSince_ = came;
    }
    least_ = std::min(least_, took);
    quickest_ = std::min(quickest_, took);
  }
  // The quickest since the last call against the quickest of the last half minute. One that was
  // quick tells that there is no queue, however late others were looked at. Where none came, half
  // of what was told last.
  std::uint32_t takeQueue() {
    const std::int64_t longer = quickest_ - std::min(least_, before_);
    queue_ = quickest_ == kNone
                 ? queue_ / 2
                 : static_cast<std::uint32_t>(std::clamp<std::int64_t>(longer, 0, UINT32_MAX));
    quickest_ = kNone;
    return queue_;
  }

 private:
  static constexpr std::uint64_t kHalf = 15000000;
  static constexpr std::int64_t kNone = INT64_MAX;
  std::uint64_t halfSince_ = 0;
  std::int64_t least_ = kNone, before_ = kNone, quickest_ = kNone;
  std::uint32_t queue_ = 0;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_TRANSIT_METER_H_
