// How far behind the parts of a window are, in cells of 8 by 8 pixels.
#ifndef QRX_TOOLS_LIVE_AGE_MAP_H_
#define QRX_TOOLS_LIVE_AGE_MAP_H_

#include <cstdint>
#include <span>
#include <vector>

#include "tools/image/image.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

// A cell is current when it holds the frame that last changed it, or a later one: what stands still
// may be old, and is right all the same.
class AgeMap {
 public:
  static constexpr int kCell = 8;
  static constexpr std::uint32_t kNever = UINT32_MAX;  // the age of what never arrived

  AgeMap() = default;
  explicit AgeMap(Size window);

  // What it takes.
  static std::uint64_t bytes(Size window);

  int columns() const { return columns_; }
  int rows() const { return rows_; }

  // The box's pixels hold this frame now. Cells that lie in it whole count.
  void hold(const Box& box, std::uint32_t frame);
  // This frame was the last that changed something in the box.
  void changed(const Box& box, std::uint32_t frame);

  // Frames, as of `now`, for which the cell has been out of date; 0 for a current one.
  std::uint32_t age(int column, int row, std::uint32_t now) const;
  // Percent of the window's cells.
  double currentPercent() const;

  // Colours what is out of date, the stronger the older; what never arrived altogether. The
  // window's pixels are of four bytes, blue, green, red, or with `redFirst` red, green, blue.
  void tint(std::span<std::uint8_t> pixels, std::uint32_t now, bool redFirst = false) const;
  // The whole window small, a pixel a cell or several cells: at most this many wide and high.
  Image overview(int side, std::uint32_t now) const;

 private:
  struct Cell {
    std::uint32_t held = 0;     // frame + 1; 0 for none
    std::uint32_t changed = 0;  // frame + 1 of the last change
    std::uint32_t since = 0;    // frame with which it went out of date
    bool current() const { return held != 0 && held >= changed; }
  };

  Cell& at(int column, int row) {
    return cells_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
                  static_cast<std::size_t>(column)];
  }
  const Cell& at(int column, int row) const { return const_cast<AgeMap*>(this)->at(column, row); }

  Size window_;
  int columns_ = 0, rows_ = 0;
  std::size_t current_ = 0;  // cells
  std::vector<Cell> cells_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_AGE_MAP_H_
