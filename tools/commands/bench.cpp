// qrx-jpeg bench: what pictures of the user's own cost on each road.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <latch>
#include <memory>
#include <thread>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/host/roads.h"
#include "tools/support/files.h"
#include "tools/support/json.h"
#include "tools/support/progress.h"
#include "tools/support/timing.h"

namespace qrx::tool {
namespace {

constexpr char kBenchHelp[] =
    "A run compresses or decodes the picture once on every thread. The first runs warm up and do\n"
    "not count. Columns: the median run's wall time and the distance of its quartiles, pixels of\n"
    "all threads in that time, and the processor time of a megapixel.";

constexpr int kWarmUpRuns = 2;

struct BenchOptions {
  std::vector<std::string> inputs;
  std::optional<Sampling> sampling;
  unsigned quality = 85;
  int threads = 1;
  int runs = 15;
  PictureRequest request;
  bool json = false;
  HostOptions host;
};

struct RoadResult {
  const char* road;
  std::size_t bytes = 0;
  Summary wall = {}, cpu = {};  // milliseconds of a run; cpu of one thread
  double megapixelsPerSecond = 0, coreMsPerMegapixel = 0;
};

// The timings of all runs of one thread. Every run waits for the other threads, so that all are at
// work while it is timed.
class Worker {
 public:
  Worker(Work work, int runs) : work_(std::move(work)), timings_(static_cast<std::size_t>(runs)) {}

  void run(std::vector<std::unique_ptr<std::latch>>& starts) noexcept {
    for (std::size_t i = 0; i < starts.size(); ++i) {
      starts[i]->arrive_and_wait();
      if (failure_) continue;
      try {
        const Stopwatch watch;
        bytes_ = work_();
        if (i >= kWarmUpRuns) timings_[i - kWarmUpRuns] = watch.elapsed();
      } catch (...) {
        failure_ = std::current_exception();
      }
    }
  }
  std::size_t finish() const {
    if (failure_) std::rethrow_exception(failure_);
    return bytes_;
  }
  const std::vector<Timing>& timings() const { return timings_; }

 private:
  Work work_;
  std::vector<Timing> timings_;
  std::size_t bytes_ = 0;
  std::exception_ptr failure_;
};

RoadResult summariseRoad(const char* name, const std::vector<Worker>& workers, double megapixels) {
  RoadResult result{name};
  std::vector<double> wall, cpu;
  for (const Worker& worker : workers) {
    result.bytes = worker.finish();
    for (const Timing& timing : worker.timings()) {
      wall.push_back(timing.wall);
      cpu.push_back(timing.cpu);
    }
  }
  result.wall = summarise(wall);
  result.cpu = summarise(cpu);
  result.megapixelsPerSecond =
      megapixels * static_cast<double>(workers.size()) / result.wall.median * 1e3;
  result.coreMsPerMegapixel = result.cpu.median / megapixels;
  return result;
}

RoadResult measureRoad(Session& session, const Road& road, const Image& image,
                       const BenchOptions& options) {
  const auto threadCount = static_cast<std::size_t>(options.threads);
  std::vector<Worker> workers;
  workers.reserve(threadCount);
  for (int t = 0; t < options.threads; ++t) {
    workers.emplace_back(road.make(session, {image, options.quality}), options.runs);
  }
  std::vector<std::unique_ptr<std::latch>> starts;
  starts.reserve(kWarmUpRuns + static_cast<std::size_t>(options.runs));
  for (int i = 0; i < kWarmUpRuns + options.runs; ++i) {
    starts.push_back(std::make_unique<std::latch>(options.threads));
  }
  std::vector<std::jthread> threads;
  threads.reserve(threadCount);
  for (Worker& worker : workers) threads.emplace_back([&] { worker.run(starts); });
  threads.clear();  // joins
  const double megapixels = static_cast<double>(image.size.width) * image.size.height / 1e6;
  return summariseRoad(road.name, workers, megapixels);
}

void addToJson(JsonWriter& json, const std::string& input, const Image& image,
               const std::vector<RoadResult>& results) {
  json.beginObject()
      .field("input", input)
      .field("width", image.size.width)
      .field("height", image.size.height)
      .key("roads")
      .beginArray();
  for (const RoadResult& r : results) {
    json.beginObject()
        .field("road", r.road)
        .field("bytes", r.bytes)
        .field("ms", r.wall.median, 4)
        .field("ms_best", r.wall.best, 4)
        .field("ms_spread", r.wall.spread, 4)
        .field("cpu_ms", r.cpu.median, 4)
        .field("mpixel_per_s", r.megapixelsPerSecond, 2)
        .field("core_ms_per_mpixel", r.coreMsPerMegapixel, 4)
        .endObject();
  }
  json.endArray().endObject();
}

void printResults(const std::string& input, const Image& image,
                  const std::vector<RoadResult>& results) {
  std::printf("%s: %dx%d\n%-12s %10s %9s %9s %9s %12s\n", displayName(input).c_str(),
              image.size.width, image.size.height, "", "bytes", "ms", "spread", "Mpixel/s",
              "core-ms/Mpx");
  for (const RoadResult& r : results) {
    std::printf("%-12s %10zu %9.2f %9.2f %9.0f %12.2f\n", r.road, r.bytes, r.wall.median,
                r.wall.spread, r.megapixelsPerSecond, r.coreMsPerMegapixel);
  }
}

int runBench(BenchOptions options) {
  options.quality = usedQuality(options.quality);
  if (options.sampling) {
    requestSampling(*options.sampling);
  } else {
    checkSamplingVariable({});
  }
  LazySession lazy(options.host);
  Session& session = lazy.get();
  JsonWriter json;
  json.beginObject()
      .field("quality", options.quality)
      .field("slot", session.slot())
      .field("threads", options.threads)
      .field("runs", options.runs)
      .key("pictures")
      .beginArray();
  Progress progress("road", static_cast<int>(options.inputs.size() * std::size(kRoads)));
  int done = 0;
  for (const std::string& input : options.inputs) {
    const Image image = readPicture(input, options.request, lazy).image;
    std::vector<RoadResult> results;
    for (const Road& road : kRoads) {
      results.push_back(measureRoad(session, road, image, options));
      progress.update(++done);
    }
    if (options.json) {
      addToJson(json, input, image, results);
    } else {
      progress.aside([&] {
        printResults(input, image, results);
        std::fflush(stdout);
      });
    }
  }
  if (options.json) json.endArray().endObject().print();
  return kDone;
}

void define(CLI::App& command, BenchOptions& options) {
  command.add_option("picture", options.inputs, "PNG, PNM, PAM, JPEG or raw; - for standard input")
      ->required();
  addQualityOption(command, options.quality);
  addSamplingOption(command, options.sampling);
  command.add_option("--threads", options.threads, "Threads that work at the same time")
      ->check(CLI::Range(1, 256))
      ->capture_default_str()
      ->type_name("N");
  command.add_option("--runs", options.runs, "Runs that count")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str()
      ->type_name("N");
  addPictureOptions(command, options.request);
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addBench(CLI::App& app, Action& action) {
  addCommand<BenchOptions>(app, action, "bench", "Measure what pictures cost on each road",
                           kBenchHelp, define, runBench);
}

}  // namespace qrx::tool
