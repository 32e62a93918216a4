// Geometry of packets.
#include "tools/live/packet.h"

#include <algorithm>
#include <cstring>

namespace qrx::tool {
namespace {

constexpr int divideUp(int a, int b) { return (a + b - 1) / b; }

// Differences of the head's coordinates wrap at 16 bits.
int distance(std::int16_t from, std::int16_t to) { return static_cast<std::int16_t>(to - from); }

}  // namespace

std::optional<udp_header> readHead(std::span<const std::uint8_t> data) {
  udp_header head;
  if (data.size() < sizeof head) return std::nullopt;
  std::memcpy(&head, data.data(), sizeof head);
  return head;
}

Box PacketCells::cell(int mcu, Size rectangle) const {
  const int left = mcu % columns * mcuWidth, top = mcu / columns * mcuHeight;
  return {left, top, std::min(left + mcuWidth, rectangle.width),
          std::min(top + mcuHeight, rectangle.height)};
}

std::optional<PacketCells> cellsOf(const udp_header& head) {
  PacketCells cells;
  cells.mcuWidth = (head.mcuShape >> 4) * 8;
  cells.mcuHeight = (head.mcuShape & 15) * 8;
  if (cells.mcuWidth == 0 || cells.mcuHeight == 0) return std::nullopt;
  if (head.frameWidth < 1 || head.frameHeight < 1 || head.mcuCount < 0) return std::nullopt;
  cells.columns = divideUp(head.frameWidth, cells.mcuWidth);
  cells.rows = divideUp(head.frameHeight, cells.mcuHeight);
  // y is the lower edge of the packet's first row of MCUs, and that of the rectangle in the last.
  const int below = head.frameHeight - distance(head.frameY, head.y);
  const int across = distance(head.frameX, head.x);
  if (below < 1 || across < 0 || across % cells.mcuWidth != 0) return std::nullopt;
  const int row = divideUp(below, cells.mcuHeight) - 1, column = across / cells.mcuWidth;
  if (row >= cells.rows || column >= cells.columns) return std::nullopt;
  cells.first = row * cells.columns + column;
  cells.count = head.mcuCount;
  if (cells.count > cells.total() - cells.first) return std::nullopt;
  return cells;
}

std::uint32_t nearestFrame(std::uint8_t contextByte, std::uint32_t latest) {
  const auto ahead = static_cast<std::int8_t>(contextByte - static_cast<std::uint8_t>(latest));
  const std::int64_t frame = std::int64_t{latest} + ahead;
  return static_cast<std::uint32_t>(std::max<std::int64_t>(frame, 0));
}

Box boxInWindow(int x, int y, int width, int height, Size window) {
  const int top = window.height - y - height;
  return {x, top, x + width, top + height};
}

}  // namespace qrx::tool
