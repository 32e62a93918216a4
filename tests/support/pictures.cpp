// Pictures that tests code.
#include "tests/support/pictures.h"

#include <random>

#include "tools/scene/scene_renderer.h"

namespace qrx::test {

Image scenePicture(Size size) { return tool::SceneRenderer(size).render(7); }

Image noisePicture(Size size, unsigned seed) {
  Image image(size);
  std::mt19937 random(seed);
  for (std::uint8_t& byte : image.pixels) byte = static_cast<std::uint8_t>(random() >> 24);
  return image;
}

Image flatPicture(Size size, int blue, int green, int red) {
  Image image(size);
  const int pixel[] = {blue, green, red, 255};
  for (std::size_t i = 0; i < image.pixels.size(); ++i)
    image.pixels[i] = static_cast<std::uint8_t>(pixel[i % 4]);
  return image;
}

Bytes channelsOf(const Image& image, std::size_t count) {
  Bytes result;
  for (std::size_t i = 0; i < image.pixels.size(); ++i)
    if (i % 4 < count) result.push_back(image.pixels[i]);
  return result;
}

}  // namespace qrx::test
