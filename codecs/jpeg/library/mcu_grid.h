// The MCU geometry that encoder and decoder share.
#ifndef QRX_CODECS_JPEG_LIBRARY_MCU_GRID_H_
#define QRX_CODECS_JPEG_LIBRARY_MCU_GRID_H_

#include <cstdint>
#include <optional>

#include "qrx/jpeg_types.h"

struct MCUSize {
  int width;
  int height;
};

// MCU in pixels. Sampling values without a layout of their own count as 16x8.
inline MCUSize mcuSize(_JPEG_MODE mode, _JPEG_SAMPLING sampling) {
  if (mode == JPEG_MODE_LOSSLESS) return {1, 1};
  return {sampling == JPEG_SAMPLING_444 ? 8 : 16, sampling == JPEG_SAMPLING_420 ? 16 : 8};
}

// MCUs that cover `pixels`.
inline int mcuCount(int pixels, int mcuSide) {
  return static_cast<int>((std::int64_t{pixels} + mcuSide - 1) / mcuSide);
}

struct ComponentSampling {
  int horizontal, vertical;            // factors of the frame header
  int reductionAcross, reductionDown;  // how far the component is reduced against the MCU
};

// Layout of the component `index` under 4:4:4, 4:2:0 or, for any other value, 4:2:2.
inline ComponentSampling componentSampling(_JPEG_SAMPLING sampling, int index) {
  if (sampling == JPEG_SAMPLING_444) return {1, 1, 1, 1};
  const int down = sampling == JPEG_SAMPLING_420 ? 2 : 1;
  const bool chroma = index == 1 || index == 2;
  return chroma ? ComponentSampling{1, 1, 2, down} : ComponentSampling{2, down, 1, 1};
}

// The sampling whose layout `count` components have, or none. `factors` gives those of a component
// by its index, as a ComponentSampling, of which the frame header's two count. A component alone is
// 1x1: T.81 A.2.2 has no other block order for its scan.
template <typename Factors>
std::optional<_JPEG_SAMPLING> samplingOf(int count, const Factors& factors) {
  for (const _JPEG_SAMPLING sampling : {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420}) {
    bool matches = true;
    for (int i = 0; i < count; ++i) {
      const ComponentSampling wanted = componentSampling(sampling, i), found = factors(i);
      matches &= wanted.horizontal == found.horizontal && wanted.vertical == found.vertical;
    }
    if (matches) return sampling;
    if (count == 1) break;
  }
  return std::nullopt;
}

#endif  // QRX_CODECS_JPEG_LIBRARY_MCU_GRID_H_
