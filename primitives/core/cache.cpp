// Size of the largest data cache, for the decision when a copy should bypass the cache.
#include "primitives/core/cache.h"

#include "qrx/primitives.h"

namespace {

constexpr int kKiB = 1024;
constexpr int kMiB = 1024 * 1024;

// Descriptor bytes of CPUID leaf 2, largest cache first.
struct Descriptor {
  std::uint8_t byte;
  int size;
};

constexpr Descriptor kDescriptors[] = {
    {0xEC, 24 * kMiB},  {0xEB, 18 * kMiB},  {0x4D, 16 * kMiB},  {0xEA, 12 * kMiB},
    {0x4C, 12 * kMiB},  {0xE4, 8 * kMiB},   {0xDE, 8 * kMiB},   {0x4B, 8 * kMiB},
    {0x47, 8 * kMiB},   {0x4E, 6 * kMiB},   {0x4A, 6 * kMiB},   {0xE3, 4 * kMiB},
    {0xDD, 4 * kMiB},   {0xD8, 4 * kMiB},   {0x49, 4 * kMiB},   {0x29, 4 * kMiB},
    {0x46, 4 * kMiB},   {0x48, 3 * kMiB},   {0xE2, 2 * kMiB},   {0xDC, 2 * kMiB},
    {0xD7, 2 * kMiB},   {0xD2, 2 * kMiB},   {0x25, 2 * kMiB},   {0x7D, 2 * kMiB},
    {0x85, 2 * kMiB},   {0x45, 2 * kMiB},   {0xD6, kMiB},       {0xD1, kMiB},
    {0x23, kMiB},       {0x87, kMiB},       {0x7C, kMiB},       {0x78, kMiB},
    {0x84, kMiB},       {0x44, kMiB},       {0xD0, 512 * kKiB}, {0x22, 512 * kKiB},
    {0x7B, 512 * kKiB}, {0x80, 512 * kKiB}, {0x86, 512 * kKiB}, {0x3E, 512 * kKiB},
    {0x7F, 512 * kKiB}, {0x83, 512 * kKiB}, {0x43, 512 * kKiB}, {0x3D, 384 * kKiB},
    {0x21, 256 * kKiB}, {0x7A, 256 * kKiB}, {0x82, 256 * kKiB}, {0x3C, 256 * kKiB},
    {0x3F, 256 * kKiB}, {0x42, 256 * kKiB}, {0x3A, 192 * kKiB}, {0x79, 128 * kKiB},
    {0x39, 128 * kKiB}, {0x3B, 128 * kKiB}, {0x41, 128 * kKiB},
};
static_assert(sizeof(kDescriptors) / sizeof(kDescriptors[0]) == 55);

CacheSize found(int bytes) {
  return bytes == 0 ? CacheSize{ippStsUnknownCacheSize, 0} : CacheSize{ippStsNoErr, bytes};
}

CacheSize fromLeaf4(CpuidFunction readLeaf) {
  constexpr std::uint32_t kInstructionCache = 2;
  int largest = 0;
  for (std::uint32_t subleaf = 0; subleaf < 32; ++subleaf) {
    const CpuidRegisters r = readLeaf(4, subleaf);
    const std::uint32_t type = r.eax & 0x1F;
    if (type == 0) break;
    if (type == kInstructionCache) continue;
    const std::uint32_t ways = (r.ebx >> 22) + 1;
    const std::uint32_t partitions = (r.ebx >> 12 & 0x3FF) + 1;
    const std::uint32_t lineSize = (r.ebx & 0xFFF) + 1;
    const int size = static_cast<int>(ways * partitions * lineSize * (r.ecx + 1));
    if (size > largest) largest = size;
  }
  return found(largest);
}

CacheSize fromLeaf2(CpuidFunction readLeaf) {
  const CpuidRegisters r = readLeaf(2, 0);
  if ((r.eax & 0xFF) != 1) return found(0);
  bool present[256] = {};
  // The low byte of EAX counts the calls that are needed; it is no descriptor.
  const std::uint32_t registers[] = {r.eax, r.ebx, r.ecx, r.edx};
  for (int i = 0; i < 4; ++i) {
    if (registers[i] >> 31 != 0) continue;
    for (int byte = i == 0 ? 1 : 0; byte < 4; ++byte) {
      present[registers[i] >> 8 * byte & 0xFF] = true;
    }
  }
  for (const Descriptor& row : kDescriptors) {
    if (present[row.byte]) return found(row.size);
  }
  return found(0);
}

constexpr IppStatus kNotAsked = 1;
IppStatus g_status = kNotAsked;
int g_bytes = 0;

}  // namespace

CacheSize largestCache(CpuidFunction readLeaf) {
  const std::uint32_t highestLeaf = readLeaf(0, 0).eax;
  if (highestLeaf < 2) return {ippStsNotSupportedCpu, 0};
  return highestLeaf >= 4 ? fromLeaf4(readLeaf) : fromLeaf2(readLeaf);
}

extern "C" IppStatus ippGetMaxCacheSizeB(int* pSizeBytes) {
  if (pSizeBytes == nullptr) return ippStsNullPtrErr;
  // First callers may meet here: they store equal values, the size before the status.
  IppStatus status = __atomic_load_n(&g_status, __ATOMIC_ACQUIRE);
  if (status == kNotAsked) {
    const bool askable = ipp_has_cpuid() && ipp_is_GenuineIntel();
    const CacheSize size = askable ? largestCache(cpuid) : CacheSize{ippStsNotSupportedCpu, 0};
    __atomic_store_n(&g_bytes, size.bytes, __ATOMIC_RELAXED);
    __atomic_store_n(&g_status, size.status, __ATOMIC_RELEASE);
    status = size.status;
  }
  *pSizeBytes = __atomic_load_n(&g_bytes, __ATOMIC_RELAXED);
  return status;
}
