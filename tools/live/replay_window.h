// Which of the other end's datagrams came.
#ifndef QRX_TOOLS_LIVE_REPLAY_WINDOW_H_
#define QRX_TOOLS_LIVE_REPLAY_WINDOW_H_

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qrx::tool {

// Sequence numbers that came; those far behind the highest count as seen.
class ReplayWindow {
 public:
  static constexpr std::uint64_t kReach = 16384;

  // True for a number that comes for the first time.
  bool admit(std::uint64_t sequence) {
    if (sequence == 0 || (highest_ >= kReach && sequence <= highest_ - kReach)) return false;
    if (sequence > highest_) {
      const std::uint64_t skipped = std::min(sequence - highest_, kReach);
      for (std::uint64_t i = 0; i < skipped; ++i) seen_[place(sequence - i)] = false;
      highest_ = sequence;
    }
    if (seen_[place(sequence)]) return false;
    seen_[place(sequence)] = true;
    ++distinct_;
    return true;
  }
  std::uint64_t highest() const { return highest_; }
  std::uint64_t distinct() const { return distinct_; }

 private:
  static std::size_t place(std::uint64_t sequence) {
    return static_cast<std::size_t>(sequence % kReach);
  }

  std::vector<bool> seen_ = std::vector<bool>(kReach, false);
  std::uint64_t highest_ = 0, distinct_ = 0;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_REPLAY_WINDOW_H_
