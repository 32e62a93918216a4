// Pictures that tests code, and a few words about bytes.
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
// Evenly distributed random bytes.
Image noisePicture(Size size, unsigned seed);
// Noise that compresses like a coarse photograph: random squares of 4x4 pixels.
Image blockyPicture(Size size, unsigned seed);
// One colour.
Image flatPicture(Size size, int blue, int green, int red);

// The picture without its fourth bytes, or one of its channels.
Bytes threeChannels(const Image& image);
Bytes oneChannel(const Image& image);

// FNV-1a of 64 bits.
std::uint64_t digest(const Bytes& bytes);

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_PICTURES_H_
