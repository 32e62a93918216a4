// The strip routes of all forms against those by the primitives, in a case that the input chooses.
#include "fuzz/kit.h"
#include "tests/forms/slots.h"
#include "tests/forms/strip_cases.h"

namespace {

using namespace qrx::test;

constexpr RouteCase kCases[] = {samePlanes, sameBits, sameSamples, samePixels};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  for (const Slot& slot : slots) {
    if (slot.index == 0) continue;
    fuzz::Input input(data, size);
    const RouteCase sameCase = kCases[input.below(4)];
    const auto layout = kLayouts[input.below(3)];
    Chooser choose([&input] { return input.number(); });
    fuzz::require(sameCase(*qrx::strips::kRoutes[slot.index], layout, choose));
  }
  return 0;
}
