#include "primitives/strips/flat_blocks.h"

#include <algorithm>
#include <cstring>

#include "qrx/primitives.h"

namespace qrx::strips {

bool makeFlatBlocks(const Ipp16u* multipliers, FlatBlocks* blocks) {
  if (blocks->made &&
      std::memcmp(blocks->multipliers, multipliers, sizeof blocks->multipliers) == 0) {
    return blocks->complete;
  }
  std::copy_n(multipliers, 64, blocks->multipliers);
  blocks->made = blocks->complete = true;
  for (int sample = 0; sample < 256; ++sample) {
    Ipp8u samples[64];
    Ipp16s block[64];
    std::fill_n(samples, 64, static_cast<Ipp8u>(sample));
    const IppStatus status = ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 8, block, multipliers);
    const bool isDc = std::all_of(block + 1, block + 64, [](Ipp16s value) { return value == 0; });
    blocks->complete &= status == ippStsNoErr && isDc;
    blocks->dc[sample] = block[0];
  }
  return blocks->complete;
}

}  // namespace qrx::strips
