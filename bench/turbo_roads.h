// The same work through libjpeg-turbo's TurboJPEG interface, with the accurate transforms in both
// directions (its default takes the fast one when compressing) and one handle kept.
#ifndef QRX_BENCH_TURBO_ROADS_H_
#define QRX_BENCH_TURBO_ROADS_H_

#include <cstdint>
#include <vector>

#include "tools/host/roads.h"

namespace qrx::bench {

// Pixels as the peer takes them: rows of `channels` bytes a pixel, B, G, R and an unused one, or
// gray.
struct TurboPicture {
  const std::uint8_t* pixels;
  tool::Size size;
  int channels;
};

struct TurboSettings {
  int quality;
  tool::Sampling sampling;
  bool progressive = false;
};

TurboPicture turboPicture(const tool::Image& image);

// One whole JPEG. The pixels have to outlive the work.
tool::Work turboEncode(const TurboPicture& picture, const TurboSettings& settings);
// Any JPEG of the given size to pixels of `channels` bytes.
tool::Work turboDecode(std::vector<std::uint8_t> stream, tool::Size size, int channels);

// A picture cut into rectangles of whole MCUs, so that their JPEGs have about 1250 bytes on
// average: what a run of packets is without packets. Each JPEG brings its tables. A rectangle is
// one row of MCUs high where such a row takes more than that, else as wide as the picture.
tool::Size turboTileSize(const TurboPicture& picture, const TurboSettings& settings);
tool::Work turboTilesOut(const TurboPicture& picture, const TurboSettings& settings,
                         tool::Size tile);
tool::Work turboTilesIn(const TurboPicture& picture, const TurboSettings& settings,
                        tool::Size tile);

}  // namespace qrx::bench

#endif  // QRX_BENCH_TURBO_ROADS_H_
