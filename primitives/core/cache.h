// Largest data cache from a processor's CPUID leaves, apart from the processor itself so that
// tests can feed it leaves of other machines.
#ifndef QRX_PRIMITIVES_CORE_CACHE_H_
#define QRX_PRIMITIVES_CORE_CACHE_H_

#include <cstdint>

#include "primitives/core/cpu.h"
#include "qrx/primitive_types.h"

struct CacheSize {
  IppStatus status;  // 0, ippStsNotSupportedCpu or ippStsUnknownCacheSize
  int bytes;         // 0 unless status is 0
};

using CpuidFunction = CpuidRegisters (*)(std::uint32_t leaf, std::uint32_t subleaf);

// Asks leaf 4 where the processor has it, else the descriptors of leaf 2.
CacheSize largestCache(CpuidFunction readLeaf);

#endif  // QRX_PRIMITIVES_CORE_CACHE_H_
