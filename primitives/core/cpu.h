// CPUID access, shared by the feature and the cache tests.
#ifndef QRX_PRIMITIVES_CORE_CPU_H_
#define QRX_PRIMITIVES_CORE_CPU_H_

#include <cstdint>

struct CpuidRegisters {
  std::uint32_t eax, ebx, ecx, edx;
};

CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf);
bool ipp_has_cpuid();
bool ipp_is_GenuineIntel();

#endif  // QRX_PRIMITIVES_CORE_CPU_H_
