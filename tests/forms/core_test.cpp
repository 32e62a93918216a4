// Dispatch, processor tests, cache size, allocator and version records.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "primitives/core/cache.h"
#include "qrx/primitives.h"
#include "tests/forms/slots.h"

extern "C" {
#ifdef QRX_PORTABLE
#define PRIMITIVE(slots, result, name, parameters, arguments) result ref_##name parameters;
#else
#define PRIMITIVE(slots, result, name, parameters, arguments) \
  result w7_##name parameters;                                \
  result v8_##name parameters;                                \
  result s8_##name parameters;                                \
  result p8_##name parameters;                                \
  result g9_##name parameters;                                \
  result h9_##name parameters;
#endif
#include "primitives/primitives.def"
}

namespace {

// Puts the detected features and the slot back to what the processor gives.
class Core : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ippGetCpuFeatures(&detected_, nullptr), 0); }
  void TearDown() override {
    ippSetCpuFeaturesMask(detected_);
    ippInitCpu(0x01);  // a family without a form: copies the mask over the detected word
    ippInit();
  }

  // What ippInit selects on a processor with these features.
  struct Selected {
    int slot, lowPower;
    uint64_t enabled;
    bool operator==(const Selected&) const = default;
  };
  static Selected select(uint64_t features) {
    ippSetCpuFeaturesMask(features);
    ippInitCpu(0x01);
    ippInit();
    return current();
  }
  static Selected current() {
    return {ippJumpIndexForMergedLibs, ippJumpIndexForMergedLibsLP, ippGetEnabledCpuFeatures()};
  }

 private:
  uint64_t detected_ = 0;
};

TEST_F(Core, SelectsTheBestForm) {
  EXPECT_EQ(ippInit(), __builtin_cpu_is("intel") ? 0 : ippStsOtherVendorCpu);
  int best = 0;
  for (const Slot& slot : runnableSlots()) best = slot.index;
  EXPECT_TRUE(best <= 3 || ippJumpIndexForMergedLibs == best);
  EXPECT_EQ(ippStaticInit(), __builtin_cpu_is("intel") ? 0 : ippStsOtherVendorCpu);

  const std::pair<uint64_t, Selected> cases[] = {
      {0xFFFF, {6, 0, 0xEFFF}},
      {0x7FFF, {5, 0, 0x6FDF}},         // no AVX2, or no FMA, BMI1 or BMI2
      {0xFFFF - 0x200, {4, 0, 0xCDF}},  // the system does not save the AVX state
      {0xFFFF - 0x100, {4, 0, 0xCDF}},
      {0x3F, {3, 1, 0x3F}},
      {0x1F, {2, 0, 0x1F}},
      {0x2F, {1, 0, 0x7}},  // MOVBE without SSSE3
      {0x7, {1, 0, 0x7}},
      {0x8303, {6, 0, 0x8303}},
      {0x3, {0, 0, 0x3}}};
  for (const auto& [features, expected] : cases) {
    EXPECT_EQ(select(features), expected) << std::hex << features;
  }
  select(0x3);
  EXPECT_EQ(ippInit(), __builtin_cpu_is("intel") ? ippStsNotSupportedCpu : ippStsOtherVendorCpu);
}

TEST_F(Core, ForcedSelection) {
  const struct {
    std::vector<int32_t> selectors;
    Selected selected;
  } rows[] = {{{0, 6, 7, 8, 9, 0xA, 0xB, 0x11, 0x20, 0x41, 0x42}, {0, 0, 0x7}},
              {{0x21, 0x22, 0x43}, {2, 0, 0x1F}},
              {{0x23, 0x44}, {4, 0, 0x5F}},
              {{0x24}, {3, 1, 0x3F}},
              {{0x25, 0x45}, {4, 0, 0xDF}},
              {{0x26, 0x47}, {4, 0, 0xCDF}},
              {{0x46}, {5, 0, 0xFDF}},
              {{0x49}, {5, 0, 0x6FDF}},
              {{0x4A}, {6, 0, 0xEFFF}}};
  std::map<int32_t, Selected> known;
  for (const auto& row : rows) {
    for (const int32_t selector : row.selectors) known[selector] = row.selected;
  }
  const std::set<int32_t> withoutForm = {1, 2, 3, 4, 5, 0x10, 0x40, 0x60};  // copy the mask
  int slot = ippJumpIndexForMergedLibs;
  for (int32_t selector = -2; selector < 0x100; ++selector) {
    if (selector == -1) continue;
    const bool forces = known.count(selector) != 0, copies = withoutForm.count(selector) != 0;
    uint64_t before = 0, word = 0;
    ippGetCpuFeatures(&before, nullptr);
    ippSetCpuFeaturesMask(0xABC);
    EXPECT_EQ(ippInitCpu(selector), forces   ? 0
                                    : copies ? ippStsNotSupportedCpu
                                             : ippStsUnknownCpuType);
    if (forces) slot = known[selector].slot;
    EXPECT_EQ(ippJumpIndexForMergedLibs, slot) << selector;
    EXPECT_TRUE(!forces || current() == known[selector]) << selector;
    ippGetCpuFeatures(&word, nullptr);
    EXPECT_EQ(word, forces ? known[selector].enabled : copies ? 0xABC : before) << selector;
  }
}

