// Dispatch, processor tests, cache size, allocator and version records.
#include <cpuid.h>
#include <gtest/gtest.h>

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
    return {ippJumpIndexForMergedLibs, ippJumpIndexForMergedLibsLP, ippGetEnabledCpuFeatures()};
  }

 private:
  uint64_t detected_ = 0;
};

bool isIntel() {
  unsigned a, b, c, d;
  __cpuid(0, a, b, c, d);
  char vendor[12];
  std::memcpy(vendor, &b, 4);
  std::memcpy(vendor + 4, &d, 4);
  std::memcpy(vendor + 8, &c, 4);
  return std::memcmp(vendor, "GenuineIntel", 12) == 0;
}

TEST_F(Core, DetectsFeatures) {
  uint64_t word = 0;
  uint32_t registers[4] = {};
  ASSERT_EQ(ippGetCpuFeatures(&word, registers), 0);
  const auto expect = [&](uint64_t bit, bool present) { EXPECT_EQ((word & bit) != 0, present); };
  __builtin_cpu_init();
  expect(0x4, __builtin_cpu_supports("sse2"));
  expect(0x10, __builtin_cpu_supports("ssse3"));
  expect(0x40, __builtin_cpu_supports("sse4.1"));
  expect(0x80, __builtin_cpu_supports("sse4.2"));
  expect(0x300, __builtin_cpu_supports("avx"));
  expect(0x8000, __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                     __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma"));
  EXPECT_EQ(word >> 16, 0u);
  unsigned a, b, c, d;
  __cpuid(1, a, b, c, d);
  EXPECT_EQ(registers[0], a);
  EXPECT_EQ(registers[2], c);
  EXPECT_EQ(registers[3], d);
  EXPECT_EQ(ippGetCpuFeatures(nullptr, registers), ippStsNullPtrErr);
}

TEST_F(Core, SelectsTheBestForm) {
  EXPECT_EQ(ippInit(), isIntel() ? 0 : ippStsOtherVendorCpu);
  int best = 0;
  for (const Slot& slot : runnableSlots()) best = slot.index;
  if (best > 3) {
    EXPECT_EQ(ippJumpIndexForMergedLibs, best);
  }
  EXPECT_EQ(ippStaticInit(), isIntel() ? 0 : ippStsOtherVendorCpu);

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
      {0x3, {0, 0, 0x3}},
  };
  for (const auto& [features, expected] : cases) {
    EXPECT_EQ(select(features), expected) << std::hex << features;
  }
  select(0x3);
  EXPECT_EQ(ippInit(), isIntel() ? ippStsNotSupportedCpu : ippStsOtherVendorCpu);
}

TEST_F(Core, ForcedSelection) {
  struct Row {
    std::vector<int32_t> selectors;
    int slot, lowPower;
    uint64_t enabled;
  };
  const Row rows[] = {
      {{0, 6, 7, 8, 9, 0xA, 0xB, 0x11, 0x20, 0x41, 0x42}, 0, 0, 0x7},
      {{0x21, 0x22, 0x43}, 2, 0, 0x1F},
      {{0x23, 0x44}, 4, 0, 0x5F},
      {{0x24}, 3, 1, 0x3F},
      {{0x25, 0x45}, 4, 0, 0xDF},
      {{0x26, 0x47}, 4, 0, 0xCDF},
      {{0x46}, 5, 0, 0xFDF},
      {{0x49}, 5, 0, 0x6FDF},
      {{0x4A}, 6, 0, 0xEFFF},
  };
  std::set<int32_t> known = {-1};
  uint64_t word = 0;
  for (const Row& row : rows) {
    for (const int32_t selector : row.selectors) {
      known.insert(selector);
      EXPECT_EQ(ippInitCpu(selector), 0) << selector;
      EXPECT_EQ(ippJumpIndexForMergedLibs, row.slot) << selector;
      EXPECT_EQ(ippJumpIndexForMergedLibsLP, row.lowPower) << selector;
      EXPECT_EQ(ippGetEnabledCpuFeatures(), row.enabled) << selector;
      ippGetCpuFeatures(&word, nullptr);
      EXPECT_EQ(word, row.enabled) << selector;
    }
  }
  for (const int32_t selector : {1, 2, 3, 4, 5, 0x10, 0x40, 0x60}) {
    known.insert(selector);
    ippSetCpuFeaturesMask(0xABC);
    EXPECT_EQ(ippInitCpu(selector), ippStsNotSupportedCpu);
    EXPECT_EQ(ippJumpIndexForMergedLibs, 6) << "the slot stays";
    ippGetCpuFeatures(&word, nullptr);
    EXPECT_EQ(word, 0xABCu);
  }
  for (int32_t selector = -2; selector < 0x100; ++selector) {
    if (known.count(selector) == 0) {
      ippSetCpuFeaturesMask(0x123);
      EXPECT_EQ(ippInitCpu(selector), ippStsUnknownCpuType) << selector;
      ippGetCpuFeatures(&word, nullptr);
      EXPECT_EQ(word, 0xABCu);
    }
  }
}

