// The frame calls of the contract with their callback and buffer.
#include "tools/host/frame.h"

#include <algorithm>

#include "tools/host/capture.h"

namespace qrx::tool {
namespace {

constexpr std::uint8_t kBackground = 128;

void takeFrame(std::uint8_t* data, std::uint32_t size, void* userData) {
  static_cast<std::vector<std::uint8_t>*>(userData)->assign(data, data + size);
}

}  // namespace

std::vector<std::uint8_t> compressFrame(codec::Compressor& compressor, const Image& image,
                                        unsigned quality) {
  std::vector<std::uint8_t> result;
  const bool done = compressor.compress(image.pixels.data(), Image::kBytesPerPixel, 0, 0, 0, 0,
                                        static_cast<std::uint32_t>(image.size.width),
                                        static_cast<std::uint32_t>(image.size.height), 0, quality,
                                        takeFrame, &result);
  if (!done) result.clear();
  return result;
}

bool isCompleteJpeg(std::span<const std::uint8_t> data) {
  return data.size() >= 4 && data[data.size() - 2] == 0xFF && data[data.size() - 1] == 0xD9;
}

DecodedFrame decompressFrame(codec::Decompressor& decompressor, std::span<const std::uint8_t> data,
                             Size size) {
  DecodedFrame result{Image(size, kBackground), {}, false};
  std::vector<std::uint8_t>& pixels = result.image.pixels;
  // The library leaves every fourth byte alone, and a picture file takes it for opacity.
  for (std::size_t i = 3; i < pixels.size(); i += Image::kBytesPerPixel) pixels[i] = 0xFF;
  const std::vector<std::uint8_t> before = pixels;

  std::vector<std::uint8_t> stream(data.begin(), data.end());  // the contract wants it writable
  const Buffer buffer{nullptr, stream.data(), static_cast<std::uint32_t>(stream.size())};
  StderrCapture capture;
  const bool accepted =
      decompressor.decompress(&buffer, Image::kBytesPerPixel, codec::kFormatRgba, pixels.data(),
                              static_cast<std::uint32_t>(pixels.size()));
  result.messages = capture.finish();
  if (!accepted) result.messages += "the library refused the call\n";
  result.anyPixel = pixels != before;
  return result;
}

}  // namespace qrx::tool
