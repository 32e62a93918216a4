// The packet road: any bytes through getOutputSize and decompressTile. Only pixels of
// the rectangle may change, and none of a packet that is refused.
#include <algorithm>

#include "fuzz/kit.h"
#include "fuzz/roads.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint32_t kMaxSize = 1 << 22;
  fuzz::Input input(data, size);
  const std::uint32_t bytesPerPixel = 3 + static_cast<std::uint32_t>(input.below(2));
  fuzz::Bytes packet = input.rest();
  qrx::Buffer buffer = {nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  qrx::codec::Decompressor* d = decompressor();

  std::uint32_t x, y, width, height;
  d->getDimensions(&buffer, &x, &y, &width, &height);
  const std::uint32_t needed = d->getOutputSize(&buffer, bytesPerPixel, qrx::codec::kFormatRgba);
  if (needed == 0 || needed > kMaxSize) {
    // No room is known: a bound of one byte has to protect the destination.
    std::uint8_t byte = fuzz::kFill;
    d->decompressTile(&buffer, bytesPerPixel, qrx::codec::kFormatRgba, &byte, 1);
    return 0;
  }
  fuzz::Bytes destination(needed, fuzz::kFill);
  const bool taken =
      d->decompressTile(&buffer, bytesPerPixel, qrx::codec::kFormatRgba, destination.data(), 0);
  const std::size_t rectangle = std::size_t{width} * height * bytesPerPixel;
  const auto untouched = [](std::uint8_t byte) { return byte == fuzz::kFill; };
  const auto first = destination.begin() + static_cast<std::ptrdiff_t>(taken ? rectangle : 0);
  fuzz::require(std::all_of(first, destination.end(), untouched));
  return 0;
}
