// Pictures that tests code, and a few words about bytes.
#include "tests/support/pictures.h"

#include <random>

#include "tools/scene/scene_renderer.h"

namespace qrx::test {
namespace {

std::uint8_t randomByte(std::mt19937& random) { return static_cast<std::uint8_t>(random() >> 24); }

}  // namespace

Image scenePicture(Size size) { return tool::SceneRenderer(size).render(7); }

Image noisePicture(Size size, unsigned seed) {
  Image image(size);
  std::mt19937 random(seed);
  for (std::uint8_t& byte : image.pixels) byte = randomByte(random);
  return image;
}

Image blockyPicture(Size size, unsigned seed) {
  constexpr int kSide = 4;
  Image image(size);
  const Image cells =
      noisePicture({(size.width + kSide - 1) / kSide, (size.height + kSide - 1) / kSide}, seed);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      for (int c = 0; c < 4; ++c)
        image.row(y)[4 * x + c] = cells.row(y / kSide)[4 * (x / kSide) + c];
    }
  }
  return image;
}

Image flatPicture(Size size, int blue, int green, int red) {
  Image image(size, 255);
  const int colour[] = {blue, green, red};
  for (std::size_t i = 0; i < image.pixels.size(); ++i) {
    if (i % 4 != 3) image.pixels[i] = static_cast<std::uint8_t>(colour[i % 4]);
  }
  return image;
}

Bytes threeChannels(const Image& image) {
  Bytes result;
  for (std::size_t i = 0; i < image.pixels.size(); ++i) {
    if (i % 4 != 3) result.push_back(image.pixels[i]);
  }
  return result;
}

Bytes oneChannel(const Image& image) {
  Bytes result;
  for (std::size_t i = 0; i < image.pixels.size(); i += 4) result.push_back(image.pixels[i]);
  return result;
}

std::uint64_t digest(const Bytes& bytes) {
  std::uint64_t sum = 14695981039346656037u;
  for (const std::uint8_t byte : bytes) sum = (sum ^ byte) * 1099511628211u;
  return sum;
}

}  // namespace qrx::test
