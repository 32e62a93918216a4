// Stamps by blocks against stamps by pixels.
#include "tools/live/stamp_map.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <random>

namespace qrx::tool {
namespace {

// What StampMap does, with a number for every pixel.
class Model {
 public:
  explicit Model(Size window) : window_(window), stamps_(window.pixels(), 0) {}

  std::uint32_t& at(int x, int y) {
    return stamps_[static_cast<std::size_t>(y) * static_cast<std::size_t>(window_.width) +
                   static_cast<std::size_t>(x)];
  }
  // The pixels that are written, row by row.
  std::vector<bool> write(const Box& box, std::uint32_t index) {
    std::vector<bool> written(stamps_.size(), false);
    visit(box, [&](std::uint32_t& stamp) {
      if (stamp > index) return;
      stamp = index;
      written[static_cast<std::size_t>(&stamp - stamps_.data())] = true;
    });
    return written;
  }
  bool isLater(const Box& box, std::uint32_t index) {
    bool later = true;
    visit(box, [&](std::uint32_t stamp) { later = later && stamp > index; });
    return later;
  }
  bool whole() const { return std::count(stamps_.begin(), stamps_.end(), 0U) == 0; }

 private:
  template <typename See>
  void visit(const Box& box, See see) {
    for (int y = box.top; y < box.bottom; ++y) {
      for (int x = box.left; x < box.right; ++x) see(at(x, y));
    }
  }

  Size window_;
  std::vector<std::uint32_t> stamps_;
};

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int below(int most) { return std::uniform_int_distribution<int>(0, most - 1)(engine_); }
  // Within 0 to `most`, in steps or at `most` itself.
  std::pair<int, int> range(int most, int step) {
    const int first = below((most + step - 1) / step) * step;
    return {first, std::min(most, first + (1 + below((most - first + step - 1) / step)) * step)};
  }
  Box box(Size window, int step) {
    const auto [left, right] = range(window.width, step);
    const auto [top, bottom] = range(window.height, step);
    return {left, top, right, bottom};
  }

 private:
  std::mt19937 engine_;
};

struct Case {
  const char* name;
  Size window;
  int step;   // grid of the rectangles
  int early;  // an index may be this much before the latest
};

TEST(StampMap, DoesWhatStampsOfPixelsDo) {
  constexpr Case kCases[] = {
      {"on the grid", {64, 48}, 8, 0},
      {"on the grid, late", {64, 48}, 16, 30},
      {"cut blocks", {61, 45}, 8, 10},
      {"off the grid", {64, 48}, 1, 0},
      {"off the grid, late", {64, 48}, 1, 20},
      {"off the grid, cut blocks", {43, 29}, 1, 50},
      {"half blocks", {40, 36}, 4, 5},
      {"a column", {1, 70}, 1, 4},
      {"a row", {70, 1}, 3, 4},
      {"a pixel", {1, 1}, 1, 4},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    for (unsigned seed = 0; seed < 20; ++seed) {
      Random random(seed);
      StampMap map(c.window);
      Model model(c.window);
      ASSERT_FALSE(map.whole());
      for (int latest = 1; latest < 150; ++latest) {
        const auto index =
            static_cast<std::uint32_t>(std::max(1, latest - random.below(c.early + 1)));
        const Box box = random.box(c.window, c.step);
        const std::vector<bool> expected = model.write(box, index);
        std::vector<Box> parts = {{-9, -9, -8, -8}};  // of an earlier call: stays
        const bool any = map.write(box, index, parts);
        ASSERT_EQ(parts.front(), (Box{-9, -9, -8, -8}));
        ASSERT_EQ(any, parts.size() > 1);
        std::vector<bool> written(expected.size(), false);
        for (std::size_t i = 1; i < parts.size(); ++i) {
          ASSERT_EQ(intersect(parts[i], box), parts[i]);
          for (int y = parts[i].top; y < parts[i].bottom; ++y) {
            for (int x = parts[i].left; x < parts[i].right; ++x) {
              const auto at =
                  static_cast<std::size_t>(y) * static_cast<std::size_t>(c.window.width) +
                  static_cast<std::size_t>(x);
              ASSERT_FALSE(written[at]) << "twice";
              written[at] = true;
            }
          }
        }
        ASSERT_EQ(written, expected);
        ASSERT_EQ(map.whole(), model.whole());
        const Box asked = random.box(c.window, 1);
        for (const std::uint32_t than : {index - 1, index, index + 3}) {
          ASSERT_EQ(map.isLater(asked, than), model.isLater(asked, than));
        }
      }
    }
  }
}

// Rows of MCUs are copied in one piece.
TEST(StampMap, JoinsNeighbours) {
  StampMap map({64, 32});
  std::vector<Box> parts;
  for (int left = 0; left < 64; left += 16)
    EXPECT_TRUE(map.write({left, 0, left + 16, 16}, 2, parts));
  for (int left = 0; left < 64; left += 16)
    EXPECT_TRUE(map.write({left, 16, left + 16, 32}, 2, parts));
  EXPECT_EQ(parts, (std::vector<Box>{{0, 0, 64, 16}, {0, 16, 64, 32}}));
  EXPECT_TRUE(map.whole());
  EXPECT_FALSE(map.write({0, 0, 64, 32}, 1, parts));
}

// A sender chooses the rectangles, and with them how many blocks fall apart.
TEST(StampMap, TakesNoMoreThanItSays) {
  const auto taken = [] { return mallinfo2().uordblks; };
  const std::size_t atFirst = taken();
  constexpr Size kWindow = {403, 403};
  StampMap map(kWindow);
  if (taken() == atFirst) GTEST_SKIP() << "the allocator is a sanitizer's";
  std::vector<Box> parts;
  std::uint32_t index = 0;
  constexpr std::size_t kSlack = 8192;  // the parts, and what the allocator keeps at hand
  for (int round = 0; round < 3; ++round) {
    for (int y = 0; y < kWindow.height; ++y) {
      for (int x = y % 2; x < kWindow.width; x += 2) {
        parts.clear();
        map.write({x, y, x + 1, y + 1}, ++index, parts);
      }
    }
    EXPECT_LE(taken() - atFirst, StampMap::mostBytes(kWindow) + kSlack);
    EXPECT_GT(taken() - atFirst, kWindow.pixels() * 4);
    // And gives it back, whether blocks are covered at once or in parts.
    const int band = round == 0 ? kWindow.height : 5 * round;
    ++index;
    for (int top = 0; top < kWindow.height; top += band) {
      map.write({0, top, kWindow.width, std::min(top + band, kWindow.height)}, index, parts);
    }
    EXPECT_LE(taken() - atFirst, kWindow.pixels() / 4 + kSlack);
  }
}

}  // namespace
}  // namespace qrx::tool
