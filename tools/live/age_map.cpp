// Cells, and their colours.
#include "tools/live/age_map.h"

#include <algorithm>

namespace qrx::tool {
namespace {

constexpr Colour kOld = {255, 0, 200};
constexpr Colour kMissing = {160, 32, 160};
constexpr Colour kCurrent = {40, 90, 60};
constexpr std::uint32_t kOldest = 25;  // frames; older ones look no older

int divideUp(int a, int b) { return (a + b - 1) / b; }

// `share` of 256 of `over`.
std::uint8_t blend(std::uint8_t under, std::uint8_t over, int share) {
  return static_cast<std::uint8_t>((under * (256 - share) + over * share) >> 8);
}

// Visible from the first frame on.
int strength(std::uint32_t age) {
  return 72 + static_cast<int>(std::min(age, kOldest)) * 120 / static_cast<int>(kOldest);
}

Colour mapColour(std::uint32_t age) {
  if (age == 0) return kCurrent;
  if (age == AgeMap::kNever) return kMissing;
  const int share = static_cast<int>(std::min(age, kOldest)) * 256 / static_cast<int>(kOldest);
  return {255, blend(220, 40, share), 40};
}

}  // namespace

AgeMap::AgeMap(Size window)
    : window_(window),
      columns_(divideUp(window.width, kCell)),
      rows_(divideUp(window.height, kCell)),
      cells_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)) {}

std::uint64_t AgeMap::bytes(Size window) {
  return static_cast<std::uint64_t>(divideUp(window.width, kCell)) *
         static_cast<std::uint64_t>(divideUp(window.height, kCell)) * sizeof(Cell);
}

void AgeMap::hold(const Box& box, std::uint32_t frame) {
  // The last cells of a row or column may be cut by the window's edge.
  const auto end = [](int edge, int limit) {
    return edge == limit ? divideUp(edge, kCell) : edge / kCell;
  };
  const int right = end(box.right, window_.width), bottom = end(box.bottom, window_.height);
  for (int row = divideUp(box.top, kCell); row < bottom; ++row) {
    for (int column = divideUp(box.left, kCell); column < right; ++column) {
      Cell& cell = at(column, row);
      const bool was = cell.current();
      cell.held = std::max(cell.held, frame + 1);
      current_ += !was && cell.current() ? 1 : 0;
    }
  }
}

void AgeMap::changed(const Box& box, std::uint32_t frame) {
  const Box inside = intersect(box, {0, 0, window_.width, window_.height});
  for (int row = inside.top / kCell; row < divideUp(inside.bottom, kCell); ++row) {
    for (int column = inside.left / kCell; column < divideUp(inside.right, kCell); ++column) {
      Cell& cell = at(column, row);
      if (frame + 1 <= cell.changed) continue;
      const bool was = cell.current();
      if (was) cell.since = frame;  // what was out of date before stays so
      cell.changed = frame + 1;
      current_ -= was && !cell.current() ? 1 : 0;
    }
  }
}

std::uint32_t AgeMap::age(int column, int row, std::uint32_t now) const {
  const Cell& cell = at(column, row);
  if (cell.held == 0) return kNever;
  if (cell.current()) return 0;
  // It may have caught up a little in between: `held` is the frame after the one that it holds.
  const std::uint32_t since = std::max(cell.since, cell.held);
  return now >= since ? now - since + 1 : 1;
}

double AgeMap::currentPercent() const {
  if (cells_.empty()) return 0;
  return 100.0 * static_cast<double>(current_) / static_cast<double>(cells_.size());
}

void AgeMap::tint(std::span<std::uint8_t> pixels, std::uint32_t now, bool redFirst) const {
  std::uint8_t* pixel = pixels.data();
  for (int y = 0; y < window_.height; ++y) {
    for (int x = 0; x < window_.width; ++x, pixel += Image::kBytesPerPixel) {
      const std::uint32_t old = age(x / kCell, y / kCell, now);
      if (old == 0) continue;
      const bool never = old == kNever;
      const Colour colour = never ? kMissing : kOld;
      const int share = never ? 256 : strength(old);
      pixel[0] = blend(pixel[0], redFirst ? colour.red : colour.blue, share);
      pixel[1] = blend(pixel[1], colour.green, share);
      pixel[2] = blend(pixel[2], redFirst ? colour.blue : colour.red, share);
    }
  }
}

Image AgeMap::overview(int side, std::uint32_t now) const {
  const int step = std::max(1, divideUp(std::max(columns_, rows_), side));
  Image map({divideUp(columns_, step), divideUp(rows_, step)});
  for (int row = 0; row < map.size.height; ++row) {
    for (int column = 0; column < map.size.width; ++column) {
      // The oldest of the cells, so that none is overlooked.
      std::uint32_t oldest = 0;
      for (int y = row * step; y < std::min(rows_, (row + 1) * step); ++y) {
        for (int x = column * step; x < std::min(columns_, (column + 1) * step); ++x) {
          oldest = std::max(oldest, age(x, y, now));
        }
      }
      putPixel(map, column, row, mapColour(oldest));
    }
  }
  return map;
}

}  // namespace qrx::tool
