// Differences sample by sample: their sum, the worst place, and a map.
#include "tools/image/compare.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "tools/image/shade.h"

namespace qrx::tool {
namespace {

void checkSizes(const Image& a, const Image& b) {
  if (a.size != b.size) throw Error("the pictures differ in size");
}

struct PixelDifference {
  int squares = 0;
  int largest = 0;
};

PixelDifference compare(const std::uint8_t* a, const std::uint8_t* b) {
  PixelDifference result;
  for (int i = 0; i < 3; ++i) {
    const int difference = std::abs(a[i] - b[i]);
    result.squares += difference * difference;
    result.largest = std::max(result.largest, difference);
  }
  return result;
}

}  // namespace

Difference compareImages(const Image& a, const Image& b) {
  checkSizes(a, b);
  Difference result;
  std::int64_t squares = 0, worst = 0, differing = 0;
  std::vector<std::int64_t> blocks;  // of one row of the grid
  for (int y = 0; y < a.size.height; ++y) {
    if (y % Difference::kBlock == 0) {
      blocks.assign(static_cast<std::size_t>(a.size.width / Difference::kBlock) + 1, 0);
    }
    for (int x = 0; x < a.size.width; ++x) {
      const int at = x * Image::kBytesPerPixel;
      const PixelDifference pixel = compare(a.row(y) + at, b.row(y) + at);
      blocks[static_cast<std::size_t>(x / Difference::kBlock)] += pixel.squares;
      squares += pixel.squares;
      differing += pixel.squares != 0 ? 1 : 0;
      result.largest = std::max(result.largest, pixel.largest);
    }
    // A block that goes on below only gets worse.
    const auto most = std::max_element(blocks.begin(), blocks.end());
    if (*most <= worst) continue;
    worst = *most;
    result.worstX = static_cast<int>(most - blocks.begin()) * Difference::kBlock;
    result.worstY = y / Difference::kBlock * Difference::kBlock;
  }
  const auto pixels = static_cast<double>(a.size.pixels());
  result.differing = 100 * static_cast<double>(differing) / pixels;
  result.psnr = squares == 0
                    ? std::numeric_limits<double>::infinity()
                    : 10 * std::log10(255.0 * 255.0 * 3 * pixels / static_cast<double>(squares));
  return result;
}

Image differenceMap(const Image& reference, const Image& other) {
  checkSizes(reference, other);
  // Blue, red, yellow; their strength goes with the logarithm, or little would be seen of the
  // small.
  constexpr Shade kSmall = {230, 120, 40}, kMiddle = {40, 50, 235}, kLarge = {60, 240, 255};
  Image map = reference;
  dim(map);
  for (std::size_t i = 0; i < map.pixels.size(); i += Image::kBytesPerPixel) {
    const int largest = compare(&reference.pixels[i], &other.pixels[i]).largest;
    if (largest == 0) continue;
    const int strength = static_cast<int>(32 * std::log2(1.0 + largest));  // 32 to 256
    const bool upper = strength > 160;
    Shade colour = upper ? kMiddle : kSmall;
    const int share = std::clamp((upper ? strength - 160 : strength - 64) * 256 / 96, 0, 256);
    blend(colour.data(), upper ? kLarge : kMiddle, share);
    blend(&map.pixels[i], colour, std::min(256, 16 + strength));
  }
  return map;
}

}  // namespace qrx::tool
