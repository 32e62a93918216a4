// The packet road: any bytes through the inspection operations and decompressTile. Only pixels of
// the rectangle may change, and none of a packet that is refused.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/roads.h"
#include "qrx/tile_header.h"

namespace {

constexpr std::uint32_t kMaxSize = 1 << 22;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::uint32_t bytesPerPixel = 3 + (data[size - 1] & 1);
  std::vector<std::uint8_t> packet(data, data + size - 1);
  qrx::Buffer buffer = {nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  qrx::codec::Decompressor* d = decompressor();

  std::uint32_t x, y, width, height;
  d->isValid(&buffer);
  d->getWindow(&buffer);
  d->getDimensions(&buffer, &x, &y, &width, &height);
  const std::uint32_t index = d->getIndex(&buffer);
  const std::uint32_t needed = d->getOutputSize(&buffer, bytesPerPixel, qrx::codec::kFormatRgba);
  d->percentCoverage(&buffer);
  require(d->getIndex(&buffer) == index);
  if (needed == 0 || needed > kMaxSize) {
    // No room is known: a bound of one byte has to protect the destination.
    std::uint8_t byte = 0xA5;
    d->decompressTile(&buffer, bytesPerPixel, qrx::codec::kFormatRgba, &byte, 1);
    return 0;
  }
  std::vector<std::uint8_t> destination(needed, 0xA5);
  const bool taken =
      d->decompressTile(&buffer, bytesPerPixel, qrx::codec::kFormatRgba, destination.data(), 0);
  const std::size_t rectangle = std::size_t{width} * height * bytesPerPixel;
  const auto untouched = [](std::uint8_t byte) { return byte == 0xA5; };
  const auto first = destination.begin() + static_cast<std::ptrdiff_t>(taken ? rectangle : 0);
  require(std::all_of(first, destination.end(), untouched));
  return 0;
}
