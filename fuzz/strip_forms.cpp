// The strip routes of all forms against those by the primitives, in a case that the input chooses.
#include <cstdint>
#include <cstdlib>

#include "tests/forms/slots.h"
#include "tests/forms/strip_cases.h"

namespace {

// Numbers from the input; behind its end from a fixed sequence, so that short inputs choose too.
class InputNumbers {
 public:
  InputNumbers(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

  unsigned operator()() {
    if (end_ - next_ >= 2) {
      next_ += 2;
      return static_cast<unsigned>(next_[-1] << 8 | next_[-2]);
    }
    sequence_ = sequence_ * 1664525u + 1013904223u;
    return sequence_ >> 8;
  }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
  unsigned sequence_ = 1;
};

constexpr qrx::test::RouteCase kCases[] = {qrx::test::samePlanes, qrx::test::sameBits,
                                           qrx::test::sameSamples, qrx::test::samePixels};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  if (size < 1) return 0;
  const auto layout = qrx::test::kLayouts[data[0] / 4 % 3];
  for (const Slot& slot : slots) {
    if (slot.index == 0) continue;
    qrx::test::Chooser choose(InputNumbers(data + 1, size - 1));
    if (!kCases[data[0] % 4](*qrx::strips::kRoutes[slot.index], layout, choose)) std::abort();
  }
  return 0;
}
