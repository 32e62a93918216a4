// Dispatch, processor tests, cache size, allocator and version records.
#include <cpuid.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "primitives/core/cache.h"
#include "qrx/primitives.h"
#include "tests/forms/slots.h"

#ifdef QRX_PORTABLE
#define FORM_OF(code, name) ref_##name
#else
#define FORM_OF(code, name) code##_##name
#endif

extern "C" {
#define PRIMITIVE(slots, result, name, parameters, arguments) \
  result FORM_OF(w7, name) parameters;                        \
  result FORM_OF(v8, name) parameters;                        \
  result FORM_OF(s8, name) parameters;                        \
  result FORM_OF(p8, name) parameters;                        \
  result FORM_OF(g9, name) parameters;                        \
  result FORM_OF(h9, name) parameters;
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

  // All; without AVX2, or FMA, BMI1 or BMI2; without one of AVX and the system's saving of its
  // state; with MOVBE and SSSE3, and with one of them; with little but AVX2; with hardly anything.
  const std::pair<uint64_t, Selected> cases[] = {{0xFFFF, {6, 0, 0xEFFF}}, {0x7FFF, {5, 0, 0x6FDF}},
                                                 {0xFDFF, {4, 0, 0xCDF}},  {0xFEFF, {4, 0, 0xCDF}},
                                                 {0x3F, {3, 1, 0x3F}},     {0x1F, {2, 0, 0x1F}},
                                                 {0x2F, {1, 0, 0x7}},      {0x7, {1, 0, 0x7}},
                                                 {0x8303, {6, 0, 0x8303}}, {0x3, {0, 0, 0x3}}};
  for (const auto& [features, expected] : cases) {
    EXPECT_EQ(select(features), expected) << std::hex << features;
  }
  select(0x3);
  EXPECT_EQ(ippInit(), __builtin_cpu_is("intel") ? ippStsNotSupportedCpu : ippStsOtherVendorCpu);
}

TEST_F(Core, ForcedSelection) {
  const std::map<int32_t, Selected> forms = {
      {0x00, {0, 0, 0x7}},   {0x06, {0, 0, 0x7}},   {0x07, {0, 0, 0x7}},    {0x08, {0, 0, 0x7}},
      {0x09, {0, 0, 0x7}},   {0x0A, {0, 0, 0x7}},   {0x0B, {0, 0, 0x7}},    {0x11, {0, 0, 0x7}},
      {0x20, {0, 0, 0x7}},   {0x41, {0, 0, 0x7}},   {0x42, {0, 0, 0x7}},    {0x21, {2, 0, 0x1F}},
      {0x22, {2, 0, 0x1F}},  {0x43, {2, 0, 0x1F}},  {0x23, {4, 0, 0x5F}},   {0x44, {4, 0, 0x5F}},
      {0x24, {3, 1, 0x3F}},  {0x25, {4, 0, 0xDF}},  {0x45, {4, 0, 0xDF}},   {0x26, {4, 0, 0xCDF}},
      {0x47, {4, 0, 0xCDF}}, {0x46, {5, 0, 0xFDF}}, {0x49, {5, 0, 0x6FDF}}, {0x4A, {6, 0, 0xEFFF}}};
  const std::set<int32_t> withoutForm = {1, 2, 3, 4, 5, 0x10, 0x40, 0x60};  // copy the mask
  for (int32_t selector = -2; selector < 0x100; ++selector) {
    if (selector == -1) continue;
    uint64_t detected = 0, word = 0;
    ippGetCpuFeatures(&detected, nullptr);
    ippSetCpuFeaturesMask(0xABC);
    Selected expected = current();
    IppStatus status = ippStsUnknownCpuType;
    if (forms.count(selector) != 0) {
      expected = forms.at(selector);
      status = 0;
      detected = expected.enabled;
    } else if (withoutForm.count(selector) != 0) {
      status = ippStsNotSupportedCpu;
      detected = 0xABC;
    }
    EXPECT_EQ(ippInitCpu(selector), status) << selector;
    EXPECT_EQ(current(), expected) << selector;
    ippGetCpuFeatures(&word, nullptr);
    EXPECT_EQ(word, detected) << selector;
  }
}

// Leaf 1 as the processor gives it, but for the identifier of the core that happened to run.
TEST_F(Core, TellsFeaturesRegistersAndTheLargestCache) {
  uint64_t features = 0;
  uint32_t registers[4] = {}, eax = 0, ebx = 0, ecx = 0, edx = 0;
  EXPECT_EQ(ippGetCpuFeatures(&features, registers), 0);
  ASSERT_NE(__get_cpuid(1, &eax, &ebx, &ecx, &edx), 0);
  EXPECT_EQ(registers[0], eax);
  EXPECT_EQ(registers[1] & 0xFFFFFF, ebx & 0xFFFFFF);
  EXPECT_EQ(registers[2], ecx);
  EXPECT_EQ(registers[3], edx);
  EXPECT_EQ(ippGetCpuFeatures(nullptr, registers), ippStsNullPtrErr);

  const CacheSize expected =
      __builtin_cpu_is("intel") ? largestCache(cpuid) : CacheSize{ippStsNotSupportedCpu, 0};
  for (int call = 0; call < 2; ++call) {
    int bytes = -1;
    EXPECT_EQ(ippGetMaxCacheSizeB(&bytes), expected.status);
    EXPECT_EQ(bytes, expected.bytes);
  }
  EXPECT_EQ(ippGetMaxCacheSizeB(nullptr), ippStsNullPtrErr);
  EXPECT_EQ(ippIsCpuEnabled(0x4A), 1);
  EXPECT_EQ(ippEnableCpu(0x4A), 0);
}