#ifndef QRX_PORTABLE
TEST_F(Core, VersionRecords) {
  const char* const names[] = {"veigri SSE2 (w7)", "veigri SSE2 (w7)",       "veigri SSSE3 (v8)",
                               "veigri Atom (s8)", "veigri SSE4.1/4.2 (p8)", "veigri AVX (g9)",
                               "veigri AVX2 (h9)"};
  ippSetCpuFeaturesMask(0);
  for (const Slot& slot : allSlots()) {
    ippJumpIndexForMergedLibs = slot.index;  // which the entry points follow
    const IppLibraryVersion* version = ippjGetLibVersion();
    EXPECT_EQ((std::array{version->major, version->minor, version->majorBuild, version->build}),
              (std::array{7, 1, 1, 37466}));
    EXPECT_EQ(std::string(version->targetCpu, 4), std::string(slot.code) + '\0' + '\0');
    EXPECT_STREQ(version->Name, names[slot.index]);
    EXPECT_STREQ(version->Version, "7.1.1 (r37466)");
    EXPECT_STREQ(version->BuildDate, "Sep 24 2012");
  }
  ippSetCpuFeaturesMask(0x80);
  EXPECT_STREQ(ippjGetLibVersion_arraddr[4]()->Name, "veigri SSE4.1/4.2 (p8)+");
}

const std::set<std::string> kBothV8 = {"ippiRGBToYCbCr_JPEG_8u_C3P3R",
                                       "ippiRGBToY_JPEG_8u_C3C1R",
                                       "ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R",
                                       "ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R",
                                       "ippiSampleUpH2V2_JPEG_8u_C1R",
                                       "ippiConvert_8u16s_C1R",
                                       "ippiCopy_8u_C4P4R",
                                       "ippiCopy_8u_P3C3R"};
const std::set<std::string> kV8AndS8 = {"ippjGetLibVersion", "ippiConvert_16s8u_C1R",
                                        "ippiCopy_8u_P4C4R"};
#endif

