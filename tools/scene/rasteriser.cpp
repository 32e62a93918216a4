// Scan conversion by edge functions; depth, light and gloss as planes over the screen.
#include "tools/scene/rasteriser.h"

#include <algorithm>
#include <limits>

namespace qrx::tool {
namespace {

constexpr int kSubPixel = 16;

// Twice the area on the left of a -> b seen from p; positive inside a clockwise triangle, as y
// runs downwards.
std::int64_t edge(const ScreenVertex& a, const ScreenVertex& b, int x, int y) {
  return std::int64_t{b.x - a.x} * (y - a.y) - std::int64_t{b.y - a.y} * (x - a.x);
}

// A value that varies linearly over the screen, with 16 fractional bits.
struct Plane {
  Plane(const ScreenVertex& a, const ScreenVertex& b, const ScreenVertex& c, std::int64_t area,
        int ScreenVertex::*value)
      : originX(a.x), originY(a.y), start(std::int64_t{a.*value} << 16) {
    const std::int64_t ab = b.*value - a.*value, ac = c.*value - a.*value;
    stepX = limit(((ab * (c.y - a.y) - ac * (b.y - a.y)) << 16) / area);
    stepY = limit(((ac * (b.x - a.x) - ab * (c.x - a.x)) << 16) / area);
  }
  std::int64_t at(int x, int y) const {
    return start + stepX * (x - originX) + stepY * (y - originY);
  }

  // Slivers have slopes without bound; a step this large has no pixel left to act on.
  static std::int64_t limit(std::int64_t step) {
    constexpr std::int64_t kLargest = std::int64_t{1} << 40;
    return std::clamp(step, -kLargest, kLargest);
  }

  int originX, originY;
  std::int64_t start;
  std::int64_t stepX = 0, stepY = 0;  // per sub-pixel
};

std::uint8_t shade(std::uint8_t colour, std::int64_t light, std::int64_t gloss) {
  const std::int64_t value = ((colour * (light >> 16)) >> 16) + (gloss >> 24);
  return static_cast<std::uint8_t>(std::clamp<std::int64_t>(value, 0, 255));
}

Box boundingBox(const ScreenVertex& a, const ScreenVertex& b, const ScreenVertex& c) {
  return {std::min({a.x, b.x, c.x}) / kSubPixel - 1, std::min({a.y, b.y, c.y}) / kSubPixel - 1,
          std::max({a.x, b.x, c.x}) / kSubPixel + 2, std::max({a.y, b.y, c.y}) / kSubPixel + 2};
}

}  // namespace

Rasteriser::Rasteriser(Image& image, const Box& clip)
    : image_(image), clip_(intersect(clip, wholeImage(image))) {
  if (clip_.empty()) return;
  depth_.assign(static_cast<std::size_t>(clip_.width()) * static_cast<std::size_t>(clip_.height()),
                std::numeric_limits<int>::max());
}

void Rasteriser::draw(const ScreenVertex& a, const ScreenVertex& b, const ScreenVertex& c,
                      Colour colour) {
  const std::int64_t area = edge(a, b, c.x, c.y);
  if (area <= 0) return;
  const Plane depth(a, b, c, area, &ScreenVertex::depth);
  const Plane light(a, b, c, area, &ScreenVertex::light);
  const Plane gloss(a, b, c, area, &ScreenVertex::gloss);
  const Box box = intersect(clip_, boundingBox(a, b, c));
  for (int y = box.top; y < box.bottom; ++y) {
    const int sy = y * kSubPixel + kSubPixel / 2;
    int* depthRow = depth_.data() + static_cast<std::ptrdiff_t>(y - clip_.top) * clip_.width();
    for (int x = box.left; x < box.right; ++x) {
      const int sx = x * kSubPixel + kSubPixel / 2;
      if (edge(a, b, sx, sy) < 0 || edge(b, c, sx, sy) < 0 || edge(c, a, sx, sy) < 0) continue;
      const auto z = static_cast<int>(depth.at(sx, sy) >> 16);
      int& nearest = depthRow[x - clip_.left];
      if (z >= nearest) continue;
      nearest = z;
      const std::int64_t l = light.at(sx, sy), g = gloss.at(sx, sy);
      putPixel(image_, x, y,
               {shade(colour.red, l, g), shade(colour.green, l, g), shade(colour.blue, l, g)});
    }
  }
}

}  // namespace qrx::tool
