// Comparison of frames tile by tile.
#include "tools/live/change_detector.h"

#include <algorithm>
#include <cstring>

namespace qrx::tool {

ChangeDetector::ChangeDetector(Size window, int tile)
    : tile_(tile),
      columns_((window.width + tile - 1) / tile),
      rows_((window.height + tile - 1) / tile),
      marked_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), true),
      lastChanges_(marked_.size(), 0),
      last_(window) {}

Box ChangeDetector::tileAt(int column, int row) const {
  return intersect({column * tile_, row * tile_, (column + 1) * tile_, (row + 1) * tile_},
                   wholeImage(last_));
}

bool ChangeDetector::differs(const Box& tile, const Image& frame) const {
  const auto bytes = static_cast<std::size_t>(tile.width()) * Image::kBytesPerPixel;
  const int offset = tile.left * Image::kBytesPerPixel;
  for (int y = tile.top; y < tile.bottom; ++y) {
    if (std::memcmp(last_.row(y) + offset, frame.row(y) + offset, bytes) != 0) return true;
  }
  return false;
}

std::vector<Box> ChangeDetector::update(const Image& frame, std::uint32_t number) {
  if (frame.size != last_.size) throw Error("the frames differ in size");
  std::vector<Box> changed;
  for (int row = 0; row < rows_; ++row) {
    for (int column = 0; column < columns_; ++column) {
      const Box tile = tileAt(column, row);
      const auto at = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
                      static_cast<std::size_t>(column);
      const bool isNew = differs(tile, frame);
      if (isNew) lastChanges_[at] = number;
      if (marked_[at] || isNew) changed.push_back(tile);
      marked_[at] = false;
    }
  }
  last_ = frame;
  return changed;
}

void ChangeDetector::mark(const Box& box) {
  const Box inside = intersect(box, wholeImage(last_));
  if (inside.empty()) return;
  for (int row = inside.top / tile_; row <= (inside.bottom - 1) / tile_; ++row) {
    for (int column = inside.left / tile_; column <= (inside.right - 1) / tile_; ++column) {
      marked_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
              static_cast<std::size_t>(column)] = true;
    }
  }
}

}  // namespace qrx::tool