TEST(Tables, HoldTheFormsOfTheirSlots) {
  int tables = 0;
#ifdef QRX_PORTABLE
#define PRIMITIVE(slots, result, name, parameters, arguments) \
  ++tables;                                                   \
  for (const auto form : name##_arraddr) EXPECT_EQ(form, ref_##name);
#else
#define PRIMITIVE(slots, result, name, parameters, arguments)                                \
  ++tables;                                                                                  \
  {                                                                                          \
    const auto slot2 = kBothV8.count(#name) + kV8AndS8.count(#name) ? v8_##name : s8_##name; \
    const auto slot3 = kBothV8.count(#name) ? v8_##name : s8_##name;                         \
    const decltype(&name) expected[] = {w7_##name, w7_##name, slot2,    slot3,               \
                                        p8_##name, g9_##name, h9_##name};                    \
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(name##_arraddr[i], expected[i]) << #name << i;  \
  }
#endif
#include "primitives/primitives.def"
  EXPECT_EQ(tables, 58);
}

// --- Largest cache, from the leaves of machines that are not here.

using Leaves = std::map<std::pair<uint32_t, uint32_t>, CpuidRegisters>;

CacheSize cacheOf(const Leaves& machine) {
  static const Leaves* leaves;
  leaves = &machine;
  return largestCache([](uint32_t leaf, uint32_t subleaf) {
    const auto found = leaves->find({leaf, subleaf});
    return found == leaves->end() ? CpuidRegisters{} : found->second;
  });
}

// Type, ways, partitions, line size, sets.
CpuidRegisters cacheLeaf(uint32_t type, uint32_t ways, uint32_t partitions, uint32_t line,
                         uint32_t sets) {
  return {type | 0x1C004000, (ways - 1) << 22 | (partitions - 1) << 12 | (line - 1), sets - 1, 0};
}

TEST(LargestCache, Leaf4) {
  const CacheSize size = cacheOf({{{0, 0}, {11, 0, 0, 0}},
                                  {{4, 0}, cacheLeaf(1, 8, 1, 64, 64)},
                                  {{4, 1}, cacheLeaf(2, 16, 1, 64, 65536)},  // instructions
                                  {{4, 2}, cacheLeaf(3, 16, 2, 64, 4096)},
                                  {{4, 3}, cacheLeaf(3, 4, 1, 64, 1024)},
                                  {{4, 5}, cacheLeaf(3, 16, 1, 64, 65536)}});  // behind the end
  EXPECT_EQ(size.status, 0);
  EXPECT_EQ(size.bytes, 8 << 20);
  EXPECT_EQ(cacheOf({{{0, 0}, {4, 0, 0, 0}}}).status, ippStsUnknownCacheSize);
  EXPECT_EQ(cacheOf({{{0, 0}, {4, 0, 0, 0}}, {{4, 0}, cacheLeaf(2, 8, 1, 64, 64)}}).status,
            ippStsUnknownCacheSize);
}

TEST(LargestCache, Leaf2) {
  const auto size = [](CpuidRegisters registers) {
    return cacheOf({{{0, 0}, {2, 0, 0, 0}}, {{2, 0}, registers}});
  };
  EXPECT_EQ(size({0x665B5001, 0, 0, 0x007A7040}).bytes, 256 << 10);
  EXPECT_EQ(size({0x00000001, 0x0000007A, 0x000000EC, 0}).bytes, 24 << 20);
  EXPECT_EQ(size({0x00000001, 0x0000007A, 0x800000EC, 0}).bytes, 256 << 10) << "not valid";
  EXPECT_EQ(size({0x00004101, 0, 0, 0}).bytes, 128 << 10) << "the last row";
  EXPECT_EQ(size({0x00003D01, 0x21, 0, 0}).bytes, 384 << 10);
  EXPECT_EQ(size({0x00000001, 0x01, 0x02, 0x03}).status, ippStsUnknownCacheSize);
  EXPECT_EQ(size({0x0000EC02, 0, 0, 0}).status, ippStsUnknownCacheSize);
  EXPECT_EQ(cacheOf({{{0, 0}, {1, 0, 0, 0}}}).status, ippStsNotSupportedCpu);
}

// --- Allocator

// Skews of every alignment that a host's allocator may have; no memory if negative.
long skew = 0;
size_t lastRequest = 0;
char *lastGiven = nullptr, *lastFreed = nullptr;

TEST(Allocator, GoesThroughTheHooks) {
  const auto savedMalloc = i_malloc;
  const auto savedFree = i_free;
  i_malloc = [](size_t size) -> void* {
    lastRequest = size;
    if (skew < 0) return nullptr;
    return lastGiven = static_cast<char*>(std::malloc(size + 64)) + skew;
  };
  i_free = [](void* pointer) {
    lastFreed = static_cast<char*>(pointer);
    std::free(lastFreed - skew);
  };
  for (skew = 0; skew < 64; ++skew) {
    auto* block = static_cast<char*>(ippMalloc(100));
    EXPECT_EQ(lastRequest, 168u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
    EXPECT_TRUE(block - lastGiven >= 4 && block - lastGiven <= 67);
    std::memset(block, 1, 100);
    ippFree(block);
    EXPECT_EQ(lastFreed, lastGiven);
  }
  skew = -1;
  EXPECT_EQ(ippMalloc(5), nullptr);
  lastRequest = 0;
  for (const int length : {0, -1, INT_MIN, INT_MAX, INT_MAX - 67}) {
    EXPECT_EQ(ippMalloc(length), nullptr);
  }
  EXPECT_EQ(lastRequest, 0u) << "refused without asking";
  i_malloc = savedMalloc;
  i_free = savedFree;
  ippFree(nullptr);
}

}  // namespace
