// Which parts of a window changed since the last frame.
#ifndef QRX_TOOLS_LIVE_CHANGE_DETECTOR_H_
#define QRX_TOOLS_LIVE_CHANGE_DETECTOR_H_

#include <cstdint>
#include <vector>

#include "tools/image/image.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

// Rectangles are the tiles of a fixed grid: a tile that is sent again for repair is cut into the
// same packets, so that a repaired picture has the pixels of one that never lost anything.
class ChangeDetector {
 public:
  ChangeDetector(Size window, int tile);

  // Tiles that differ from the frame before, or were marked; at first, all.
  std::vector<Box> update(const Image& frame, std::uint32_t number);
  // Of each tile, row by row, the number of the frame that last changed it.
  const std::vector<std::uint32_t>& lastChanges() const { return lastChanges_; }
  // Has the tiles that touch `box` come up with the next frame, changed or not.
  void mark(const Box& box);
  void markAll() { mark({0, 0, last_.size.width, last_.size.height}); }

 private:
  Box tileAt(int column, int row) const;
  bool differs(const Box& tile, const Image& frame) const;

  int tile_;
  int columns_, rows_;
  std::vector<bool> marked_;
  std::vector<std::uint32_t> lastChanges_;
  Image last_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_CHANGE_DETECTOR_H_
