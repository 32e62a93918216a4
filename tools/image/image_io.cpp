// Choice of the picture format, and whole-file reading and writing.
#include "tools/image/image_io.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "tools/support/files.h"

namespace qrx::tool {
namespace {

constexpr std::array<std::uint8_t, 8> kPngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

}  // namespace

std::optional<ImageFormat> recogniseImage(std::span<const std::uint8_t> data) {
  if (data.size() >= kPngSignature.size() &&
      std::equal(kPngSignature.begin(), kPngSignature.end(), data.begin())) {
    return ImageFormat::kPng;
  }
  if (data.size() >= 2 && data[0] == 'P' && data[1] >= '1' && data[1] <= '7') {
    return ImageFormat::kPnm;
  }
  return std::nullopt;
}

const char kMappingHelp[] =
    "How pictures become frames: what is gray stays gray. Alpha is carried in the\n"
    "fourth byte, which JPEG drops; colours are not blended with it. 16-bit values are scaled\n"
    "to 8 bits and rounded. Gamma and colour profiles\n"
    "change no value.";

ImageFormat outputFormat(const std::string& path, std::optional<ImageFormat> requested) {
  if (requested) return *requested;
  if (isStream(path)) return ImageFormat::kPnm;
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (extension == ".png") return ImageFormat::kPng;
  if (extension == ".ppm") return ImageFormat::kPpm;
  if (extension == ".pgm") return ImageFormat::kPgm;
  if (extension == ".pnm") return ImageFormat::kPnm;
  throw Error(displayName(path) + ": the name tells no format: end it in .png, .ppm, .pgm or .pnm" +
                  ", or give --format",
              kUsage);
}

std::string writeImage(const std::string& path, const Image& image, ImageFormat format, bool keep,
                       const Metadata& metadata) {
  std::string iccFault;
  const bool pgm = format == ImageFormat::kPgm || (format == ImageFormat::kPnm && image.gray);
  writeFile(path,
            format == ImageFormat::kPng ? encodePng(image, metadata, &iccFault)
            : pgm                       ? encodePgm(image)
                                        : encodePpm(image),
            keep);
  return iccFault;
}

Image decodeRaw(std::span<const std::uint8_t> data, Size size, std::optional<PixelOrder> order) {
  // Of blue, green, red and alpha in a raw pixel; -1 for none.
  struct Layout {
    std::size_t bytes;
    int places[4];
  };
  constexpr Layout kLayouts[] = {{1, {0, 0, 0, -1}},
                                 {3, {2, 1, 0, -1}},
                                 {3, {0, 1, 2, -1}},
                                 {4, {2, 1, 0, 3}},
                                 {4, {0, 1, 2, 3}}};
  const std::size_t pixels = Image::byteCount(size) / Image::kBytesPerPixel;
  if (!order) {
    for (const PixelOrder guess : {PixelOrder::kGray, PixelOrder::kRgb, PixelOrder::kRgba}) {
      if (data.size() == pixels * kLayouts[static_cast<int>(guess)].bytes) order = guess;
    }
  }
  const Layout& layout = kLayouts[static_cast<int>(order.value_or(PixelOrder::kRgb))];
  if (!order || data.size() != pixels * layout.bytes) {
    throw Error(std::to_string(data.size()) + " bytes are no picture of " +
                std::to_string(size.width) + "x" + std::to_string(size.height) +
                " pixels: check --size and --pixels");
  }
  Image image(size, 0xFF);
  image.gray = order == PixelOrder::kGray;
  for (std::size_t i = 0; i < pixels; ++i) {
    for (std::size_t c = 0; c < 4; ++c) {
      const int place = layout.places[c];
      if (place < 0) continue;
      image.pixels[i * 4 + c] = data[i * layout.bytes + static_cast<std::size_t>(place)];
    }
  }
  return image;
}

}  // namespace qrx::tool
