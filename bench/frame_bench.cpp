// Frames and packets through the library, beside libjpeg-turbo and our own frames in the same run.
//
//   frame_bench [--library=PATH] [--slot=N] [options of Google Benchmark]
//
// A compressor's sampling is fixed by the settings when the process makes its first one, so each
// sampling runs in a child process of its own, and the table at the end joins their results.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/frame_roads.h"
#include "tools/scene/scene_renderer.h"

namespace {

using namespace qrx;

constexpr tool::Size kSizes[] = {{1920, 1080}, {3840, 2160}};
constexpr int kQualities[] = {60, 85, 95};
constexpr tool::Sampling kSamplings[] = {tool::Sampling::k444, tool::Sampling::k422,
                                         tool::Sampling::k420};
constexpr int kSceneFrame = 10;

// One measurement, as a child sends it to the parent.
struct Result {
  char name[80];  // "encode/1920x1080/q85/4:2:0"
  char who[24];   // "qrx", or the road's peer
  double milliseconds;
  double bytes;
  double pixels;
};

void measure(benchmark::State& state, const bench::Work& work, double pixels) {
  std::size_t bytes = 0;
  for (auto _ : state) bytes = work();
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["pixels"] = pixels;
  state.counters["Mpixel/s"] =
      benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

std::string caseName(const bench::Road& road, tool::Size size, int quality,
                     tool::Sampling sampling) {
  char name[80];
  std::snprintf(name, sizeof name, "%s/%dx%d/q%d/%s", road.name, size.width, size.height, quality,
                tool::samplingName(sampling));
  return name;
}

constexpr char kOurs[] = "qrx";

// Prints as usual and keeps the best time of each benchmark.
class Collector : public benchmark::ConsoleReporter {
 public:
  Collector() : ConsoleReporter(isatty(STDOUT_FILENO) == 1 ? OO_ColorTabular : OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      keep(run);
    }
    ConsoleReporter::ReportRuns(runs);
  }
  const std::vector<Result>& results() const { return results_; }

 private:
  void keep(const Run& run) {
    const std::string& full = run.run_name.function_name;
    const std::size_t slash = full.rfind('/');
    Result result{};
    std::snprintf(result.name, sizeof result.name, "%s", full.substr(0, slash).c_str());
    std::snprintf(result.who, sizeof result.who, "%s", full.c_str() + slash + 1);
    result.milliseconds = run.GetAdjustedRealTime();
    result.bytes = run.counters.at("bytes");
    result.pixels = run.counters.at("pixels");
    for (Result& known : results_) {
      if (std::strcmp(known.who, result.who) == 0 && std::strcmp(known.name, result.name) == 0) {
        known.milliseconds = std::min(known.milliseconds, result.milliseconds);
        return;
      }
    }
    results_.push_back(result);
  }

  std::vector<Result> results_;
};

void registerCase(tool::Session& session, const bench::Road& road, const tool::Image& image,
                  int quality, tool::Sampling sampling) {
  const bench::FrameCase frame{image, quality, sampling};
  const double pixels = static_cast<double>(image.size.width) * image.size.height;
  const std::string name = caseName(road, image.size, quality, sampling);
  const auto add = [pixels](const std::string& full, const bench::Work& work) {
    benchmark::RegisterBenchmark(
        full.c_str(), [work, pixels](benchmark::State& state) { measure(state, work, pixels); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  };
  add(name + "/" + kOurs, road.ours(session, frame));
  add(name + "/" + road.peer, road.theirs(session, frame));
}

// The benchmarks of one sampling; results go to `target`. Runs in a child process.
int runSampling(const tool::HostOptions& options, tool::Sampling sampling, int target) {
  tool::requestSampling(sampling);
  tool::Session session(options);
  std::vector<tool::Image> images;
  for (const tool::Size size : kSizes) {
    images.push_back(tool::SceneRenderer(size).render(kSceneFrame));
  }
  for (const bench::Road& road : bench::kRoads) {
    for (const tool::Image& image : images) {
      for (const int quality : kQualities) registerCase(session, road, image, quality, sampling);
    }
  }
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  for (const Result& result : collector.results()) {
    if (write(target, &result, sizeof result) != sizeof result) return 1;
  }
  return 0;
}

// Children would write the same --benchmark_out: each gets a name of its own.
void separateOutputs(int argc, char** argv, tool::Sampling sampling,
                     std::vector<std::string>& storage) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--benchmark_out=", 16) != 0) continue;
    std::string& argument = storage.emplace_back(argv[i]);
    argument += sampling == tool::Sampling::k444   ? ".444"
                : sampling == tool::Sampling::k422 ? ".422"
                                                   : ".420";
    argv[i] = storage.back().data();
  }
}

int runChild(int argc, char** argv, const tool::HostOptions& options, tool::Sampling sampling,
             int target) {
  std::vector<std::string> storage;
  storage.reserve(static_cast<std::size_t>(argc));
  separateOutputs(argc, argv, sampling, storage);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  try {
    return runSampling(options, sampling, target);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "frame_bench: %s\n", error.what());
    return 1;
  }
}

// Starts a child for a sampling and appends what it measured; false if it failed.
bool measureSampling(int argc, char** argv, const tool::HostOptions& options,
                     tool::Sampling sampling, std::vector<Result>& results) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    close(ends[0]);
    std::exit(runChild(argc, argv, options, sampling, ends[1]));
  }
  close(ends[1]);
  for (Result result; read(ends[0], &result, sizeof result) == sizeof result;) {
    results.push_back(result);
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void printTable(const std::vector<Result>& results) {
  std::printf("\n%-32s %10s %10s %10s %7s  %s\n", "", "qrx ms", "Mpixel/s", "peer ms", "ratio",
              "peer");
  for (const Result& ours : results) {
    if (std::strcmp(ours.who, kOurs) != 0) continue;
    for (const Result& theirs : results) {
      if (&theirs == &ours || std::strcmp(ours.name, theirs.name) != 0) continue;
      std::printf("%-32s %10.2f %10.0f %10.2f %7.2f  %s\n", ours.name, ours.milliseconds,
                  ours.pixels / ours.milliseconds / 1e3, theirs.milliseconds,
                  ours.milliseconds / theirs.milliseconds, theirs.who);
    }
  }
  std::printf("ratio: our time divided by the peer's; below 1 we are faster\n");
}

// Takes our own options out of the argument list.
tool::HostOptions takeOptions(int& argc, char** argv) {
  tool::HostOptions options;
  options.library = QRX_LIBRARY_PATH;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with("--library=")) {
      options.library = argument.substr(10);
    } else if (argument.starts_with("--slot=")) {
      options.slot = std::atoi(argument.c_str() + 7);
    } else {
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const tool::HostOptions options = takeOptions(argc, argv);
  // No setting of this machine may reach the library.
  setenv("QRX_ROOT", QRX_EMPTY_FOLDER, 1);
  setenv("QRX_USER_CONFIG_DIR", QRX_EMPTY_FOLDER, 1);
  std::vector<Result> results;
  for (const tool::Sampling sampling : kSamplings) {
    if (!measureSampling(argc, argv, options, sampling, results)) return 1;
  }
  printTable(results);
  return 0;
}
