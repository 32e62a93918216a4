// A bitmap font of 5 by 7 pixels: capitals, digits and some signs.
#ifndef QRX_TOOLS_SCENE_FONT_H_
#define QRX_TOOLS_SCENE_FONT_H_

#include <array>
#include <cstdint>

namespace qrx::tool {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 7;
inline constexpr int kGlyphAdvance = 6;

// Seven rows, top first; bit 4 is the leftmost pixel.
using Glyph = std::array<std::uint8_t, kGlyphHeight>;

// Small letters look like capitals; a character without a glyph is a space.
const Glyph& glyphOf(char character);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_FONT_H_
