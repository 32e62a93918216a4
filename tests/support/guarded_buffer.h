// A buffer with guard bytes on both sides, which show every write outside it.
#ifndef QRX_TESTS_SUPPORT_GUARDED_BUFFER_H_
#define QRX_TESTS_SUPPORT_GUARDED_BUFFER_H_

#include <algorithm>

#include "tests/support/pictures.h"

namespace qrx::test {

class GuardedBuffer {
 public:
  static constexpr std::uint8_t kFill = 0xA5;

  explicit GuardedBuffer(std::size_t size) : memory_(size + 2 * kGuard, kFill) {}

  std::uint8_t* data() { return memory_.data() + kGuard; }
  int size() const { return static_cast<int>(memory_.size() - 2 * kGuard); }
  Bytes content() const { return Bytes(memory_.begin() + kGuard, memory_.end() - kGuard); }
  void refill() { std::fill(memory_.begin(), memory_.end(), kFill); }

  bool guardsIntact() const {
    return isFill(memory_.begin(), memory_.begin() + kGuard) &&
           isFill(memory_.end() - kGuard, memory_.end());
  }
  bool isUntouched() const { return isFill(memory_.begin(), memory_.end()); }

 private:
  static bool isFill(Bytes::const_iterator begin, Bytes::const_iterator end) {
    return std::count(begin, end, kFill) == end - begin;
  }
  static constexpr std::ptrdiff_t kGuard = 1024;

  Bytes memory_;
};

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_GUARDED_BUFFER_H_
