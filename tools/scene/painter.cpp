// Drawing by clipped boxes.
#include "tools/scene/painter.h"

#include <algorithm>

#include "tools/scene/font.h"

namespace qrx::tool {

Box intersect(const Box& a, const Box& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

Box wholeImage(const Image& image) { return {0, 0, image.size.width, image.size.height}; }

void fillBox(Image& image, const Box& box, Colour colour) {
  const Box inside = intersect(box, wholeImage(image));
  for (int y = inside.top; y < inside.bottom; ++y) {
    for (int x = inside.left; x < inside.right; ++x) putPixel(image, x, y, colour);
  }
}

void outlineBox(Image& image, const Box& box, int thickness, Colour colour) {
  fillBox(image, {box.left, box.top, box.right, box.top + thickness}, colour);
  fillBox(image, {box.left, box.bottom - thickness, box.right, box.bottom}, colour);
  fillBox(image, {box.left, box.top, box.left + thickness, box.bottom}, colour);
  fillBox(image, {box.right - thickness, box.top, box.right, box.bottom}, colour);
}

void drawText(Image& image, const Box& clip, int x, int y, int scale, Colour colour,
              std::string_view text) {
  for (const char character : text) {
    const Glyph& glyph = glyphOf(character);
    for (int row = 0; row < kGlyphHeight; ++row) {
      for (int column = 0; column < kGlyphWidth; ++column) {
        if ((glyph[static_cast<std::size_t>(row)] >> (kGlyphWidth - 1 - column) & 1) == 0) continue;
        const int left = x + column * scale, top = y + row * scale;
        fillBox(image, intersect(clip, {left, top, left + scale, top + scale}), colour);
      }
    }
    x += kGlyphAdvance * scale;
  }
}

int textWidth(std::string_view text, int scale) {
  return static_cast<int>(text.size()) * kGlyphAdvance * scale;
}

}  // namespace qrx::tool
