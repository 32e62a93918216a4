// How far two pictures are apart.
#ifndef QRX_TOOLS_IMAGE_COMPARE_H_
#define QRX_TOOLS_IMAGE_COMPARE_H_

#include "tools/image/image.h"

namespace qrx::tool {

struct Difference {
  double psnr = 0;  // dB over all samples of the three colours; infinite for equal pictures
  int largest = 0;  // largest difference of a sample
};

// Compares the colours of two pictures; alpha does not count. Throws Error for different sizes.
Difference compareImages(const Image& a, const Image& b);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_COMPARE_H_