#ifndef QRX_PORTABLE
TEST_F(Core, VersionRecords) {
  const char* const names[] = {"veigri SSE2 (w7)", "veigri SSE2 (w7)",       "veigri SSSE3 (v8)",
                               "veigri Atom (s8)", "veigri SSE4.1/4.2 (p8)", "veigri AVX (g9)",
                               "veigri AVX2 (h9)"};
  ippSetCpuFeaturesMask(0);
  for (const Slot& slot : runnableSlots()) {
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

#endif

// What stands in slots 2 and 3: v8 in both, v8 and s8, and s8 in both for the rest.
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

TEST(Tables, HoldTheFormsOfTheirSlots) {
  int tables = 0;
#define PRIMITIVE(slots, result, name, parameters, arguments)                               \
  ++tables;                                                                                 \
  {                                                                                         \
    const bool both = kBothV8.count(#name) != 0;                                            \
    const bool second = both || kV8AndS8.count(#name) != 0;                                 \
    const auto slot2 = second ? FORM_OF(v8, name) : FORM_OF(s8, name);                      \
    const auto slot3 = both ? FORM_OF(v8, name) : FORM_OF(s8, name);                        \
    const decltype(&name) expected[] = {                                                    \
        FORM_OF(w7, name), FORM_OF(w7, name), slot2, slot3, FORM_OF(p8, name),              \
        FORM_OF(g9, name), FORM_OF(h9, name)};                                              \
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(name##_arraddr[i], expected[i]) << #name << i; \
  }
#include "primitives/primitives.def"
  EXPECT_EQ(tables, 58);
}

// --- Largest cache, from the leaves of machines that are not here.

using Leaves = std::map<std::pair<uint32_t, uint32_t>, CpuidRegisters>;

// In KiB; the status if there is none.
int cacheOf(uint32_t highestLeaf, Leaves machine) {
  static Leaves leaves;
  leaves = std::move(machine);
  leaves[{0, 0}] = {highestLeaf, 0, 0, 0};
  const CacheSize size = largestCache([](uint32_t leaf, uint32_t subleaf) {
    return leaves[{leaf, subleaf}];
  });
  return size.status == 0 ? size.bytes >> 10 : size.status;
}

// Type, ways, partitions, line size, sets.
CpuidRegisters cacheLeaf(uint32_t type, uint32_t ways, uint32_t partitions, uint32_t line,
                         uint32_t sets) {
  return {type | 0x1C004000, (ways - 1) << 22 | (partitions - 1) << 12 | (line - 1), sets - 1, 0};
}

TEST(LargestCache, ByLeaf) {
  const CpuidRegisters instructions = cacheLeaf(2, 16, 1, 64, 65536);
  EXPECT_EQ(cacheOf(4, {{{4, 0}, cacheLeaf(1, 8, 1, 64, 64)},
                        {{4, 1}, instructions},
                        {{4, 2}, cacheLeaf(3, 16, 2, 64, 4096)},
                        {{4, 3}, cacheLeaf(3, 4, 1, 64, 1024)},
                        {{4, 5}, cacheLeaf(3, 16, 1, 64, 65536)}}),  // behind the end
            8 << 10);
  EXPECT_EQ(cacheOf(11, {{{4, 0}, instructions}}), ippStsUnknownCacheSize);
  EXPECT_EQ(cacheOf(2, {{{2, 0}, {0x665B5001, 0, 0, 0x007A7040}}}), 256);
  EXPECT_EQ(cacheOf(2, {{{2, 0}, {0x00000001, 0x0000007A, 0x000000EC, 0}}}), 24 << 10);
  EXPECT_EQ(cacheOf(2, {{{2, 0}, {0x00000001, 0x0000007A, 0x800000EC, 0}}}), 256) << "not valid";
  EXPECT_EQ(cacheOf(2, {{{2, 0}, {0x00004101, 0, 0, 0}}}), 128) << "the last row";
  EXPECT_EQ(cacheOf(3, {{{2, 0}, {0x00003D01, 0x21, 0, 0}}}), 384);
  EXPECT_EQ(cacheOf(2, {{{2, 0}, {0x00000001, 0x01, 0x02, 0x03}}}), ippStsUnknownCacheSize);
  EXPECT_EQ(cacheOf(2, {{{2, 0}, {0x0000EC02, 0, 0, 0}}}), ippStsUnknownCacheSize);
  EXPECT_EQ(cacheOf(1, {}), ippStsNotSupportedCpu);
}

// --- Allocator

// What the host's allocator gives, is asked for, and gets back.
char *given = nullptr, *returned = nullptr;
size_t requested = 0;

TEST(Allocator, GoesThroughTheHooks) {
  i_malloc = [](size_t size) -> void* {
    requested = size;
    return given;
  };
  i_free = [](void* pointer) { returned = static_cast<char*>(pointer); };
  char memory[256];
  for (given = memory; given < memory + 64; ++given) {  // of every alignment
    auto* block = static_cast<char*>(ippMalloc(100));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
    EXPECT_GE(block, given + 4);
    EXPECT_LE(block + 100, given + requested);
    ippFree(block);
    EXPECT_EQ(returned, given);
  }
  given = nullptr;
  EXPECT_EQ(ippMalloc(5), nullptr);
  requested = 0;
  for (const int length : {0, -1, INT_MIN, INT_MAX, INT_MAX - 67}) {
    EXPECT_EQ(ippMalloc(length), nullptr);
  }
  EXPECT_EQ(requested, 0u) << "refused without asking";
  i_malloc = std::malloc;
  i_free = std::free;
  ippFree(nullptr);
}

}  // namespace
