// The progress line, rewritten in place a few times a second.
#include "tools/support/progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace qrx::tool {

Progress::Progress(std::string label, int total)
    : label_(std::move(label)),
      total_(total),
      terminal_(isatty(STDERR_FILENO) == 1),
      next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

void Progress::update(int done) {
  if (!terminal_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  shown_ = true;
  std::fprintf(stderr, "\r%s: %d of %d", label_.c_str(), done, total_);
}

}  // namespace qrx::tool
