// The operations that look into a packet, on any bytes: each against the head as its layout tells
// it, and none but percentCoverage changes a byte.
#include "fuzz/kit.h"
#include "fuzz/roads.h"
#include "qrx/tile_header.h"

namespace {

using fuzz::Bytes;
using fuzz::require;

// Little-endian fields, read without the record.
std::uint32_t field(const Bytes& packet, std::size_t offset, int size) {
  std::uint32_t value = 0;
  for (int i = size; i-- > 0;) value = value << 8 | packet[offset + static_cast<std::size_t>(i)];
  return value;
}

std::uint32_t signedField(const Bytes& packet, std::size_t offset) {
  const std::uint32_t value = field(packet, offset, 2);
  return value < 32768 ? value : value - 65536;
}

struct Expected {
  explicit Expected(const Bytes& packet) {
    if (packet.size() < 32) return;
    const std::uint64_t mcuWidth = packet[3] / 16 * 8, mcuHeight = packet[3] % 16 * 8;
    window = field(packet, 8, 4);
    index = field(packet, 12, 4);
    if (index >> 31 != 0) index = 0 - index;
    for (std::size_t i = 0; i < 4; ++i) place[i] = signedField(packet, 24 + 2 * i);
    const bool isSized = mcuWidth != 0 && mcuHeight != 0;
    valid = isSized && packet[2] == 1 && signedField(packet, 4) + 2 == packet.size();
    if (!isSized || static_cast<std::int32_t>(place[2]) <= 0 ||
        static_cast<std::int32_t>(place[3]) <= 0) {
      return;
    }
    const std::uint64_t across = (place[2] + mcuWidth - 1) / mcuWidth;
    const std::uint64_t down = (place[3] + mcuHeight - 1) / mcuHeight;
    pixels = across * mcuWidth * down * mcuHeight;
    const auto mcus = static_cast<std::int32_t>(signedField(packet, 6));
    coverage = mcus * 100.0 / static_cast<double>(across * down);
  }

  std::uint32_t window = 0, index = 0, place[4] = {};
  bool valid = false;
  std::uint64_t pixels = 0;
  double coverage = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint32_t kWidths[] = {3, 4, 0, 1, 0xFFFFFFFF};
  fuzz::Input input(data, size);
  const std::uint32_t bytesPerPixel = kWidths[input.below(5)];
  Bytes packet = input.rest();
  // The end of a packet that somebody cut or glued to.
  if (packet.size() >= 32 && input.oneIn(3)) {
    packet[4] = static_cast<std::uint8_t>(packet.size() - 2);
    packet[5] = static_cast<std::uint8_t>((packet.size() - 2) >> 8);
  }
  const Bytes before = packet;
  const Expected expected(packet);
  qrx::Buffer buffer = {nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  qrx::codec::Decompressor* const d = decompressor();

  std::uint32_t place[4] = {1, 1, 1, 1};
  d->getDimensions(&buffer, &place[0], &place[1], &place[2], &place[3]);
  require(std::equal(place, place + 4, expected.place));
  require(d->isValid(&buffer) == expected.valid);
  require(d->getWindow(&buffer) == expected.window);
  const std::uint64_t bytes = expected.pixels * bytesPerPixel;
  require(d->getOutputSize(&buffer, bytesPerPixel, qrx::codec::kFormatRgba) ==
          (bytes <= UINT32_MAX ? bytes : 0));
  require(d->getOutputSize(&buffer, bytesPerPixel, 6407) == 0);
  require(d->getIndex(&buffer) == expected.index && packet == before);

  require(d->percentCoverage(&buffer) == expected.coverage);
  require(d->getIndex(&buffer) == expected.index);
  Bytes marked = before;
  for (std::size_t i = 0; i < 4 && marked.size() >= 32; ++i) {
    marked[12 + i] = static_cast<std::uint8_t>(expected.index >> 8 * i);
  }
  require(packet == marked);
  require(d->percentCoverage(&buffer) == expected.coverage && packet == marked);
  return 0;
}
