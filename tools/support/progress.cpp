// The progress line, rewritten in place a few times a second.
#include "tools/support/progress.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace qrx::tool {
namespace {

constexpr std::chrono::milliseconds kFirst(1000), kBetween(200);

// A line that does not come is no reason to fail.
void put(int fd, const char* text, int length) {
  if (write(fd, text, static_cast<std::size_t>(length)) < 0) return;
}

double megapixels(std::uint64_t count) { return static_cast<double>(count) / 1e6; }

}  // namespace

Progress::Progress(std::string label, int total, bool quiet, const PixelCount* pixels)
    : label_(std::move(label)), total_(total), pixels_(pixels) {
  if (quiet || isatty(STDERR_FILENO) != 1) return;
  terminal_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (terminal_ < 0) return;
  // Signals are the main thread's.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  drawer_ = std::thread([this] {
    std::unique_lock lock(mutex_);
    started_ = true;
    ends_.notify_one();
    auto pause = kFirst;
    while (!ends_.wait_for(lock, pause, [this] { return end_; })) {
      draw();
      pause = kBetween;
    }
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  // Memory that a thread takes as it starts would be locked for good in a process forked then.
  std::unique_lock lock(mutex_);
  ends_.wait(lock, [this] { return started_; });
}

Progress::~Progress() {
  if (terminal_ < 0) return;
  {
    const std::lock_guard lock(mutex_);
    end_ = true;
  }
  ends_.notify_one();
  drawer_.join();
  erase();
  close(terminal_);
}

void Progress::aside(const std::function<void()>& write) {
  const std::lock_guard lock(mutex_);
  erase();
  write();
}

void Progress::draw() {
  char text[256];
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start_);
  int length = std::snprintf(text, 100, "\r\033[K%.60s", label_.c_str());
  const auto add = [&](const char* format, auto... values) {
    length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), format,
                            values...);
  };
  if (total_ > 1) add(" %d of %d", done_.load(), total_);
  if (pixels_ != nullptr && pixels_->known > 0) {
    add(", %.1f", megapixels(pixels_->done));
    // Of several files those that have not been opened are not known.
    if (total_ <= 1) add(" of %.1f", megapixels(pixels_->known));
    add(" %s", "Mpixel");
  }
  add(", %lld s", static_cast<long long>(seconds.count()));
  put(terminal_, text, length);
  shown_ = true;
}

void Progress::erase() {
  if (!std::exchange(shown_, false)) return;
  constexpr char kErase[] = "\r\033[K";
  put(terminal_, kErase, sizeof kErase - 1);
}

}  // namespace qrx::tool