TEST_F(Core, EnabledFeatures) {
  ippSetCpuFeaturesMask(0x45);
  EXPECT_EQ(ownGetFeature(0x44), 1);
  EXPECT_EQ(ownGetFeature(0x46), 0);
  EXPECT_EQ(ownGetFeature(0), 1);
  EXPECT_EQ(ippIsCpuEnabled(99), 1);
  EXPECT_EQ(ippEnableCpu(99), 0);
}

#ifndef QRX_PORTABLE
TEST_F(Core, VersionRecords) {
  const char* const expected[][2] = {
      {"w7", "veigri SSE2 (w7)"}, {"w7", "veigri SSE2 (w7)"},       {"v8", "veigri SSSE3 (v8)"},
      {"s8", "veigri Atom (s8)"}, {"p8", "veigri SSE4.1/4.2 (p8)"}, {"g9", "veigri AVX (g9)"},
      {"h9", "veigri AVX2 (h9)"},
  };
  ippSetCpuFeaturesMask(0);
  for (size_t slot = 0; slot < 7; ++slot) {
    const IppLibraryVersion* version = ippjGetLibVersion_arraddr[slot]();
    EXPECT_EQ(version->major, 7);
    EXPECT_EQ(version->minor, 1);
    EXPECT_EQ(version->majorBuild, 1);
    EXPECT_EQ(version->build, 37466);
    EXPECT_EQ(std::string(version->targetCpu, 4), std::string(expected[slot][0]) + '\0' + '\0');
    EXPECT_STREQ(version->Name, expected[slot][1]);
    EXPECT_STREQ(version->Version, "7.1.1 (r37466)");
    EXPECT_STREQ(version->BuildDate, "Sep 24 2012");
  }
  ippSetCpuFeaturesMask(0x80);
  EXPECT_STREQ(ippjGetLibVersion_arraddr[4]()->Name, "veigri SSE4.1/4.2 (p8)+");
}

const std::set<std::string> kBothV8 = {
    "ippiRGBToYCbCr_JPEG_8u_C3P3R",
    "ippiRGBToY_JPEG_8u_C3C1R",
    "ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R",
    "ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R",
    "ippiSampleUpH2V2_JPEG_8u_C1R",
    "ippiConvert_8u16s_C1R",
    "ippiCopy_8u_C4P4R",
    "ippiCopy_8u_P3C3R",
};
const std::set<std::string> kV8AndS8 = {"ippjGetLibVersion", "ippiConvert_16s8u_C1R",
                                        "ippiCopy_8u_P4C4R"};
constexpr bool kPortable = false;
#else
constexpr bool kPortable = true;
#endif

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

TEST(Tables, HoldTheFormsOfTheirSlots) {
#include "primitives/primitives.def"
  EXPECT_EQ(tables, 58);
}

