// Which parts of a window changed since the last frame.
#ifndef QRX_TOOLS_LIVE_CHANGE_DETECTOR_H_
#define QRX_TOOLS_LIVE_CHANGE_DETECTOR_H_

#include <cstdint>
#include <vector>

#include "tools/image/image.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

// The parts are the tiles of a fixed grid, counted row by row: a tile that is sent again for repair
// is cut into the same packets, so that a repaired picture has the pixels of one that never lost
// anything.
class ChangeDetector {
 public:
  ChangeDetector(Size window, int tile);

  std::size_t tiles() const { return lastChanges_.size(); }
  Box box(std::size_t tile) const;

  // Tiles that differ from the frame before; at first, from black. The caller takes over each of
  // them before the next frame.
  std::vector<std::size_t> update(const Image& frame, std::uint32_t number);
  // Takes over what update found changed, if that has not been done: late, so that who reads the
  // pixels finds them in the caches.
  void takeOver(std::size_t tile, const Image& frame);
  // The tile's rows, one behind the other, once it has been taken over.
  const std::uint8_t* pixels(std::size_t tile) const { return pixels_[tile].data(); }
  // Of each tile, row by row, the number of the frame that last changed it.
  const std::vector<std::uint32_t>& lastChanges() const { return lastChanges_; }

 private:
  // First row of the tile in which it differs; its height for none.
  int firstChange(std::size_t tile, const Image& frame) const;

  Size window_;
  int tile_;
  std::size_t columns_;
  std::vector<std::uint32_t> lastChanges_;
  std::vector<int> pending_;  // first row of each tile that is to be taken over
  std::vector<std::vector<std::uint8_t>> pixels_;  // of each tile: each is read and written whole
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_CHANGE_DETECTOR_H_
