// Tiles and their times.
#include "tools/live/tile_plan.h"

#include <algorithm>

namespace qrx::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStill{200};       // what moves on meanwhile would be sharpened in vain
constexpr milliseconds kSharpAfter{600};  // of standing still; leaves room below a second

}  // namespace

void TilePlan::changed(std::size_t tile, Clock::time_point now) {
  lost(tile, now);
  tiles_[tile].stillSince = now;
}

bool TilePlan::lost(std::size_t tile, Clock::time_point now) {
  Tile& at = tiles_[tile];
  if (at.due) return false;
  at.due = true;
  at.dueSince = now;
  return true;
}

void TilePlan::allLost(Clock::time_point now) {
  for (Tile& tile : tiles_) tile = {true, false, now, now};
}

void TilePlan::sent(std::size_t tile, bool sharp, Clock::time_point now) {
  Tile& at = tiles_[tile];
  if (at.soft && sharp && !at.due) {
    const Clock::duration took = now - at.stillSince;
    ++sharpening_.tiles;
    if (took <= std::chrono::seconds(1)) ++sharpening_.withinSecond;
    sharpening_.slowest = std::max(sharpening_.slowest, took);
  }
  at.due = false;
  at.soft = !sharp;
}

std::vector<std::size_t> TilePlan::due() const {
  std::vector<std::size_t> list;
  for (std::size_t i = 0; i < tiles_.size(); ++i) {
    if (tiles_[i].due) list.push_back(i);  // NOLINT(performance-inefficient-vector-operation)
  }
  std::stable_sort(list.begin(), list.end(), [this](std::size_t a, std::size_t b) {
    return tiles_[a].dueSince < tiles_[b].dueSince;
  });
  return list;
}

std::vector<std::size_t> TilePlan::soft(Clock::time_point now) const {
  std::vector<std::size_t> list;
  for (std::size_t i = 0; i < tiles_.size(); ++i) {
    const Tile& tile = tiles_[i];
    if (tile.soft && !tile.due && now - tile.stillSince >= kStill) list.push_back(i);
  }
  std::stable_sort(list.begin(), list.end(), [this](std::size_t a, std::size_t b) {
    return tiles_[a].stillSince < tiles_[b].stillSince;
  });
  return list;
}

TilePlan::Clock::time_point TilePlan::sharpBy(std::size_t tile) const {
  return tiles_[tile].stillSince + kSharpAfter;
}

bool TilePlan::settled() const {
  return std::none_of(tiles_.begin(), tiles_.end(),
                      [](const Tile& tile) { return tile.due || tile.soft; });
}

}  // namespace qrx::tool
