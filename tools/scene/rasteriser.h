// Shaded triangles with a depth buffer.
#ifndef QRX_TOOLS_SCENE_RASTERISER_H_
#define QRX_TOOLS_SCENE_RASTERISER_H_

#include <cstdint>
#include <vector>

#include "tools/scene/painter.h"

namespace qrx::tool {

struct ScreenVertex {
  int x = 0, y = 0;  // in sixteenths of a pixel
  int depth = 0;     // smaller is nearer
  int light = 0;     // factor of the colour, 0..65536
  int gloss = 0;     // white on top, 0..255 in units of 1/256
};

class Rasteriser {
 public:
  // Draws into the part of the picture inside `clip`.
  Rasteriser(Image& image, const Box& clip);

  // Draws a triangle whose corners run clockwise on the screen; others are seen from behind.
  void draw(const ScreenVertex& a, const ScreenVertex& b, const ScreenVertex& c, Colour colour);

 private:
  Image& image_;
  Box clip_;
  std::vector<int> depth_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_RASTERISER_H_
