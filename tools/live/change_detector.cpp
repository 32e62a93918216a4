// Comparison of frames tile by tile.
#include "tools/live/change_detector.h"

#include <cstring>

namespace qrx::tool {
namespace {

std::size_t divideUp(int a, int b) { return static_cast<std::size_t>((a + b - 1) / b); }

}  // namespace

ChangeDetector::ChangeDetector(Size window, int tile)
    : window_(window),
      tile_(tile),
      columns_(divideUp(window.width, tile)),
      lastChanges_(columns_ * divideUp(window.height, tile), 0),
      pending_(lastChanges_.size()),
      pixels_(lastChanges_.size()) {
  for (std::size_t i = 0; i < pixels_.size(); ++i) {
    pending_[i] = box(i).height();
    pixels_[i].assign(Image::byteCount({box(i).width(), box(i).height()}), 0);
  }
}

Box ChangeDetector::box(std::size_t tile) const {
  const int column = static_cast<int>(tile % columns_), row = static_cast<int>(tile / columns_);
  return intersect({column * tile_, row * tile_, (column + 1) * tile_, (row + 1) * tile_},
                   {0, 0, window_.width, window_.height});
}

int ChangeDetector::firstChange(std::size_t tile, const Image& frame) const {
  const Box at = box(tile);
  const auto bytes = static_cast<std::size_t>(at.width()) * Image::kBytesPerPixel;
  const std::uint8_t* before = pixels_[tile].data();
  int y = at.top;
  for (; y < at.bottom; ++y, before += bytes) {
    const std::uint8_t* now = frame.row(y) + std::ptrdiff_t{at.left} * Image::kBytesPerPixel;
    if (std::memcmp(before, now, bytes) != 0) break;
  }
  return y - at.top;
}

std::vector<std::size_t> ChangeDetector::update(const Image& frame, std::uint32_t number) {
  if (frame.size != window_) throw Error("the frames differ in size");
  std::vector<std::size_t> changed;
  for (std::size_t tile = 0; tile < lastChanges_.size(); ++tile) {
    pending_[tile] = firstChange(tile, frame);
    if (pending_[tile] == box(tile).height()) continue;
    lastChanges_[tile] = number;
    changed.push_back(tile);  // NOLINT(performance-inefficient-vector-operation)
  }
  return changed;
}

void ChangeDetector::takeOver(std::size_t tile, const Image& frame) {
  const Box at = box(tile);
  const auto bytes = static_cast<std::size_t>(at.width()) * Image::kBytesPerPixel;
  for (int& y = pending_[tile]; y < at.height(); ++y) {
    std::memcpy(pixels_[tile].data() + static_cast<std::size_t>(y) * bytes,
                frame.row(at.top + y) + std::ptrdiff_t{at.left} * Image::kBytesPerPixel, bytes);
  }
}

}  // namespace qrx::tool
