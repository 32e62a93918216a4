// The host's road: any bytes through Decompressor::decompress, with a destination that is exactly
// as large as the library was told.
#include <cstdint>
#include <vector>

#include "fuzz/roads.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  // The last byte chooses the pixel width and how much room there is.
  const std::uint32_t bytesPerPixel = 3 + (data[size - 1] & 1);
  const std::uint32_t room = 1u << (8 + (data[size - 1] >> 1) % 13);
  std::vector<std::uint8_t> stream(data, data + size - 1);
  std::vector<std::uint8_t> destination(room, 0xA5);
  const qrx::Buffer buffer = {nullptr, stream.data(), static_cast<std::uint32_t>(stream.size())};
  if (!stream.empty()) {
    decompressor()->decompress(&buffer, bytesPerPixel, qrx::codec::kFormatRgba, destination.data(),
                               room);
  }
  return 0;
}
