// The packet road: any bytes through getOutputSize and decompressTile, and the slice by itself
// through the function below them. Only pixels of the rectangle may change, and none of a packet
// that is refused.
#include <algorithm>
#include <cstring>

#include "fuzz/kit.h"
#include "fuzz/roads.h"
#include "qrx/front_end.h"
#include "qrx/tile_header.h"

namespace {

constexpr std::uint32_t kMaxSize = 1 << 22;

bool isUntouched(std::uint8_t byte) { return byte == fuzz::kFill; }

// Its place is the word of the head, which nobody has held against the slice.
void decodeSlice(const fuzz::Bytes& packet, std::uint32_t bytesPerPixel) {
  udp_header head;
  if (packet.size() < sizeof head) return;
  std::memcpy(&head, packet.data(), sizeof head);
  const std::int64_t bytes = std::int64_t{head.frameWidth} * head.frameHeight * bytesPerPixel;
  if (head.frameWidth <= 0 || bytes < 0 || bytes > kMaxSize) return;
  fuzz::Bytes destination(static_cast<std::size_t>(bytes) + 1, fuzz::kFill);
  const int result = DecompressTilesPatch(
      packet.data() + sizeof head, static_cast<int>(bytesPerPixel), static_cast<int>(bytes),
      static_cast<int>(packet.size() - sizeof head) - 2, head.mcuCount, head.x - head.frameX,
      head.frameWidth, destination.data());
  const auto first = destination.begin() + (result != 0 ? bytes : 0);
  fuzz::require(std::all_of(first, destination.end(), isUntouched));
  fuzz::look(destination);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint32_t bytesPerPixel = 3 + static_cast<std::uint32_t>(input.below(2));
  fuzz::Bytes packet = input.rest();
  qrx::Buffer buffer = {nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  qrx::codec::Decompressor* d = decompressor();
  decodeSlice(packet, bytesPerPixel);

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
  const auto first = destination.begin() + static_cast<std::ptrdiff_t>(taken ? rectangle : 0);
  fuzz::require(std::all_of(first, destination.end(), isUntouched));
  fuzz::look(destination);
  return 0;
}
