// The host's road: any bytes through Decompressor::decompress, with a destination that is exactly
// as large as the library was told.
#include "fuzz/kit.h"
#include "fuzz/roads.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const int choice = input.below(18);
  const auto bytesPerPixel = static_cast<std::uint32_t>(3 + choice % 2);
  const std::uint32_t room = 256u << choice / 2;
  fuzz::Bytes stream = input.rest(), destination(room, fuzz::kFill);
  const qrx::Buffer buffer = {nullptr, stream.data(), static_cast<std::uint32_t>(stream.size())};
  decompressor()->decompress(&buffer, bytesPerPixel, qrx::codec::kFormatRgba, destination.data(),
                             room);
  fuzz::look(destination);
  return 0;
}
