// Where the blocks of a progressive image lie.
#ifndef QRX_PRIMITIVES_STRIPS_BAND_STORE_H_
#define QRX_PRIMITIVES_STRIPS_BAND_STORE_H_

#include "primitives/strips/bands.h"

namespace {
namespace strips {

using namespace qrx::strips;

inline int lumaBlocks(Layout layout) { return layout.across * layout.down; }
inline int blocksPerMcu(Layout layout) { return lumaBlocks(layout) + kComponents - 1; }

// A line of blocks of a component.
class BlockLine {
 public:
  BlockLine(const Store& store, int component, int line)
      : perMcu_(blocksPerMcu(store.layout)),
        acrossBits_(component == 0 ? store.layout.across >> 1 : 0) {
    const int down = component == 0 ? store.layout.down : 1;
    const int inMcu = component == 0 ? store.layout.across * (line % down)
                                     : lumaBlocks(store.layout) + component - 1;
    first_ = ptrdiff_t{line / down} * store.mcusAcross * perMcu_ + inMcu;
    blocks_ = store.coefficients;
  }

  // The number of a block in the store.
  ptrdiff_t index(int column) const {
    const int inMcu = column & ((1 << acrossBits_) - 1);
    return first_ + ptrdiff_t{column >> acrossBits_} * perMcu_ + inMcu;
  }

  Ipp16s* block(int column) const { return blocks_ + 64 * index(column); }

 private:
  Ipp16s* blocks_;
  ptrdiff_t first_;
  int perMcu_;
  int acrossBits_;
};

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_BAND_STORE_H_
