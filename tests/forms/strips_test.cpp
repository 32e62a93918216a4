// The strip routes of every form against those by the primitives, and against nothing beyond the
// memory that they are given.
#include <gtest/gtest.h>

#include "tests/forms/slots.h"
#include "tests/forms/strip_cases.h"

namespace qrx::test {
namespace {

void onEveryForm(int rounds, RouteCase same) {
  for (const Slot& slot : runnableSlots()) {
    if (slot.index == 0) continue;
    Random generator(static_cast<unsigned>(rounds + slot.index));
    Chooser choose([&] { return unsigned(generator()); });
    for (int i = 0; i < rounds; ++i) {
      ASSERT_TRUE(same(*strips::kRoutes[slot.index], kLayouts[i % 3], choose))
          << slot.code << ", round " << i;
    }
  }
}

TEST(Strips, PlanesFromPixels) { onEveryForm(150, samePlanes); }
TEST(Strips, BitsFromPlanes) { onEveryForm(300, sameBits); }
TEST(Strips, SamplesFromBits) { onEveryForm(600, sameSamples); }
TEST(Strips, PixelsFromPlanes) { onEveryForm(200, samePixels); }

// What the look-ups cannot hold is left to the primitives.
TEST(Strips, TablesWithoutCodesAreRefused) {
  HuffmanList ac = typicalAcTable();
  strips::WideCodes codes = {};
  EXPECT_TRUE(makeAcCodes(*EncodeTable(ac).get(), &codes));
  --ac.bits[15];
  ac.values.pop_back();
  EXPECT_FALSE(makeAcCodes(*EncodeTable(ac).get(), &codes));
  EXPECT_FALSE(makeDcCodes(*EncodeTable(HuffmanList{{0, 3}, {0, 1, 2}}).get(), &codes));
}

}  // namespace
}  // namespace qrx::test
