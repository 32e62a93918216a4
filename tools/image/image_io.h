// Pictures from and to files and streams: PNG, PPM and PGM.
//
// Every source becomes BGRA with 8 bits per channel. Gray values go to all three colours; alpha
// (a palette's or a transparent colour's included) becomes the fourth byte and the colours stay as
// they are, not blended; without alpha the fourth byte is 255. 16-bit values, and PPM values of
// any other range, are scaled to 0..255 and rounded. Gamma and colour profiles are ignored.
#ifndef QRX_TOOLS_IMAGE_IMAGE_IO_H_
#define QRX_TOOLS_IMAGE_IMAGE_IO_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/image/image.h"

namespace qrx::tool {

enum class ImageFormat { kPng, kPpm };

// The above for --help.
extern const char kMappingHelp[];

// Reads a picture; "-" is standard input. The format is told from the first bytes; if `expected`
// is given, anything else is an error.
Image readImage(const std::string& path, std::optional<ImageFormat> expected = {});

// Format of an output: `requested`, else by the path's extension; a usage error where neither
// tells. Ask before the work begins.
ImageFormat outputFormat(const std::string& path, std::optional<ImageFormat> requested);

// Writes a picture; "-" is standard output. PNG keeps alpha where any pixel is not opaque. With
// `keep` a path that is there is an Error.
void writeImage(const std::string& path, const Image& image, ImageFormat format, bool keep = false);

Image decodePng(std::span<const std::uint8_t> data);
Image decodePnm(std::span<const std::uint8_t> data);
std::vector<std::uint8_t> encodePng(const Image& image);
std::vector<std::uint8_t> encodePpm(const Image& image);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_IMAGE_IO_H_
