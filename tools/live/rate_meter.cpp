// Rates and the overlay's text.
#include "tools/live/rate_meter.h"

#include <algorithm>
#include <cstdio>

namespace qrx::tool {

Rates ratesBetween(const AssemblerStatistics& from, const AssemblerStatistics& to, double seconds) {
  const auto since = [](std::uint64_t a, std::uint64_t b) { return static_cast<double>(b - a); };
  const double frames = std::max(1.0, since(from.frames, to.frames));
  const double announced = std::max(1.0, since(from.announced, to.announced));
  Rates rates;
  rates.framesPerSecond = since(from.frames, to.frames) / seconds;
  rates.kilobytesPerFrame = since(from.bytes, to.bytes) / 1000 / frames;
  rates.encodeMs = since(from.encodeMicroseconds, to.encodeMicroseconds) / 1000 / announced;
  rates.decodeMs = since(from.decodeMicroseconds, to.decodeMicroseconds) / 1000 / frames;
  return rates;
}

const Rates& RateMeter::update(const AssemblerStatistics& statistics, Clock::time_point now) {
  const double seconds = std::chrono::duration<double>(now - since_).count();
  if (seconds >= 1) {
    const bool same = before_.latest && statistics.latest &&
                      before_.latest->session == statistics.latest->session;
    if (same) rates_ = ratesBetween(before_, statistics, seconds);
    before_ = statistics;
    since_ = now;
  }
  return rates_;
}

std::vector<std::string> overlayLines(const AssemblerStatistics& statistics, const Rates& rates) {
  std::vector<std::string> lines;
  const auto add = [&lines](const char* format, auto... values) {
    char text[96];
    std::snprintf(text, sizeof text, format, values...);
    lines.emplace_back(text);
  };
  const auto count = [&statistics](Verdict v) {
    return static_cast<unsigned long long>(statistics.verdicts[static_cast<std::size_t>(v)]);
  };
  add("%5.1f frames/s  %6.1f kB/frame", rates.framesPerSecond, rates.kilobytesPerFrame);
  add("encode %5.1f ms  decode %5.1f ms", rates.encodeMs, rates.decodeMs);
  add("lost %llu  late %llu  double %llu", static_cast<unsigned long long>(statistics.packetsLost),
      count(Verdict::kLate), count(Verdict::kDuplicate));
  add("bad %llu (no packet %llu, window %llu,",
      static_cast<unsigned long long>(statistics.refused()), count(Verdict::kNotAPacket),
      count(Verdict::kOtherWindow));
  add("  head %llu, data %llu)", count(Verdict::kBadHead), count(Verdict::kUndecodable));
  add("coverage %.2f%%", statistics.coverage);
  return lines;
}

}  // namespace qrx::tool
