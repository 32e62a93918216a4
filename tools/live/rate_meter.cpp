// Rates and their words.
#include "tools/live/rate_meter.h"

#include <algorithm>
#include <cstdio>

namespace qrx::tool {
namespace {

double lossShare(std::uint64_t lost, std::uint64_t arrived) {
  const double sent = static_cast<double>(lost + arrived);
  return sent > 0 ? 100.0 * static_cast<double>(lost) / sent : 0;
}

struct Reason {
  const char* text;
  std::uint64_t count;
};

std::string refusals(const ViewerStatistics& statistics) {
  const auto verdict = [&](Verdict v) {
    return statistics.window.verdicts[static_cast<std::size_t>(v)];
  };
  const ArrivalCounts& arrivals = statistics.link.arrivals;
  const Reason reasons[] = {
      {"corrupted", arrivals[Arrival::kCorrupted]},
      {"sent twice", arrivals[Arrival::kReplayed]},
      {"of another session", arrivals[Arrival::kOtherSession]},
      {"of another version", arrivals[Arrival::kOtherVersion]},
      {"no packet", verdict(Verdict::kNotAPacket)},
      {"of another window", verdict(Verdict::kOtherWindow)},
      {"with a wrong head", verdict(Verdict::kBadHead)},
      {"not decodable", verdict(Verdict::kUndecodable)},
  };
  std::string text;
  for (const Reason& reason : reasons) {
    if (reason.count == 0) continue;
    text += text.empty() ? "refused: " : ", ";
    text += std::to_string(reason.count) + " " + reason.text;
  }
  return text.empty() ? "refused: none" : text;
}

}  // namespace

Rates ratesBetween(const ViewerStatistics& from, const ViewerStatistics& to, double seconds) {
  const auto since = [](std::uint64_t a, std::uint64_t b) {
    return static_cast<double>(b > a ? b - a : 0);
  };
  const AssemblerStatistics& was = from.window;
  const AssemblerStatistics& is = to.window;
  const double frames = std::max(1.0, since(was.frames, is.frames));
  const double announced = std::max(1.0, since(was.announced, is.announced));
  Rates rates;
  rates.framesPerSecond = since(was.frames, is.frames) / seconds;
  rates.megabitsPerSecond = since(was.bytes, is.bytes) * 8 / 1e6 / seconds;
  rates.encodeMs = since(was.encodeMicroseconds, is.encodeMicroseconds) / 1000 / announced;
  rates.decodeMs = since(was.decodeMicroseconds, is.decodeMicroseconds) / 1000 / frames;
  const double lost = since(from.link.lost, to.link.lost);
  const double sent = lost + since(from.link.arrived, to.link.arrived);
  rates.lossPercent = sent > 0 ? 100 * lost / sent : 0;
  return rates;
}

const Rates& RateMeter::update(const ViewerStatistics& statistics, Clock::time_point now) {
  const double seconds = std::chrono::duration<double>(now - since_).count();
  if (seconds >= 1) {
    const bool same = before_.link.sessions == statistics.link.sessions;
    if (same && before_.window.latest) rates_ = ratesBetween(before_, statistics, seconds);
    before_ = statistics;
    since_ = now;
  }
  return rates_;
}

std::vector<std::string> plainWords(const ViewerStatistics& statistics, const Rates& rates) {
  std::vector<std::string> lines;
  const auto add = [&lines](const char* format, auto... values) {
    char text[128];
    std::snprintf(text, sizeof text, format, values...);
    lines.emplace_back(text);
  };
  const LinkStatistics& link = statistics.link;
  add("%.1f frames a second, %.1f Mbit/s", rates.framesPerSecond, rates.megabitsPerSecond);
  add("latency about %.0f ms (estimated)", link.latencyMs);
  add("lost: %.1f%% in the last second, %.1f%% in all", rates.lossPercent,
      lossShare(link.lost, link.arrived));
  lines.push_back(refusals(statistics));
  add("up to date: %.2f%% of the picture", statistics.window.coverage);
  return lines;
}

}  // namespace qrx::tool
