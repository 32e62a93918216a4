// Blocks of one sample value, which are what most of a desktop consists of.
#ifndef QRX_PRIMITIVES_STRIPS_FLAT_BLOCKS_H_
#define QRX_PRIMITIVES_STRIPS_FLAT_BLOCKS_H_

#include "qrx/primitive_types.h"

namespace qrx::strips {

// What the forward transform makes of them.
struct FlatBlocks {
  Ipp16u multipliers[64];  // that it was made with
  bool made;
  bool complete;   // whether they all come to a DC coefficient alone
  Ipp16s dc[256];  // by sample
};

// Unless it is made with these already. Tells whether it is complete.
bool makeFlatBlocks(const Ipp16u* multipliers, FlatBlocks* blocks);

}  // namespace qrx::strips

#endif  // QRX_PRIMITIVES_STRIPS_FLAT_BLOCKS_H_
