// One frame through the codec, out and in.
#ifndef QRX_TOOLS_HOST_FRAME_H_
#define QRX_TOOLS_HOST_FRAME_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "qrx/codec.h"
#include "tools/image/image.h"

namespace qrx::tool {

// The library's answer to one frame; empty where it did not call back.
std::vector<std::uint8_t> compressFrame(codec::Compressor& compressor, const Image& image,
                                        unsigned quality);

// Whether a result is a complete image: the library hands over what stands when its encoder fails,
// so only the EOI marker at the end tells.
bool isCompleteJpeg(std::span<const std::uint8_t> data);

struct DecodedFrame {
  Image image;
  std::string messages;   // what the library wrote to standard error
  bool anyPixel = false;  // false: the library left the picture as it was
};

// Decodes a whole image of a known size. Pixels that the library does not write are gray. Not to
// be called from several threads: standard error is redirected for the length of the call.
DecodedFrame decompressFrame(codec::Decompressor& decompressor, std::span<const std::uint8_t> data,
                             Size size);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_FRAME_H_
