// How many bytes a tile comes to at a quality, learned from the tiles that were sent.
#ifndef QRX_TOOLS_LIVE_SIZE_MODEL_H_
#define QRX_TOOLS_LIVE_SIZE_MODEL_H_

#include <cstddef>
#include <vector>

namespace qrx::tool {

class SizeModel {
 public:
  explicit SizeModel(std::size_t tiles) : density_(tiles, 0.0) {}

  // Bytes of so many pixels of the tile.
  double expected(std::size_t tile, double pixels, unsigned quality) const;
  void learn(std::size_t tile, double pixels, unsigned quality, double bytes);

  // How the size goes with the quality, 1 for quality 50: the inverse root of the factor that
  // JPEG's usual quantiser tables are scaled by.
  static double weight(unsigned quality);
  // The best quality, `lowest` to `highest`, whose weight is no more than this.
  static unsigned qualityFor(double weight, unsigned lowest, unsigned highest);

 private:
  double mean_ = 0.1;            // bytes a pixel at weight 1, of all tiles
  std::vector<double> density_;  // of each; 0: not known yet
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_SIZE_MODEL_H_
