// Pictures of any kind that the tool reads, JPEGs through the library.
#ifndef QRX_TOOLS_HOST_PICTURE_H_
#define QRX_TOOLS_HOST_PICTURE_H_

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/host/session.h"
#include "tools/image/image_io.h"
#include "tools/jpeg/walk.h"

namespace qrx::tool {

struct Picture {
  Image image;
  Metadata metadata;                // upright where the image was turned
  std::vector<std::string> damage;  // of a JPEG; empty: none found
};

struct DecodeRequest {
  bool orient = true;  // turn the picture as its Exif data tells
  Limits limits;
};

// Decodes a whole JPEG, CMYK and YCCK to colours of the screen too. Throws Error with the reason
// where there is no picture. `info` is a walk over `data`. Not to be called from several threads,
// as decompressFrame.
Picture decodeJpeg(Session& session, std::span<const std::uint8_t> data, const JpegInfo& info,
                   const DecodeRequest& request);

struct PictureRequest {
  std::optional<ImageFormat> format;  // accept only this one
  std::optional<Size> rawSize;        // raw pixels of that size
  std::optional<PixelOrder> order;    // of raw pixels
  DecodeRequest decode;
};

// Reads a picture; "-" is standard input. The kind is told from the first bytes. Damage of a JPEG
// is told on standard error.
Picture readPicture(const std::string& path, const PictureRequest& request, LazySession& session);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_PICTURE_H_
