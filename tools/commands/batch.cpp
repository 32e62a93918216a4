// One file or many.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "tools/commands/outputs.h"
#include "tools/commands/run.h"
#include "tools/support/error.h"
#include "tools/support/files.h"
#include "tools/support/jobs.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

// A counter that this process and its jobs share.
class SharedPixels {
 public:
  SharedPixels()
      : count_(mmap(nullptr, sizeof(PixelCount), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                    -1, 0)) {
    if (count_ == MAP_FAILED) throw std::bad_alloc();
    new (count_) PixelCount;
  }
  ~SharedPixels() { munmap(count_, sizeof(PixelCount)); }
  SharedPixels(const SharedPixels&) = delete;
  SharedPixels& operator=(const SharedPixels&) = delete;
  PixelCount& get() { return *static_cast<PixelCount*>(count_); }

 private:
  void* count_;
};

int processors() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

std::string withoutLineFeed(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// One file is worth a process of its own, as those of several are, where somebody may wait for it:
// then what it writes does not meet the progress line.
bool wantsProgress(const FilePair& pair, const TalkOptions& talk) {
  return !talk.quiet && isatty(STDERR_FILENO) == 1 && !isStream(pair.input) &&
         !isStream(pair.output);
}

}  // namespace

int runPairs(const std::vector<FilePair>& pairs, int jobs, const TalkOptions& talk, bool json,
             const PairWork& work) {
  const bool single = pairs.size() == 1;
  if (single && !wantsProgress(pairs.front(), talk)) {
    PixelCount pixels;
    return work(pairs.front(), pixels);
  }
  SharedPixels pixels;
  Progress progress(single ? pairs.front().input : "file", static_cast<int>(pairs.size()),
                    talk.quiet, &pixels.get());
  std::size_t done = 0, failed = 0;
  int code = kDone;
  if (json && !single) std::printf("{\"files\":[");
  runJobs(
      pairs.size(), jobs > 0 ? jobs : processors(),
      [&](std::size_t i) { return runGuarded([&] { return work(pairs[i], pixels.get()); }, json); },
      [&](std::size_t ended) { progress.update(static_cast<int>(ended)); },
      [&](const JobResult& result) {
        if (result.code != kDone) ++failed;
        code = result.code;
        progress.aside([&] {
          std::fputs(result.err.c_str(), stderr);
          const std::string comma = json && done > 0 ? "," : "";
          const bool element = json && !single;
          std::fputs((comma + (element ? withoutLineFeed(result.out) : result.out)).c_str(),
                     stdout);
          if (std::fflush(stdout) != 0) throw Error("cannot write to standard output");
        });
        ++done;
      });
  if (single) return code;
  if (json) std::printf("],\"failed\":%zu}\n", failed);
  return failed == 0 ? kDone : failed == pairs.size() ? kFailed : kDamaged;
}

}  // namespace qrx::tool
