// Timing loops, a pair of threads, and the kernel's and the allocator's counts.
#include "bench/rounds.h"

#include <malloc.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <barrier>
#include <cmath>
#include <exception>
#include <limits>
#include <thread>
#include <utility>

namespace qrx::bench {
namespace {

constexpr double kShortestRunMs = 4;
constexpr double kShortestThreadRunMs = 20;
constexpr int kRunsOfAGain = 5;
constexpr int kWatchedFrames = 20;

void repeat(const tool::Work& work, int times) {
  for (int i = 0; i < times; ++i) work();
}

// How often work that has been warmed up fits in a run of `milliseconds`.
int repetitions(const tool::Work& work, double milliseconds) {
  const tool::Stopwatch watch;
  work();
  return std::max(1, static_cast<int>(std::ceil(milliseconds / watch.elapsed().wall)));
}

// Left alone, the scheduler may wake both threads of a pair on one processor time after time and
// take milliseconds to move one.
void keepOnProcessor(std::thread& thread, int number) {
  cpu_set_t all, one;
  CPU_ZERO(&one);
  if (sched_getaffinity(0, sizeof all, &all) != 0 || CPU_COUNT(&all) <= number) return;
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (!CPU_ISSET(cpu, &all) || number-- != 0) continue;
    CPU_SET(cpu, &one);
    pthread_setaffinity_np(thread.native_handle(), sizeof one, &one);
    return;
  }
}

// Two threads, each on a processor, that live as long as the object: coders belong to threads.
class Pair {
 public:
  explicit Pair(const MakeWork& make) : start_(3), end_(3) {
    works_[0] = make();
    works_[1] = make();
    for (int t = 0; t < 2; ++t) {
      threads_[t] = std::thread([this, t] { serve(t); });
      keepOnProcessor(threads_[t], t);
    }
  }
  ~Pair() {
    run(0, 0);
    for (std::thread& thread : threads_) thread.join();
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  int repetitionsOf(double milliseconds) {
    works_[0]();
    return repetitions(works_[0], milliseconds);
  }
  // Wall time of `active` threads, each doing the work `times` over; no times end them.
  double run(int active, int times) {
    active_ = active;
    times_ = times;
    const tool::Stopwatch watch;
    start_.arrive_and_wait();
    end_.arrive_and_wait();
    const double wall = watch.elapsed().wall;
    for (std::exception_ptr& failure : failures_) {
      if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
    }
    return wall;
  }

 private:
  void serve(int t) {
    for (;;) {
      start_.arrive_and_wait();
      const int times = times_;
      try {
        if (t < active_) repeat(works_[t], times);
      } catch (...) {
        failures_[t] = std::current_exception();
      }
      end_.arrive_and_wait();
      if (times == 0) return;
    }
  }

  tool::Work works_[2];
  std::thread threads_[2];
  std::exception_ptr failures_[2];
  std::barrier<> start_, end_;
  int active_ = 0, times_ = 0;
};

// The best times of a pair at work, alone and together.
struct PairTimes {
  double one = std::numeric_limits<double>::infinity(), two = one;

  void add(Pair& pair, int times) {
    one = std::min(one, pair.run(1, times));
    two = std::min(two, pair.run(2, times));
  }
  double gain() const { return 2 * one / two; }
};

}  // namespace

std::vector<Figure> measureCell(const Cell& cell, const std::vector<Contender>& contenders,
                                int rounds) {
  struct Runs {
    int times = 1;
    std::vector<double> cpu, wall;
    double bytes = 0;
  };
  std::vector<Runs> runs(contenders.size());
  for (int round = -1; round < rounds; ++round) {
    for (std::size_t i = 0; i < contenders.size(); ++i) {
      const Contender& c = contenders[i];
      Runs& r = runs[i];
      if (c.prepare) c.prepare();
      if (round < 0) {
        r.bytes = static_cast<double>(c.work());
        r.times = repetitions(c.work, kShortestRunMs);
        continue;
      }
      const tool::Stopwatch watch;
      repeat(c.work, r.times);
      const tool::Timing timing = watch.elapsed();
      r.cpu.push_back(timing.cpu / r.times);
      r.wall.push_back(timing.wall / r.times);
    }
  }
  std::vector<Figure> figures;
  for (std::size_t i = 0; i < contenders.size(); ++i) {
    figures.push_back({cell, contenders[i].side, tool::summarise(runs[i].cpu),
                       tool::summarise(runs[i].wall), runs[i].bytes});
  }
  return figures;
}

Gain measureGain(const Cell& cell, const MakeWork& ours, const MakeWork& peer, int rounds) {
  Pair pairs[] = {Pair(ours), Pair(peer)};
  int times[2];
  for (int i = 0; i < 2; ++i) {
    times[i] = pairs[i].repetitionsOf(kShortestThreadRunMs);
    pairs[i].run(2, 1);  // each thread's first run makes its coders
  }
  std::vector<double> gains[2], ratios;
  for (int round = 0; round < rounds; ++round) {
    PairTimes best[2];
    for (int run = 0; run < kRunsOfAGain; ++run) {
      for (int i = 0; i < 2; ++i) best[i].add(pairs[i], times[i]);
    }
    for (int i = 0; i < 2; ++i) gains[i].push_back(best[i].gain());
    ratios.push_back(gains[0].back() / gains[1].back());
  }
  return {cell, tool::summarise(gains[0]).median, tool::summarise(gains[1]).median,
          tool::summarise(ratios).median};
}

Upkeep measureUpkeep(const Cell& cell, const tool::Work& work) {
  const auto heapBytes = [] {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
  };
  const auto faults = [] {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return static_cast<double>(usage.ru_minflt);
  };
  heapBytes();  // whose own first call meets pages, too
  const auto bytes = static_cast<double>(work());
  const double faultsBefore = faults();
  work();
  // With the second frame malloc has in its own cache, which counts as taken, what frames give
  // back.
  const double heapBefore = heapBytes();
  repeat(work, kWatchedFrames - 1);
  const double faultsAfter = faults();
  return {cell, heapBytes() - heapBefore, (faultsAfter - faultsBefore) / kWatchedFrames, bytes};
}

}  // namespace qrx::bench
