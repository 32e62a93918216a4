// What comes with a picture beside its pixels.
#ifndef QRX_TOOLS_IMAGE_METADATA_H_
#define QRX_TOOLS_IMAGE_METADATA_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/image/image.h"

namespace qrx::tool {

struct Metadata {
  std::vector<std::uint8_t> exif;  // a TIFF structure
  std::vector<std::uint8_t> icc;   // a colour profile
  std::string iccFault = {};       // what is wrong with one that is therefore not here
};

// The place of the upright picture's corner in the stored one, 1 to 8 (Exif 2.3, tag 0112); 1 for
// no Exif data and for what makes no sense.
int orientationOf(std::span<const std::uint8_t> exif);
// Says in the Exif data that the picture is upright.
void setUpright(std::span<std::uint8_t> exif);
// The picture as it is meant to be seen.
Image upright(const Image& image, int orientation);

// Whether a profile is for colours in that form: gray or RGB.
bool profileFits(std::span<const std::uint8_t> icc, bool gray);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_METADATA_H_
