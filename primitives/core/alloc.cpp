// The layer's aligned allocator, on hooks that a host may replace.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "qrx/primitives.h"

extern "C" {

QRX_API void* (*i_malloc)(size_t) = std::malloc;
QRX_API void* (*i_calloc)(size_t, size_t) = std::calloc;
QRX_API void* (*i_realloc)(void*, size_t) = std::realloc;
QRX_API void (*i_free)(void*) = std::free;

// The block starts 4 to 67 bytes into the raw memory; the four bytes before it hold the distance
// back to the raw pointer.
void* ippMalloc(int length) {
  constexpr int kOverhead = 68;
  if (length < 1 || length > INT_MAX - kOverhead) return nullptr;
  auto* raw = static_cast<char*>(i_malloc(static_cast<size_t>(length) + kOverhead));
  if (raw == nullptr) return nullptr;
  char* block = raw + 67;
  block -= reinterpret_cast<uintptr_t>(block) & 63;
  const auto distance = static_cast<int32_t>(block - raw);
  std::memcpy(block - sizeof distance, &distance, sizeof distance);
  return block;
}

void ippFree(void* ptr) {
  if (ptr == nullptr) return;
  auto* block = static_cast<char*>(ptr);
  int32_t distance;
  std::memcpy(&distance, block - sizeof distance, sizeof distance);
  i_free(block - distance);
}

void* ippAlignPtr(void* ptr, int alignBytes) {
  const auto mask = static_cast<uintptr_t>(alignBytes) - 1;
  const auto address = reinterpret_cast<uintptr_t>(ptr);
  return static_cast<char*>(ptr) + (-(address & mask) & mask);
}

}  // extern "C"
