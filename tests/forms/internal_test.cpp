// Forms that have no entry point: every processor's own, against what their names say.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "qrx/primitives.h"
#include "tests/forms/slots.h"

namespace {

struct Form {
  IppStatus (*clip)(const Ipp16s*, Ipp8u*, int, Ipp16s, Ipp8u, Ipp8u);
  IppStatus (*copy)(const Ipp16s*, Ipp16s*, int);
  IppStatus (*zero)(Ipp16s*, int);
  IppStatus (*divide)(const Ipp16u*, Ipp16u, Ipp16u*, int);
};

}  // namespace

#define DECLARE(form)                                                                           \
  extern "C" IppStatus form##_ippiDCT8x8InvLSClip_16s8u_C1R(const Ipp16s*, Ipp8u*, int, Ipp16s, \
                                                            Ipp8u, Ipp8u);                      \
  extern "C" IppStatus form##_ippsCopy_16s(const Ipp16s*, Ipp16s*, int);                        \
  extern "C" IppStatus form##_ippsZero_16s(Ipp16s*, int);                                       \
  extern "C" IppStatus form##_ippsDivCRev_16u(const Ipp16u*, Ipp16u, Ipp16u*, int);             \
  static constexpr Form form = {form##_ippiDCT8x8InvLSClip_16s8u_C1R, form##_ippsCopy_16s,      \
                                form##_ippsZero_16s, form##_ippsDivCRev_16u};

#ifdef QRX_PORTABLE
DECLARE(ref)
constexpr Form kSlots[] = {ref, ref, ref, ref, ref, ref, ref};
#else
DECLARE(w7)
DECLARE(v8)
DECLARE(s8)
DECLARE(p8)
DECLARE(g9)
DECLARE(h9)
constexpr Form kSlots[] = {w7, w7, v8, s8, p8, g9, h9};
#endif

namespace {

TEST(InsideTheLayer, VectorsOfWords) {
  for (const Slot& slot : runnableSlots()) {
    const Form& form = kSlots[slot.index];
    for (int length = 1; length < 70; ++length) {
      std::vector<Ipp16s> source(70), copy(70, 7);
      for (int i = 0; i < 70; ++i) source[size_t(i)] = Ipp16s(i * 1871);
      EXPECT_EQ(form.copy(source.data(), copy.data(), length), 0);
      EXPECT_TRUE(std::equal(copy.begin(), copy.begin() + length, source.begin()));
      EXPECT_EQ(std::count(copy.begin() + length, copy.end(), 7), 70 - length);
      EXPECT_EQ(form.zero(copy.data(), length), 0);
      EXPECT_EQ(std::count(copy.begin(), copy.end(), 0), length);
    }
    EXPECT_EQ(form.copy(nullptr, nullptr, 1), ippStsNullPtrErr);
    EXPECT_EQ(form.zero(nullptr, 1), ippStsNullPtrErr);

    // Rounded to the nearest; half-way to even.
    const std::array<Ipp16u, 6> divisors = {1, 5, 8, 24, 60000, 0};
    std::array<Ipp16u, 6> quotients{};
    EXPECT_EQ(form.divide(divisors.data(), 12, quotients.data(), 5), 0);
    EXPECT_EQ(quotients, (std::array<Ipp16u, 6>{12, 2, 2, 0, 0, 0}));
    EXPECT_EQ(form.divide(divisors.data(), 12, quotients.data(), 6), ippStsDivByZero);
    EXPECT_EQ(quotients[5], 65535);
  }
}

// The transform with a level and bounds of one's own.
TEST(InsideTheLayer, InverseTransformWithBounds) {
  std::array<Ipp16s, 64> block{};
  std::array<Ipp16u, 64> ones;
  ones.fill(1);
  for (size_t i = 0; i < 20; ++i) block[i] = Ipp16s(60 - 7 * int(i));
  for (const Slot& slot : runnableSlots()) {
    std::array<Ipp8u, 64> whole{}, clipped{};
    ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), whole.data(), 8, ones.data());
    EXPECT_EQ(kSlots[slot.index].clip(block.data(), clipped.data(), 8, 100, 90, 110), 0);
    for (size_t i = 0; i < 64; ++i) {
      EXPECT_TRUE(whole[i] > 28 && whole[i] < 255);  // so that the level is all that differs
      EXPECT_EQ(clipped[i], std::clamp(whole[i] - 28, 90, 110));
    }
  }
}

}  // namespace
