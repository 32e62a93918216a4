// Flat drawing on a picture: rectangles, lines and text, cut at the edges.
#ifndef QRX_TOOLS_SCENE_PAINTER_H_
#define QRX_TOOLS_SCENE_PAINTER_H_

#include <cstdint>
#include <string_view>

#include "tools/image/image.h"

namespace qrx::tool {

struct Colour {
  std::uint8_t red = 0, green = 0, blue = 0;
};

// Half-open: left <= x < right.
struct Box {
  int left = 0, top = 0, right = 0, bottom = 0;
  int width() const { return right - left; }
  int height() const { return bottom - top; }
  bool empty() const { return left >= right || top >= bottom; }
  bool operator==(const Box&) const = default;
};

Box intersect(const Box& a, const Box& b);
Box wholeImage(const Image& image);

// Stores an opaque pixel; the place must lie in the picture.
inline void putPixel(Image& image, int x, int y, Colour colour) {
  std::uint8_t* pixel = image.row(y) + x * Image::kBytesPerPixel;
  pixel[0] = colour.blue;
  pixel[1] = colour.green;
  pixel[2] = colour.red;
  pixel[3] = 0xFF;
}

void fillBox(Image& image, const Box& box, Colour colour);
// A frame of the given thickness, inside the box.
void outlineBox(Image& image, const Box& box, int thickness, Colour colour);
// Text in magnified glyphs, its upper left corner at (x, y), cut at `clip`.
void drawText(Image& image, const Box& clip, int x, int y, int scale, Colour colour,
              std::string_view text);
int textWidth(std::string_view text, int scale);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_PAINTER_H_
