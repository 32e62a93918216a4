// Argument checks and saturation that the families share.
#ifndef QRX_PRIMITIVES_CHECKS_H_
#define QRX_PRIMITIVES_CHECKS_H_

#include "qrx/primitive_types.h"

namespace {

template <typename... T>
inline bool anyNull(const T*... pointers) {
  return (... || (pointers == nullptr));
}

// Whether the array of planes, or one of its planes, is null.
template <typename T>
inline bool anyPlaneNull(T* const* planes, int count) {
  if (planes == nullptr) return true;
  for (int i = 0; i < count; ++i) {
    if (planes[i] == nullptr) return true;
  }
  return false;
}

inline bool isEmpty(IppiSize size) { return size.width < 1 || size.height < 1; }

inline Ipp8u clampTo8u(int value) {
  return static_cast<Ipp8u>(value < 0 ? 0 : value > 255 ? 255 : value);
}

inline Ipp16s clampTo16s(int value) {
  return static_cast<Ipp16s>(value < -32768 ? -32768 : value > 32767 ? 32767 : value);
}

}  // namespace

#endif  // QRX_PRIMITIVES_CHECKS_H_
