// CPUID and XGETBV behind the choice of a slot.
#include "tools/host/cpu_slots.h"

#include <cpuid.h>

namespace qrx::tool {
namespace {

struct Features {
  bool sse2, ssse3, movbe, sse41, avx, avx2;
};

bool bit(unsigned word, int index) { return (word >> index & 1) != 0; }

bool systemSavesAvxState(unsigned leaf1Ecx) {
  if (!bit(leaf1Ecx, 27)) return false;  // OSXSAVE
  unsigned low = 0, high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & 6) == 6;
}

Features readFeatures() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  Features features{};
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return features;
  const bool fma = bit(ecx, 12);
  features.sse2 = bit(edx, 26);
  features.ssse3 = bit(ecx, 9);
  features.movbe = bit(ecx, 22);
  features.sse41 = bit(ecx, 19);
  features.avx = bit(ecx, 28) && systemSavesAvxState(ecx);
  if (features.avx && fma && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0) {
    features.avx2 = bit(ebx, 5) && bit(ebx, 3) && bit(ebx, 8);
  }
  return features;
}

}  // namespace

const char* slotNeeds(int slot) {
  constexpr const char* kNeeds[kSlotCount] = {
      "SSE2", "SSE2", "SSSE3", "SSSE3 and MOVBE", "SSE4.1", "AVX", "AVX2, FMA and BMI"};
  return kNeeds[slot];
}

bool processorRunsSlot(int slot) {
  const Features f = readFeatures();
  const bool runs[kSlotCount] = {f.sse2,  f.sse2, f.ssse3, f.ssse3 && f.movbe,
                                 f.sse41, f.avx,  f.avx2};
  return slot >= 0 && slot < kSlotCount && runs[slot];
}

}  // namespace qrx::tool
