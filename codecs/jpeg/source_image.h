// The host's pixels as the encoder takes them, for both compress roads.
#ifndef QRX_CODECS_JPEG_SOURCE_IMAGE_H_
#define QRX_CODECS_JPEG_SOURCE_IMAGE_H_

#include <cstdint>

#include "qrx/front_end.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::codec {

// How a pixel format is coded.
struct PixelLayout {
  int channels;
  _JPEG_COLOR source;
  _JPEG_COLOR jpeg;
};

// Whether `format` is an OpenGL number that the codec knows.
bool isKnownFormat(int format);
// Layout of a known format.
PixelLayout pixelLayout(const qrxJPEGArgs_type& args);

// Raw size of an image, and what the stream buffer gets: that size, but room for the headers.
std::int64_t rawSize(const PixelLayout& layout, int width, int height);
std::int64_t streamCapacity(const PixelLayout& layout, int width, int height);
// Whether both sides lie in 0..maxSide and the raw size fits in an int.
bool isCodableSize(const PixelLayout& layout, int width, int height, int maxSide);

// Gives the host's pixels to the encoder, tightly packed. With `fourBytes` a pixel of three
// channels has a fourth byte, which is not read. Throws std::bad_alloc.
void setSource(CJPEGEncoder& encoder, const std::uint8_t* image, IppiSize size,
               const PixelLayout& layout, bool fourBytes);

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_SOURCE_IMAGE_H_
