// A progress line on standard error: only on a terminal, only for work above a second.
#ifndef QRX_TOOLS_SUPPORT_PROGRESS_H_
#define QRX_TOOLS_SUPPORT_PROGRESS_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace qrx::tool {

// How far the work is, in a process of its own too: pixels that are done, of those that are known
// to be to do.
struct PixelCount {
  std::atomic<std::uint64_t> done = 0, known = 0;
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
};

// A thread of its own draws the line, so that one long piece of work is seen to go on too. It
// writes by descriptor, never through stdio: the process may fork meanwhile.
class Progress {
 public:
  // "LABEL 3 of 12, 40.1 Mpixel, 5 s"; with a total of 1 "LABEL, 40.1 of 80.2 Mpixel, 5 s". The
  // pixels are those of `pixels` at the time, if there are any. `quiet`: no line at all.
  Progress(std::string label, int total, bool quiet = false, const PixelCount* pixels = nullptr);
  ~Progress();  // clears the line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(int done) { done_ = done; }
  // Does what writes to the terminal while the line is away.
  void aside(const std::function<void()>& write);

 private:
  void draw();
  void erase();

  const std::string label_;
  const int total_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::atomic<int> done_ = 0;
  const PixelCount* const pixels_;
  int terminal_ = -1;             // a copy of standard error, or -1
  std::mutex mutex_;              // the line and the three below
  std::condition_variable ends_;  // and starts
  bool started_ = false;
  bool shown_ = false;
  bool end_ = false;
  std::thread drawer_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_PROGRESS_H_
