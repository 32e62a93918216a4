// Clocks of the kernel and order statistics.
#include "tools/support/timing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ctime>

namespace qrx::tool {
namespace {

double milliseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Between neighbours by weight; `sorted` is not empty.
double quantile(const std::vector<double>& sorted, double share) {
  const double place = share * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  return std::lerp(sorted[below], sorted[above], place - static_cast<double>(below));
}

}  // namespace

Timing Stopwatch::now() {
  return {milliseconds(CLOCK_THREAD_CPUTIME_ID), milliseconds(CLOCK_MONOTONIC)};
}

Timing Stopwatch::elapsed() const {
  const Timing end = now();
  return {end.cpu - start_.cpu, end.wall - start_.wall};
}

Summary summarise(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {values.front(), quantile(values, 0.5), quantile(values, 0.75) - quantile(values, 0.25)};
}

}  // namespace qrx::tool
