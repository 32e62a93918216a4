// The strip routes of a form against those by the primitives, in a case; the input chooses both.
#include "fuzz/kit.h"
#include "tests/forms/slots.h"
#include "tests/forms/strip_cases.h"

namespace {

using namespace qrx::test;

constexpr RouteCase kCases[] = {samePlanes, sameBits, sameSamples, samePixels};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  // The first byte, since choices are taken from the end.
  const Slot& slot = slots[1 + (size == 0 ? 0 : data[0] % (slots.size() - 1))];
  fuzz::Input input(data, size);
  const RouteCase sameCase = kCases[input.below(4)];
  const auto layout = kLayouts[input.below(3)];
  Chooser choose([&input] { return input.number(); });
  fuzz::require(sameCase(*qrx::strips::kRoutes[slot.index], layout, choose));
  return 0;
}
