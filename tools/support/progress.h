// A progress line on standard error: only on a terminal, only for work above a second.
#ifndef QRX_TOOLS_SUPPORT_PROGRESS_H_
#define QRX_TOOLS_SUPPORT_PROGRESS_H_

#include <chrono>
#include <string>

namespace qrx::tool {

class Progress {
 public:
  Progress(std::string label, int total);
  ~Progress();  // clears the line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(int done);

 private:
  using Clock = std::chrono::steady_clock;

  std::string label_;
  int total_;
  bool terminal_;
  bool shown_ = false;
  Clock::time_point next_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_PROGRESS_H_
