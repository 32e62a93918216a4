// The walks over blocks that both coders make (T.81 A.2): every block of rows of MCUs, and the
// blocks of one component in its own raster order.
//
// `open` runs before each MCU (or before each block of a single component) and may close a restart
// interval; `visit` gets a component, a block's place in it and in a store of all blocks. The
// first non-zero result of either ends the walk and is returned.
#ifndef QRX_CODECS_JPEG_LIBRARY_MCU_WALK_H_
#define QRX_CODECS_JPEG_LIBRARY_MCU_WALK_H_

#include <algorithm>
#include <cstddef>

#include "codecs/jpeg/library/mcu_grid.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_types.h"

namespace qrx::jpeg {

struct BlockPlace {
  int line, column;  // in blocks, in the component
  // In the store: MCU after MCU in raster order, in each the components' blocks.
  std::ptrdiff_t index;
};

class MCUWalk {
 public:
  // `across` MCUs in a row of a frame of `count` components, which stay the caller's.
  MCUWalk(CJPEGColorComponent* const* components, int count, int across)
      : components_(components), count_(count), across_(across) {
    for (int i = 0; i < count; ++i) blocksPerMCU_ += blocksOf(*components[i]);
  }

  int blocksPerMCU() const { return blocksPerMCU_; }

  // Every block of the MCU in row `row` and column `column`, component by component.
  template <typename Visit>
  int mcu(int row, int column, Visit visit) const {
    std::ptrdiff_t index = firstBlock(row, column);
    for (int i = 0; i < count_; ++i) {
      CJPEGColorComponent& c = *components_[i];
      for (int v = 0; v < c.vsampling; ++v) {
        for (int h = 0; h < c.hsampling; ++h, ++index) {
          QRX_TRY(visit(c, BlockPlace{c.vsampling * row + v, c.hsampling * column + h, index}));
        }
      }
    }
    return JPEG_NO_ERROR;
  }

  // The MCUs of `rows` rows, from row 0.
  template <typename Open, typename Visit>
  int mcus(int rows, Open open, Visit visit) const {
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < across_; ++column) {
        QRX_TRY(open());
        QRX_TRY(mcu(row, column, visit));
      }
    }
    return JPEG_NO_ERROR;
  }

  // The blocks of component `which` that hold samples of an image of `width` x `height` pixels,
  // within `down` rows of MCUs. In a reduced component every stored block does.
  template <typename Open, typename Visit>
  int component(int which, int down, int width, int height, Open open, Visit visit) const {
    CJPEGColorComponent& c = *components_[which];
    int before = 0;
    for (int i = 0; i < which; ++i) before += blocksOf(*components_[i]);
    const int lines = std::min(down * c.vsampling, mcuCount(height, 8));
    const int columns = std::min(across_ * c.hsampling, mcuCount(width, 8));
    for (int line = 0; line < lines; ++line) {
      const std::ptrdiff_t first =
          firstBlock(line / c.vsampling, 0) + before + c.hsampling * (line % c.vsampling);
      for (int column = 0; column < columns; ++column) {
        QRX_TRY(open());
        const std::ptrdiff_t mcu = column / c.hsampling;
        const std::ptrdiff_t index = first + mcu * blocksPerMCU_ + column % c.hsampling;
        QRX_TRY(visit(c, BlockPlace{line, column, index}));
      }
    }
    return JPEG_NO_ERROR;
  }

 private:
  static int blocksOf(const CJPEGColorComponent& c) { return c.hsampling * c.vsampling; }

  std::ptrdiff_t firstBlock(int row, int column) const {
    return (std::ptrdiff_t{row} * across_ + column) * blocksPerMCU_;
  }

  CJPEGColorComponent* const* components_;
  int count_;
  int across_;
  int blocksPerMCU_ = 0;
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_MCU_WALK_H_