TEST_F(Core, EntryPointsFollowTheSlotWord) {
  for (const Slot& slot : runnableSlots()) {
    ippJumpIndexForMergedLibs = slot.index;
    if (!kPortable) {
      EXPECT_STREQ(ippjGetLibVersion()->targetCpu, slot.code);
    }
    Ipp8u byte = 1;
    EXPECT_EQ(ippsZero_8u(&byte, 1), 0);
    EXPECT_EQ(byte, 0);
  }
}

// --- Largest cache, from the leaves of machines that are not here.

std::map<std::pair<uint32_t, uint32_t>, CpuidRegisters>& leaves() {
  static std::map<std::pair<uint32_t, uint32_t>, CpuidRegisters> instance;
  return instance;
}

CpuidRegisters readLeaf(uint32_t leaf, uint32_t subleaf) {
  const auto found = leaves().find({leaf, subleaf});
  return found == leaves().end() ? CpuidRegisters{} : found->second;
}

CacheSize cacheOf(std::map<std::pair<uint32_t, uint32_t>, CpuidRegisters> machine) {
  leaves() = std::move(machine);
  return largestCache(readLeaf);
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

TEST(LargestCache, OfThisMachine) {
  EXPECT_EQ(ippGetMaxCacheSizeB(nullptr), ippStsNullPtrErr);
  int first = -1, second = -2;
  const IppStatus status = ippGetMaxCacheSizeB(&first);
  EXPECT_EQ(ippGetMaxCacheSizeB(&second), status);
  EXPECT_EQ(first, second);
  EXPECT_EQ(status == 0, first > 0);
}

// --- Allocator

size_t lastRequest = 0;
void* lastFreed = nullptr;
void* lastGiven = nullptr;

// Pointers of every alignment that a host's allocator may have.
size_t skew = 0;
void* skewedMalloc(size_t size) {
  lastRequest = size;
  lastGiven = static_cast<char*>(std::malloc(size + 64)) + skew;
  return lastGiven;
}
void skewedFree(void* pointer) {
  lastFreed = pointer;
  std::free(static_cast<char*>(pointer) - skew);
}
void* noMemory(size_t size) {
  lastRequest = size;
  return nullptr;
}

TEST(Allocator, AlignsAndFrees) {
  for (const int length : {1, 63, 64, 1000000}) {
    auto* block = static_cast<char*>(ippMalloc(length));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
    std::memset(block, 1, static_cast<size_t>(length));
    ippFree(block);
  }
  ippFree(nullptr);
}

TEST(Allocator, GoesThroughTheHooks) {
  const auto savedMalloc = i_malloc;
  const auto savedFree = i_free;
  i_malloc = skewedMalloc;
  i_free = skewedFree;
  for (skew = 0; skew < 64; ++skew) {
    auto* block = static_cast<char*>(ippMalloc(100));
    EXPECT_EQ(lastRequest, 168u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
    EXPECT_GE(block - static_cast<char*>(lastGiven), 4);
    EXPECT_LE(block - static_cast<char*>(lastGiven), 67);
    std::memset(block, 1, 100);
    ippFree(block);
    EXPECT_EQ(lastFreed, lastGiven);
  }
  i_malloc = noMemory;
  EXPECT_EQ(ippMalloc(5), nullptr);
  lastRequest = 0;
  for (const int length : {0, -1, INT_MIN, INT_MAX, INT_MAX - 67}) {
    EXPECT_EQ(ippMalloc(length), nullptr);
  }
  EXPECT_EQ(lastRequest, 0u) << "refused without asking";
  i_malloc = savedMalloc;
  i_free = savedFree;
}

TEST(Allocator, AlignPtr) {
  alignas(64) char memory[128];
  EXPECT_EQ(ippAlignPtr(memory, 64), memory);
  EXPECT_EQ(ippAlignPtr(memory + 1, 64), memory + 64);
  EXPECT_EQ(ippAlignPtr(memory + 63, 32), memory + 64);
  EXPECT_EQ(ippAlignPtr(memory + 33, 1), memory + 33);
  EXPECT_EQ(ippAlignPtr(nullptr, 64), nullptr);
}

}  // namespace
