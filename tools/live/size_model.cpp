// The power law, and a memory for each tile.
#include "tools/live/size_model.h"

#include <cmath>

namespace qrx::tool {

double SizeModel::weight(unsigned quality) {
  const double q = quality < 1 ? 1 : quality;
  const double scale = q < 50 ? 50 / q : 2 - q / 50;
  return 1 / std::sqrt(scale < 0.02 ? 0.02 : scale);
}

unsigned SizeModel::qualityFor(double weight, unsigned lowest, unsigned highest) {
  unsigned quality = highest;
  while (quality > lowest && SizeModel::weight(quality) > weight) --quality;
  return quality;
}

double SizeModel::expected(std::size_t tile, double pixels, unsigned quality) const {
  const double known = density_[tile];
  return (known > 0 ? known : mean_) * pixels * weight(quality);
}

void SizeModel::learn(std::size_t tile, double pixels, unsigned quality, double bytes) {
  constexpr double kNew = 0.5, kOfMany = 0.02;
  const double seen = bytes / pixels / weight(quality);
  double& known = density_[tile];
  known = known > 0 ? known + (seen - known) * kNew : seen;
  mean_ += (seen - mean_) * kOfMany;
}

}  // namespace qrx::tool
