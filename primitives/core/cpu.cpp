// Processor tests, and the choice of the slot that every entry point reads.
#include "primitives/core/cpu.h"

#include <cpuid.h>

#include "qrx/primitives.h"

namespace {

// Feature bits, in the order of the exported feature word.
enum Feature : uint64_t {
  kMmx = 1u << 0,
  kSse = 1u << 1,
  kSse2 = 1u << 2,
  kSse3 = 1u << 3,
  kSsse3 = 1u << 4,
  kMovbe = 1u << 5,
  kSse41 = 1u << 6,
  kSse42 = 1u << 7,
  kAvx = 1u << 8,
  kAvxState = 1u << 9,
  kAes = 1u << 10,
  kClmul = 1u << 11,
  kFamilyB = 1u << 12,
  kRdrand = 1u << 13,
  kF16c = 1u << 14,
  kAvx2 = 1u << 15,
};

// Both words are written with equal values by every ippInit, so relaxed order is enough.
uint64_t g_detected = 0;
bool g_detectedDone = false;
uint64_t g_enabled = kMmx | kSse;

template <typename T>
T load(const T& word) {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

template <typename T>
void store(T& word, T value) {
  __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

// Whether the operating system saves the YMM registers.
bool ipp_is_avx_extension(uint32_t leaf1Ecx) {
  constexpr uint32_t kOsxsaveAndAvx = 1u << 27 | 1u << 28;
  if ((leaf1Ecx & kOsxsaveAndAvx) != kOsxsaveAndAvx) return false;
  uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & 6) == 6;
}

uint64_t readFeatures() {
  const CpuidRegisters leaf1 = cpuid(1, 0);
  uint64_t word = 0;
  const auto take = [&word](uint32_t reg, int bit, Feature feature) {
    if (reg >> bit & 1) word |= feature;
  };
  take(leaf1.edx, 23, kMmx);
  take(leaf1.edx, 25, kSse);
  take(leaf1.edx, 26, kSse2);
  take(leaf1.ecx, 0, kSse3);
  take(leaf1.ecx, 9, kSsse3);
  take(leaf1.ecx, 22, kMovbe);
  take(leaf1.ecx, 19, kSse41);
  take(leaf1.ecx, 20, kSse42);
  take(leaf1.ecx, 28, kAvx);
  if (ipp_is_avx_extension(leaf1.ecx)) word |= kAvxState;
  take(leaf1.ecx, 25, kAes);
  take(leaf1.ecx, 1, kClmul);
  if ((leaf1.eax & 0xF00) == 0xB00) take(cpuid(0x20000001, 0).edx, 1, kFamilyB);
  take(leaf1.ecx, 30, kRdrand);
  take(leaf1.ecx, 29, kF16c);
  constexpr uint32_t kFma = 1u << 12;
  constexpr uint32_t kAvx2Bmi1Bmi2 = 1u << 5 | 1u << 3 | 1u << 8;
  if ((leaf1.ecx & kFma) != 0 && (cpuid(7, 0).ebx & kAvx2Bmi1Bmi2) == kAvx2Bmi1Bmi2) word |= kAvx2;
  return word;
}

// The detected word; false without CPUID.
bool ownGetMaskFeatures(uint64_t* word) {
  if (!load(g_detectedDone)) {
    if (!ipp_has_cpuid()) return false;
    store(g_detected, readFeatures());
    store(g_detectedDone, true);
  }
  *word = load(g_detected);
  return true;
}

void select(int32_t slot, int32_t lowPower, uint64_t enabled) {
  store(ippJumpIndexForMergedLibs, slot);
  store(ippJumpIndexForMergedLibsLP, lowPower);
  store(g_enabled, enabled);
}

// One row of the selection: all of `needed` detected gives the slot and cuts the features in use.
struct Selection {
  uint64_t needed;
  int32_t slot;
  int32_t lowPower;
  uint64_t mask;
};

constexpr Selection kSelections[] = {
    {kAvx | kAvxState | kAvx2, 6, 0, 0xEFFF},
    {kAvx | kAvxState, 5, 0, 0x6FDF},
    {kSse41, 4, 0, 0xCDF},
    {kMovbe | kSsse3, 3, 1, 0x3F},
    {kSsse3, 2, 0, 0x1F},
    {kSse2, 1, 0, 0x7},
};

// Forced selections by selector. Families without a form of their own leave the slot alone.
struct Forced {
  int32_t selector;
  int32_t slot;
  int32_t lowPower;
  uint64_t enabled;
};

constexpr int32_t kNoForm = -1;
constexpr Forced kForced[] = {
    {0x00, 0, 0, 0x7},     {0x06, 0, 0, 0x7},     {0x07, 0, 0, 0x7},     {0x08, 0, 0, 0x7},
    {0x09, 0, 0, 0x7},     {0x0A, 0, 0, 0x7},     {0x0B, 0, 0, 0x7},     {0x11, 0, 0, 0x7},
    {0x20, 0, 0, 0x7},     {0x41, 0, 0, 0x7},     {0x42, 0, 0, 0x7},     {0x21, 2, 0, 0x1F},
    {0x22, 2, 0, 0x1F},    {0x43, 2, 0, 0x1F},    {0x23, 4, 0, 0x5F},    {0x44, 4, 0, 0x5F},
    {0x24, 3, 1, 0x3F},    {0x25, 4, 0, 0xDF},    {0x45, 4, 0, 0xDF},    {0x26, 4, 0, 0xCDF},
    {0x47, 4, 0, 0xCDF},   {0x46, 5, 0, 0xFDF},   {0x49, 5, 0, 0x6FDF},  {0x4A, 6, 0, 0xEFFF},
    {0x01, kNoForm, 0, 0}, {0x02, kNoForm, 0, 0}, {0x03, kNoForm, 0, 0}, {0x04, kNoForm, 0, 0},
    {0x05, kNoForm, 0, 0}, {0x10, kNoForm, 0, 0}, {0x40, kNoForm, 0, 0}, {0x60, kNoForm, 0, 0},
};

IppStatus ownippStaticInitCpu(int32_t selector) {
  for (const Forced& row : kForced) {
    if (row.selector != selector) continue;
    if (row.slot != kNoForm) select(row.slot, row.lowPower, row.enabled);
    store(g_detected, load(g_enabled));
    store(g_detectedDone, true);
    return row.slot != kNoForm ? ippStsNoErr : ippStsNotSupportedCpu;
  }
  return ippStsUnknownCpuType;
}

}  // namespace

bool ipp_has_cpuid() {
#ifdef __x86_64__
  return true;  // every 64-bit processor has the instruction
#else
  return __get_cpuid_max(0, nullptr) != 0;
#endif
}

bool ipp_is_GenuineIntel() {
  const CpuidRegisters leaf0 = cpuid(0, 0);
  return leaf0.ebx == signature_INTEL_ebx && leaf0.edx == signature_INTEL_edx &&
         leaf0.ecx == signature_INTEL_ecx;
}

CpuidRegisters cpuid(uint32_t leaf, uint32_t subleaf) {
  CpuidRegisters r;
  __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
  return r;
}

extern "C" {

IppStatus ippStaticInit() {
  uint64_t word = 0;
  IppStatus status = ippStsNoErr;
  if (!ownGetMaskFeatures(&word)) {
    select(0, 0, kMmx | kSse);
    return ippStsOtherVendorCpu;
  }
  const Selection* chosen = nullptr;
  for (const Selection& row : kSelections) {
    if ((word & row.needed) == row.needed) {
      chosen = &row;
      break;
    }
  }
  if (chosen != nullptr) {
    select(chosen->slot, chosen->lowPower, word & chosen->mask);
  } else {
    select(0, 0, word & (kMmx | kSse));
    status = ippStsNotSupportedCpu;
  }
  return ipp_is_GenuineIntel() ? status : ippStsOtherVendorCpu;
}

IppStatus ippInit() { return ippStaticInit(); }

IppStatus ippInitCpu(int32_t selector) {
  return selector == -1 ? ippInit() : ownippStaticInitCpu(selector);
}

IppStatus ippGetCpuFeatures(uint64_t* pFeatures, uint32_t* pRegs) {
  uint64_t word = 0;
  if (!ownGetMaskFeatures(&word)) return ippStsNotSupportedCpu;
  if (pFeatures == nullptr) return ippStsNullPtrErr;
  *pFeatures = word;
  if (pRegs != nullptr) {
    const CpuidRegisters leaf1 = cpuid(1, 0);
    pRegs[0] = leaf1.eax;
    pRegs[1] = leaf1.ebx;
    pRegs[2] = leaf1.ecx;
    pRegs[3] = leaf1.edx;
  }
  return ippStsNoErr;
}

uint64_t ippGetEnabledCpuFeatures() { return load(g_enabled); }

IppStatus ippSetCpuFeaturesMask(uint64_t mask) {
  store(g_enabled, mask);
  return ippStsNoErr;
}

int ippIsCpuEnabled(int32_t) { return 1; }

IppStatus ippEnableCpu(int32_t) { return ippStsNoErr; }

int ownGetFeature(uint64_t features) { return (load(g_enabled) & features) == features ? 1 : 0; }

}  // extern "C"
