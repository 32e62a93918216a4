// Processor tests where there is no processor to ask: WebAssembly has vectors of 128 bits, which
// are what the form of slot 4 is made of, or the module does not load at all.
#include "primitives/core/cpu.h"

#include "qrx/primitives.h"

bool ipp_has_cpuid() { return false; }
bool ipp_is_GenuineIntel() { return false; }
CpuidRegisters cpuid(std::uint32_t, std::uint32_t) { return {}; }

extern "C" IppStatus ippInit() {
  constexpr int kSlotOf128Bits = 4;
  ippJumpIndexForMergedLibs = kSlotOf128Bits;
  return ippStsNoErr;
}
