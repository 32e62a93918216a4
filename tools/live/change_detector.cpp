// Comparison of frames tile by tile.
#include "tools/live/change_detector.h"

#include <cstring>

namespace qrx::tool {
namespace {

std::size_t divideUp(int a, int b) { return static_cast<std::size_t>((a + b - 1) / b); }

}  // namespace

ChangeDetector::ChangeDetector(Size window, int tile)
    : tile_(tile),
      columns_(divideUp(window.width, tile)),
      lastChanges_(columns_ * divideUp(window.height, tile), 0),
      last_(window) {}

Box ChangeDetector::box(std::size_t tile) const {
  const int column = static_cast<int>(tile % columns_), row = static_cast<int>(tile / columns_);
  return intersect({column * tile_, row * tile_, (column + 1) * tile_, (row + 1) * tile_},
                   wholeImage(last_));
}

bool ChangeDetector::differs(const Box& tile, const Image& frame) {
  const auto bytes = static_cast<std::size_t>(tile.width()) * Image::kBytesPerPixel;
  const int offset = tile.left * Image::kBytesPerPixel;
  bool differs = false;
  for (int y = tile.top; y < tile.bottom; ++y) {
    std::uint8_t* before = last_.row(y) + offset;
    const std::uint8_t* now = frame.row(y) + offset;
    if (!differs && std::memcmp(before, now, bytes) == 0) continue;
    differs = true;
    std::memcpy(before, now, bytes);
  }
  return differs;
}

std::vector<std::size_t> ChangeDetector::update(const Image& frame, std::uint32_t number) {
  if (frame.size != last_.size) throw Error("the frames differ in size");
  std::vector<std::size_t> changed;
  for (std::size_t tile = 0; tile < lastChanges_.size(); ++tile) {
    if (!differs(box(tile), frame)) continue;
    lastChanges_[tile] = number;
    changed.push_back(tile);  // NOLINT(performance-inefficient-vector-operation)
  }
  return changed;
}

}  // namespace qrx::tool
