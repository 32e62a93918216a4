// With which index each pixel of a window came, held by blocks of 8 by 8: nearly always the pixels
// of one came together.
#ifndef QRX_TOOLS_LIVE_STAMP_MAP_H_
#define QRX_TOOLS_LIVE_STAMP_MAP_H_

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "tools/image/image.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

// Rectangles on the grid of 8 take a quarter of a byte a pixel. Blocks whose pixels came with
// different indexes are held pixel by pixel, each on its own until they are equal again.
class StampMap {
 public:
  static constexpr int kBlock = 8;

  StampMap() = default;
  explicit StampMap(Size window);

  // What it takes where every block is held pixel by pixel: 4.5 bytes a pixel, and more where the
  // window cuts many blocks.
  static std::uint64_t mostBytes(Size window);

  // The box's pixels come with this index, above 0. Adds to `free` the parts of the box that it may
  // write, which have no later index, neighbours as one. False where there are none.
  bool write(const Box& box, std::uint32_t index, std::vector<Box>& free);

  // Every pixel of the box has a later index.
  bool isLater(const Box& box, std::uint32_t index) const;

  // Every pixel has an index.
  bool whole() const { return unstamped_ == 0; }

 private:
  using Pixels = std::array<std::uint32_t, kBlock * kBlock>;
  struct Block {
    std::uint32_t stamp = 0;  // 0: none came
    std::unique_ptr<Pixels> pixels;
  };

  static int blocks(int pixels) { return (pixels + kBlock - 1) / kBlock; }
  std::size_t number(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
           static_cast<std::size_t>(column);
  }
  // The pixels of it that the window has.
  Box blockBox(int column, int row) const;
  std::uint32_t stampAt(int x, int y) const;
  template <typename Test>
  bool all(const Box& box, Test test) const;
  void set(const Box& box, std::uint32_t index);
  void setInBlock(int column, int row, const Box& part, std::uint32_t index);

  Size window_;
  int columns_ = 0;
  std::uint64_t unstamped_ = 0;  // pixels
  std::vector<Block> blocks_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_STAMP_MAP_H_
