// The decompressor on whole images. What it does with packets stands in packets/.
#include <algorithm>
#include <climits>

#include "codecs/jpeg/jpeg_codec.h"
#include "qrx/front_end.h"

namespace qrx::codec {
namespace {

int clampToInt(std::uint32_t value) {
  return static_cast<int>(std::min<std::uint32_t>(value, INT_MAX));
}

}  // namespace

JpegDecompressor::JpegDecompressor(JpegCodec* owner) : codec_(owner) {}

JpegDecompressor::~JpegDecompressor() = default;

int JpegDecompressor::setAttribute(const char*, const char*) { return 1; }

bool JpegDecompressor::decompress(const Buffer* buffer, std::uint32_t bytesPerPixel, std::uint32_t,
                                  std::uint8_t* destination, std::uint32_t destinationSize) {
  if (buffer == nullptr) return false;
  return DecompressPatch(buffer->data, clampToInt(bytesPerPixel), 0, 0, 0, 0,
                         clampToInt(destinationSize), clampToInt(buffer->size), destination) != 0;
}

}  // namespace qrx::codec
