// Pictures that tests code.
#ifndef QRX_TESTS_SUPPORT_PICTURES_H_
#define QRX_TESTS_SUPPORT_PICTURES_H_

#include <cstdint>
#include <vector>

#include "tools/image/image.h"

namespace qrx::test {

using Bytes = std::vector<std::uint8_t>;
using tool::Image;
using tool::Size;

// A frame of the synthetic desktop: flat areas, text, a gradient, a shaded solid, some noise.
Image scenePicture(Size size);
Image noisePicture(Size size, unsigned seed);                // evenly distributed random bytes
Image flatPicture(Size size, int blue, int green, int red);  // one colour

// The first channels of every pixel.
Bytes channelsOf(const Image& image, std::size_t count);

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_PICTURES_H_
