// Whole-number arithmetic for the scene, so that a frame has the same bytes on every machine.
#ifndef QRX_TOOLS_SCENE_FIXED_H_
#define QRX_TOOLS_SCENE_FIXED_H_

#include <cstdint>

namespace qrx::tool {

// Fixed point with 14 fractional bits.
inline constexpr int kFixedBits = 14;
inline constexpr int kFixedOne = 1 << kFixedBits;

constexpr int fixedMultiply(int a, int b) {
  return static_cast<int>(std::int64_t{a} * b / kFixedOne);
}

// Sine in fixed point of an angle of which 65536 make a full turn, by the rational approximation
// 16p / (5h^2 - 4p) with p = x (h - x), which is within 0.2% of the sine.
constexpr int fixedSine(int angle) {
  constexpr std::int64_t kHalf = 32768;
  const std::int64_t x = angle & 32767;
  const std::int64_t p = x * (kHalf - x);
  const auto sine = static_cast<int>(16 * p * kFixedOne / (5 * kHalf * kHalf - 4 * p));
  return (angle & 32768) != 0 ? -sine : sine;
}

constexpr int fixedCosine(int angle) { return fixedSine(angle + 16384); }

// A well-mixed number for each pair of coordinates.
constexpr std::uint32_t hashOf(std::uint32_t x, std::uint32_t y) {
  std::uint32_t h = x * 374761393u + y * 668265263u + 0x9E3779B9u;
  h = (h ^ h >> 15) * 2246822519u;
  h = (h ^ h >> 13) * 3266489917u;
  return h ^ h >> 16;
}

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_FIXED_H_
