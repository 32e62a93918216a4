// A packet's MCUs, cell by cell.
#include "tools/live/packet_colours.h"

#include <algorithm>
#include <iterator>

#include "tools/image/shade.h"

namespace qrx::tool {
namespace {

// Blue, green, red: neighbours are far apart, and none is that of the tint.
constexpr Shade kColours[] = {{60, 90, 240},  {70, 200, 70},  {245, 140, 40}, {40, 210, 250},
                              {220, 90, 150}, {190, 220, 60}, {40, 140, 255}};
constexpr Shade kEdge = {255, 255, 255};
constexpr int kCover = 120, kEdgeCover = 208;  // of 256

// From the picture as it was to the one with colours.
struct Brush {
  const Image& from;
  Image& to;

  void lay(const Box& box, const Shade& colour, int share) const {
    const Box inside = intersect(box, wholeImage(to));
    for (int y = inside.top; y < inside.bottom; ++y) {
      for (int x = inside.left; x < inside.right; ++x) {
        const std::ptrdiff_t at = std::ptrdiff_t{x} * Image::kBytesPerPixel;
        std::copy_n(from.row(y) + at, Image::kBytesPerPixel, to.row(y) + at);
        blend(to.row(y) + at, colour, share);
      }
    }
  }
};

// An MCU, with an edge towards those of other packets.
void layCell(const Brush& brush, const Box& cell, const PacketCells& cells, int mcu,
             const Shade& colour) {
  brush.lay(cell, colour, kCover);
  const auto own = [&cells](int other) {
    return other >= cells.first && other < cells.first + cells.count;
  };
  const int column = mcu % cells.columns;
  if (column == 0 || !own(mcu - 1)) {
    brush.lay({cell.left, cell.top, cell.left + 1, cell.bottom}, kEdge, kEdgeCover);
  }
  if (column == cells.columns - 1 || !own(mcu + 1)) {
    brush.lay({cell.right - 1, cell.top, cell.right, cell.bottom}, kEdge, kEdgeCover);
  }
  if (!own(mcu - cells.columns)) {
    brush.lay({cell.left, cell.top, cell.right, cell.top + 1}, kEdge, kEdgeCover);
  }
  if (!own(mcu + cells.columns)) {
    brush.lay({cell.left, cell.bottom - 1, cell.right, cell.bottom}, kEdge, kEdgeCover);
  }
}

}  // namespace

void colourPackets(Image& window, std::span<const PacketPlace> packets) {
  const Image original = window;
  dim(window);
  const Brush brush{original, window};
  for (const PacketPlace& packet : packets) {
    const Box& box = packet.box;
    const Shade& colour = kColours[packet.number % std::size(kColours)];
    for (int i = 0; i < packet.cells.count; ++i) {
      const int mcu = packet.cells.first + i;
      const Box cell = packet.cells.cell(mcu, {box.width(), box.height()});
      layCell(
          brush,
          {box.left + cell.left, box.top + cell.top, box.left + cell.right, box.top + cell.bottom},
          packet.cells, mcu, colour);
    }
  }
}

}  // namespace qrx::tool
