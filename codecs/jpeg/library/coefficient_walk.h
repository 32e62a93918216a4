// Walks over the progressive writer's coefficient store, in the block order of a scan.
//
// The store holds MCU after MCU in raster order, in each the blocks of component 0 to the last,
// each component's by block line and block column. `restart` runs before a block (or MCU) that
// opens a restart interval; a non-zero result of it ends the walk and is returned. `visit` gets a
// block and returns a primitive's status, of which a negative one ends the walk.
#ifndef QRX_CODECS_JPEG_LIBRARY_COEFFICIENT_WALK_H_
#define QRX_CODECS_JPEG_LIBRARY_COEFFICIENT_WALK_H_

#include <algorithm>
#include <cstddef>

#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/jpeg_encoder.h"

class CoefficientWalk {
 public:
  explicit CoefficientWalk(CJPEGEncoder& encoder) : encoder_(encoder) {
    for (int i = 0; i < encoder.component_count; ++i) {
      blocksPerMCU_ += encoder.components[i]->nblocks;
    }
  }

  // A scan of one component: only the blocks that hold image data, in the component's own raster
  // order (T.81 A.2.2).
  template <typename Restart, typename Visit>
  int componentBlocks(const CJPEGColorComponent& c, Restart restart, Visit visit) {
    int firstBlock = 0;
    for (int i = 0; i < c.comp_no; ++i) firstBlock += encoder_.components[i]->nblocks;
    // In a reduced component every stored block lies in the image; in a full one those of the last
    // MCUs may not.
    const int lines =
        std::min(encoder_.mcus_down * c.vsampling, mcuCount(encoder_.source_height, 8));
    const int columns =
        std::min(encoder_.mcus_across * c.hsampling, mcuCount(encoder_.source_width, 8));
    for (int line = 0; line < lines; ++line) {
      for (int column = 0; column < columns; ++column) {
        const int result = openInterval(restart);
        if (result != JPEG_NO_ERROR) return result;
        const Ipp16s* block =
            mcu(line / c.vsampling, column / c.hsampling) +
            64 * (firstBlock + c.hsampling * (line % c.vsampling) + column % c.hsampling);
        if (visit(block) < 0) return JPEG_INTERNAL_ERROR;
      }
    }
    return JPEG_NO_ERROR;
  }

  // A scan of all components: every block of every MCU.
  template <typename Restart, typename Visit>
  int allBlocks(Restart restart, Visit visit) {
    const Ipp16s* block = encoder_.coefficients;
    const std::ptrdiff_t mcus = std::ptrdiff_t{encoder_.mcus_across} * encoder_.mcus_down;
    for (std::ptrdiff_t i = 0; i < mcus; ++i) {
      const int result = openInterval(restart);
      if (result != JPEG_NO_ERROR) return result;
      for (int k = 0; k < encoder_.component_count; ++k) {
        CJPEGColorComponent& c = *encoder_.components[k];
        for (int b = 0; b < c.nblocks; ++b, block += 64) {
          if (visit(c, block) < 0) return JPEG_INTERNAL_ERROR;
        }
      }
    }
    return JPEG_NO_ERROR;
  }

 private:
  template <typename Restart>
  int openInterval(Restart restart) {
    if (encoder_.restart_interval == 0) return JPEG_NO_ERROR;
    if (encoder_.restarts_to_go == 0) {
      const int result = restart();
      if (result != JPEG_NO_ERROR) return result;
    }
    --encoder_.restarts_to_go;
    return JPEG_NO_ERROR;
  }

  const Ipp16s* mcu(int row, int column) const {
    const std::ptrdiff_t index = std::ptrdiff_t{row} * encoder_.mcus_across + column;
    return encoder_.coefficients + 64 * blocksPerMCU_ * index;
  }

  CJPEGEncoder& encoder_;
  int blocksPerMCU_ = 0;
};

#endif  // QRX_CODECS_JPEG_LIBRARY_COEFFICIENT_WALK_H_
