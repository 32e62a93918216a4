// Choice of the picture format, and whole-file reading and writing.
#include "tools/image/image_io.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "tools/support/files.h"

namespace qrx::tool {
namespace {

constexpr std::array<std::uint8_t, 8> kPngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

std::optional<ImageFormat> recognise(std::span<const std::uint8_t> data) {
  if (data.size() >= kPngSignature.size() &&
      std::equal(kPngSignature.begin(), kPngSignature.end(), data.begin())) {
    return ImageFormat::kPng;
  }
  if (data.size() >= 2 && data[0] == 'P' &&
      (data[1] == '2' || data[1] == '3' || data[1] == '5' || data[1] == '6')) {
    return ImageFormat::kPpm;
  }
  return std::nullopt;
}

}  // namespace

const char kMappingHelp[] =
    "How pictures become frames: gray becomes three equal colours. Alpha is carried in the\n"
    "fourth byte, which JPEG drops; colours are not blended with it. 16-bit values are scaled\n"
    "to 8 bits and rounded. Gamma and colour profiles are ignored.";

Image readImage(const std::string& path, std::optional<ImageFormat> expected) {
  const std::vector<std::uint8_t> data = readFile(path);
  const std::optional<ImageFormat> format = recognise(data);
  const std::string name = displayName(path);
  if (!format) throw Error(name + ": not a PNG, PPM or PGM picture");
  if (expected && *expected != *format) throw Error(name + ": not in the format of --format");
  try {
    return *format == ImageFormat::kPng ? decodePng(data) : decodePnm(data);
  } catch (const Error& error) {
    throw Error(name + ": " + error.what());
  }
}

ImageFormat outputFormat(const std::string& path, std::optional<ImageFormat> requested) {
  if (requested) return *requested;
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (extension == ".png") return ImageFormat::kPng;
  if (extension == ".ppm" || extension == ".pnm") return ImageFormat::kPpm;
  throw Error(displayName(path) + ": give --format, or a name that ends in .png or .ppm", kUsage);
}

void writeImage(const std::string& path, const Image& image, ImageFormat format, bool keep) {
  writeFile(path, format == ImageFormat::kPng ? encodePng(image) : encodePpm(image), keep);
}

}  // namespace qrx::tool
