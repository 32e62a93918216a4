// Drawing of what changes, and no more.
#include "tools/scene/wandering_box.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tools/scene/scene_renderer.h"

namespace qrx::tool {
namespace {

// To and fro between 0 and `most`, so many pixels a frame.
int swing(int frame, int step, int most) {
  if (most <= 0) return 0;
  const auto at = static_cast<int>(std::int64_t{frame} * step % (2 * std::int64_t{most}));
  return at <= most ? at : 2 * most - at;
}

int side(int whole, double share) {
  return std::clamp(static_cast<int>(std::lround(whole * std::sqrt(share))), 1, whole);
}

}  // namespace

WanderingBox::WanderingBox(Size size, double share)
    : box_{side(size.width, share), side(size.height, share)},
      still_(SceneRenderer(size).render(0)),
      picture_(still_) {}

Box WanderingBox::place(int frame) const {
  const int left = swing(frame, 5, still_.size.width - box_.width);
  const int top = swing(frame, 3, still_.size.height - box_.height);
  return {left, top, left + box_.width, top + box_.height};
}

void WanderingBox::clear(const Box& box) {
  const std::ptrdiff_t at = std::ptrdiff_t{box.left} * Image::kBytesPerPixel;
  const auto bytes = static_cast<std::size_t>(box.width()) * Image::kBytesPerPixel;
  for (int y = box.top; y < box.bottom; ++y) {
    std::memcpy(picture_.row(y) + at, still_.row(y) + at, bytes);
  }
}

// In the box stands the scene, moved on and with its bits turned over in every other frame.
const Image& WanderingBox::render(int frame) {
  const Box now = place(frame), both = intersect(last_, now);
  if (both.empty()) {
    clear(last_);
  } else {  // what the box does not cover again
    clear({last_.left, last_.top, last_.right, both.top});
    clear({last_.left, both.top, both.left, both.bottom});
    clear({both.right, both.top, last_.right, both.bottom});
    clear({last_.left, both.bottom, last_.right, last_.bottom});
  }
  last_ = now;
  const std::uint32_t turn = frame % 2 != 0 ? 0x00101010u : 0u;
  for (int y = last_.top; y < last_.bottom; ++y) {
    const std::uint8_t* from = still_.row((y + 7 * (frame % 4096)) % still_.size.height);
    std::uint8_t* to = picture_.row(y);
    for (int x = last_.left; x < last_.right; ++x) {
      std::uint32_t pixel = 0;
      std::memcpy(&pixel, from + std::ptrdiff_t{x} * Image::kBytesPerPixel, sizeof pixel);
      pixel ^= turn;
      std::memcpy(to + std::ptrdiff_t{x} * Image::kBytesPerPixel, &pixel, sizeof pixel);
    }
  }
  return picture_;
}

}  // namespace qrx::tool
