// Rates of the last second, for the overlay.
#ifndef QRX_TOOLS_LIVE_RATE_METER_H_
#define QRX_TOOLS_LIVE_RATE_METER_H_

#include <chrono>
#include <string>
#include <vector>

#include "tools/live/frame_assembler.h"
#include "tools/live/link.h"

namespace qrx::tool {

// All that is known at one time.
struct ViewerStatistics {
  AssemblerStatistics window;
  LinkStatistics link;
};

struct Rates {
  double framesPerSecond = 0;
  double megabitsPerSecond = 0;
  double encodeMs = 0;     // per frame
  double decodeMs = 0;     // per frame, all threads together
  double lossPercent = 0;  // of the datagrams
};

// Of what lies between two states of the statistics.
Rates ratesBetween(const ViewerStatistics& from, const ViewerStatistics& to, double seconds);

class RateMeter {
 public:
  using Clock = std::chrono::steady_clock;

  // The rates as of the last full second.
  const Rates& update(const ViewerStatistics& statistics, Clock::time_point now);

 private:
  ViewerStatistics before_;
  Clock::time_point since_{};
  Rates rates_;
};

// In plain words, for the overlay and the end of a headless viewer.
std::vector<std::string> plainWords(const ViewerStatistics& statistics, const Rates& rates);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RATE_METER_H_
