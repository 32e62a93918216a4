// How far two pictures are apart, and where.
#ifndef QRX_TOOLS_IMAGE_COMPARE_H_
#define QRX_TOOLS_IMAGE_COMPARE_H_

#include "tools/image/image.h"

namespace qrx::tool {

struct Difference {
  double psnr = 0;       // dB over all samples of the three colours; infinite for equal pictures
  int largest = 0;       // largest difference of a sample
  double differing = 0;  // percent of the pixels
  // Upper left corner of the block, of a grid of kBlock, that is worst; that of the picture for
  // equal ones.
  int worstX = 0, worstY = 0;

  static constexpr int kBlock = 64;
};

// Compares the colours of two pictures; alpha does not count. Throws Error for different sizes.
Difference compareImages(const Image& a, const Image& b);

// The reference in dark gray, and on it what differs in the other one: blue where hardly visible,
// by way of red to yellow where most. Throws Error for different sizes.
Image differenceMap(const Image& reference, const Image& other);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_COMPARE_H_
