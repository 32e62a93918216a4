// Rates of the last second, for the overlay.
#ifndef QRX_TOOLS_LIVE_RATE_METER_H_
#define QRX_TOOLS_LIVE_RATE_METER_H_

#include <chrono>
#include <string>
#include <vector>

#include "tools/live/frame_assembler.h"

namespace qrx::tool {

struct Rates {
  double framesPerSecond = 0;
  double kilobytesPerFrame = 0;
  double encodeMs = 0;  // per frame
  double decodeMs = 0;  // per frame, all threads together
};

// Of what lies between two states of the statistics.
Rates ratesBetween(const AssemblerStatistics& from, const AssemblerStatistics& to, double seconds);

class RateMeter {
 public:
  using Clock = std::chrono::steady_clock;

  // The rates as of the last full second.
  const Rates& update(const AssemblerStatistics& statistics, Clock::time_point now);

 private:
  AssemblerStatistics before_;
  Clock::time_point since_{};
  Rates rates_;
};

std::vector<std::string> overlayLines(const AssemblerStatistics& statistics, const Rates& rates);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RATE_METER_H_
