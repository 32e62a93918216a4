// Blocks of one stamp, and those that fell apart.
#include "tools/live/stamp_map.h"

#include <algorithm>

namespace qrx::tool {
namespace {

std::uint64_t area(const Box& box) {
  return static_cast<std::uint64_t>(box.width()) * static_cast<std::uint64_t>(box.height());
}

// Whoever copies does so by long rows.
void add(std::vector<Box>& boxes, const Box& box) {
  if (!boxes.empty()) {
    Box& last = boxes.back();
    if (last.right == box.left && last.top == box.top && last.bottom == box.bottom) {
      last.right = box.right;
      return;
    }
  }
  boxes.push_back(box);
}

std::ptrdiff_t inBlock(int x, int y) {
  return std::ptrdiff_t{y % StampMap::kBlock} * StampMap::kBlock + x % StampMap::kBlock;
}

}  // namespace

StampMap::StampMap(Size window)
    : window_(window),
      columns_(blocks(window.width)),
      unstamped_(window.pixels()),
      blocks_(static_cast<std::size_t>(columns_) *
              static_cast<std::size_t>(blocks(window.height))) {}

std::uint64_t StampMap::mostBytes(Size window) {
  constexpr std::uint64_t kHeapHead = 16;  // of what is allocated by itself
  const std::uint64_t count = static_cast<std::uint64_t>(blocks(window.width)) *
                              static_cast<std::uint64_t>(blocks(window.height));
  return count * (sizeof(Block) + sizeof(Pixels) + kHeapHead);
}

Box StampMap::blockBox(int column, int row) const {
  return {column * kBlock, row * kBlock, std::min((column + 1) * kBlock, window_.width),
          std::min((row + 1) * kBlock, window_.height)};
}

std::uint32_t StampMap::stampAt(int x, int y) const {
  const Block& block = blocks_[number(x / kBlock, y / kBlock)];
  return block.pixels ? block.pixels->begin()[inBlock(x, y)] : block.stamp;
}

// Whether the test holds of every stamp in the box.
template <typename Test>
bool StampMap::all(const Box& box, Test test) const {
  for (int row = box.top / kBlock; row < blocks(box.bottom); ++row) {
    for (int column = box.left / kBlock; column < blocks(box.right); ++column) {
      const Block& block = blocks_[number(column, row)];
      if (!block.pixels) {
        if (!test(block.stamp)) return false;
        continue;
      }
      const Box part = intersect(box, blockBox(column, row));
      for (int y = part.top; y < part.bottom; ++y) {
        const auto first = block.pixels->begin() + inBlock(part.left, y);
        if (!std::all_of(first, first + part.width(), test)) return false;
      }
    }
  }
  return true;
}

bool StampMap::isLater(const Box& box, std::uint32_t index) const {
  return all(box, [index](std::uint32_t stamp) { return stamp > index; });
}

bool StampMap::write(const Box& box, std::uint32_t index, std::vector<Box>& free) {
  const auto mayBeWritten = [index](std::uint32_t stamp) { return stamp <= index; };
  if (all(box, mayBeWritten)) {  // nearly always
    set(box, index);
    if (!box.empty()) add(free, box);
    return !box.empty();
  }
  if (isLater(box, index)) return false;
  for (int y = box.top; y < box.bottom; ++y) {
    for (int x = box.left; x < box.right;) {
      int end = x;
      while (end < box.right && mayBeWritten(stampAt(end, y))) ++end;
      const Box run = {x, y, end, y + 1};
      x = end + 1;
      if (run.empty()) continue;
      set(run, index);
      add(free, run);
    }
  }
  return true;
}

void StampMap::set(const Box& box, std::uint32_t index) {
  for (int row = box.top / kBlock; row < blocks(box.bottom); ++row) {
    for (int column = box.left / kBlock; column < blocks(box.right); ++column) {
      setInBlock(column, row, intersect(box, blockBox(column, row)), index);
    }
  }
}

void StampMap::setInBlock(int column, int row, const Box& part, std::uint32_t index) {
  Block& block = blocks_[number(column, row)];
  const Box whole = blockBox(column, row);
  if (!block.pixels) {
    if (block.stamp == index) return;
    const std::uint32_t before = block.stamp;
    if (part == whole) {
      block.stamp = index;
      unstamped_ -= before == 0 ? area(part) : 0;
      return;
    }
    block.pixels = std::make_unique<Pixels>();
    block.pixels->fill(before);
  }
  for (int y = part.top; y < part.bottom; ++y) {
    const auto first = block.pixels->begin() + inBlock(part.left, y);
    unstamped_ -= static_cast<std::uint64_t>(std::count(first, first + part.width(), 0U));
    std::fill_n(first, part.width(), index);
  }
  if (part != whole && !all(whole, [index](std::uint32_t stamp) { return stamp == index; })) return;
  block.stamp = index;
  block.pixels.reset();
}

}  // namespace qrx::tool
