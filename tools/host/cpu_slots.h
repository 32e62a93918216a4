// Which processor forms of the library this machine can run. The library does not test what a
// host forces on it, so the host asks the processor itself.
#ifndef QRX_TOOLS_HOST_CPU_SLOTS_H_
#define QRX_TOOLS_HOST_CPU_SLOTS_H_

namespace qrx::tool {

inline constexpr int kSlotCount = 7;

// What slot 0..6 needs: "SSE2", "SSSE3" and so on.
const char* slotNeeds(int slot);
bool processorRunsSlot(int slot);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_CPU_SLOTS_H_
