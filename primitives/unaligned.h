// Access to caller memory of more than a byte: nothing that callers pass needs to be aligned.
// The copies fold to plain loads and stores.
#ifndef QRX_PRIMITIVES_UNALIGNED_H_
#define QRX_PRIMITIVES_UNALIGNED_H_

#include <stddef.h>

#include "qrx/primitive_types.h"

namespace {

template <typename T>
inline T load(const T* p) {
  const void* bytes = p;  // so that no compiler takes T's alignment for granted
  T value;
  __builtin_memcpy(&value, bytes, sizeof value);
  return value;
}

// Keeps the low bits of `value`.
template <typename T>
inline void store(T* p, int value) {
  void* bytes = p;
  const T narrowed = static_cast<T>(value);
  __builtin_memcpy(bytes, &narrowed, sizeof narrowed);
}

// Row `row` of a plane whose rows lie `step` bytes apart.
template <typename T>
inline const T* rowAt(const T* base, int row, int step) {
  return reinterpret_cast<const T*>(reinterpret_cast<const char*>(base) + ptrdiff_t{row} * step);
}

template <typename T>
inline T* rowAt(T* base, int row, int step) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(base) + ptrdiff_t{row} * step);
}

}  // namespace

#endif  // QRX_PRIMITIVES_UNALIGNED_H_
