// Pictures from and to bytes: PNG, the PNM family (PBM, PGM, PPM, PAM), raw pixels.
//
// Every source becomes BGRA with 8 bits per channel. Gray values go to all three colours, and the
// picture is marked as gray; alpha
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
#include "tools/image/limits.h"
#include "tools/image/metadata.h"

namespace qrx::tool {

// kPnm: PGM for gray pictures, PPM for others. As inputs the last three are one.
enum class ImageFormat { kPng, kPpm, kPgm, kPnm };

// Order of the bytes of a raw pixel.
enum class PixelOrder { kGray, kRgb, kBgr, kRgba, kBgra };

// The above for --help.
extern const char kMappingHelp[];

// Told from the first bytes; kPnm for all of that family.
std::optional<ImageFormat> recogniseImage(std::span<const std::uint8_t> data);

// Format of an output: `requested`, else by the path's extension, PNM for standard output; a usage
// error where neither tells. Ask before the work begins.
ImageFormat outputFormat(const std::string& path, std::optional<ImageFormat> requested);

// Writes a picture; "-" is standard output. PNG keeps alpha where any pixel is not opaque, and the
// metadata; gray pictures become gray PNGs. With `keep` a path that is there is an Error. Returns
// what is wrong with a colour profile that was left out for it.
std::string writeImage(const std::string& path, const Image& image, ImageFormat format,
                       bool keep = false, const Metadata& metadata = {});

// Throw Error where the data is damaged, or the header tells more than the limits allow.
Image decodePng(std::span<const std::uint8_t> data, Metadata* metadata = nullptr,
                const Limits& limits = {});
Image decodePnm(std::span<const std::uint8_t> data, const Limits& limits = {});
// Without an order that which the number of bytes tells: gray, RGB or RGBA.
Image decodeRaw(std::span<const std::uint8_t> data, Size size, std::optional<PixelOrder> order);
// A profile that libpng does not take is left out, with its fault.
std::vector<std::uint8_t> encodePng(const Image& image, const Metadata& metadata = {},
                                    std::string* iccFault = nullptr);
std::vector<std::uint8_t> encodePpm(const Image& image);
std::vector<std::uint8_t> encodePgm(const Image& image);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_IMAGE_IO_H_
