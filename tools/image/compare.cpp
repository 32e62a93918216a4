// Peak signal-to-noise ratio of two pictures.
#include "tools/image/compare.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace qrx::tool {

Difference compareImages(const Image& a, const Image& b) {
  if (a.size != b.size) throw Error("the pictures differ in size");
  Difference result;
  std::int64_t squares = 0;
  for (std::size_t i = 0; i < a.pixels.size(); ++i) {
    if (i % Image::kBytesPerPixel == 3) continue;
    const int difference = std::abs(a.pixels[i] - b.pixels[i]);
    squares += difference * difference;
    result.largest = std::max(result.largest, difference);
  }
  const double samples = static_cast<double>(a.pixels.size()) / 4 * 3;
  result.psnr = squares == 0
                    ? std::numeric_limits<double>::infinity()
                    : 10 * std::log10(255.0 * 255.0 * samples / static_cast<double>(squares));
  return result;
}

}  // namespace qrx::tool
