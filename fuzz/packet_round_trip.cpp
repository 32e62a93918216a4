// A rectangle as packets and back: dropped, doubled, in any order. The MCUs of what arrived are
// those of the whole picture in one piece, and no other byte changes.
#include "fuzz/packets.h"

namespace {

using fuzz::Bytes;
using fuzz::require;

// A packet closes after the MCU that takes it over 1250 bytes; six blocks of nothing but the
// longest codes are less than as much again.
constexpr std::size_t kLongestPacket = 2 * 1250 + 100;

// The number of the packet that brings each MCU. The packets of a call share a stream as large as
// the pixels: noise at a high quality may fill it before the rectangle ends, and then, and only
// then, the last MCUs are no packet's.
std::vector<std::size_t> ownersOf(const fuzz::Rectangle& made) {
  std::vector<std::size_t> owners;
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < made.packets.size(); ++i) {
    const int count = fuzz::headOf(made.packets[i]).mcuCount;
    require(count > 0);
    owners.insert(owners.end(), static_cast<std::size_t>(count), i);
    bytes += made.packets[i].size();
  }
  const std::size_t all =
      static_cast<std::size_t>(made.across) * static_cast<std::size_t>(made.down);
  const std::size_t capacity = std::max<std::size_t>(3 * made.pixels(), 4096);
  require(owners.size() == all || (owners.size() < all && bytes + kLongestPacket > capacity));
  owners.resize(all, made.packets.size());
  return owners;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const fuzz::Rectangle made = fuzz::anyRectangle(input, 150);
  const std::vector<std::size_t> owners = ownersOf(made);
  const std::uint32_t bytesPerPixel = 3 + static_cast<std::uint32_t>(input.below(2));
  const Bytes empty(made.pixels() * bytesPerPixel, fuzz::kFill);
  Bytes whole = empty, some = empty;
  for (const Bytes& packet : made.packets) require(fuzz::take(packet, bytesPerPixel, whole));

  std::vector<bool> arrived(made.packets.size() + 1);
  for (int i = input.below(2 * static_cast<int>(made.packets.size()) + 1); i > 0; --i) {
    const auto number =
        static_cast<std::size_t>(input.below(static_cast<int>(made.packets.size())));
    require(fuzz::take(made.packets[number], bytesPerPixel, some));
    arrived[number] = true;
  }
  fuzz::look(some);
  const auto width = static_cast<std::size_t>(made.width);
  for (std::size_t i = 0; i < some.size(); ++i) {
    const std::size_t pixel = i / bytesPerPixel, channel = i % bytesPerPixel;
    const std::size_t row = pixel / width / static_cast<std::size_t>(made.mcuHeight);
    const std::size_t column = pixel % width / static_cast<std::size_t>(made.mcuWidth);
    const std::size_t owner = owners[row * static_cast<std::size_t>(made.across) + column];
    const bool isWritten = channel < 3 && arrived[owner];
    require(some[i] == (isWritten ? whole[i] : fuzz::kFill));
  }
  return 0;
}
