// The geometry of a packet. Everything here comes from the network.
#include "codecs/jpeg/packets/packet_place.h"

#include <algorithm>

#include "codecs/jpeg/library/mcu_grid.h"
#include "codecs/jpeg/packets/packet_head.h"

namespace qrx::codec {
namespace {

// A distance between two 16-bit coordinates, modulo 65536 as a signed number.
int distance(std::int16_t from, std::int16_t to) {
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(to - from));
}

// The lower edge of MCU row `row`, counted up from the rectangle's lower edge: the last row is
// clamped there.
int lowerEdge(int row, int mcuHeight, int frameHeight) {
  return std::max(0, frameHeight - (row + 1) * mcuHeight);
}

// Height that the writer gives a packet from row `first` to row `last`.
int packetHeight(int first, int last, int mcuHeight, int frameHeight) {
  const int upper = std::min(lowerEdge(first, mcuHeight, frameHeight) + mcuHeight, frameHeight);
  return upper - lowerEdge(last, mcuHeight, frameHeight);
}

// What head and slice both tell.
bool agree(const udp_header& head, const PacketSlice& slice) {
  return slice.mcuWidth == mcuWidthOf(head) && slice.mcuHeight == mcuHeightOf(head) &&
         slice.width == static_cast<std::uint16_t>(head.width) &&
         slice.height == static_cast<std::uint16_t>(head.height);
}

}  // namespace

int PacketCells::countIn(int row) const {
  const int before = row == 0 ? 0 : row * across - firstColumn;
  return std::min(count - before, across - columnOf(row));
}

int PacketCells::right(int row) const {
  return std::min((columnOf(row) + countIn(row)) * mcuWidth, frameWidth);
}

std::optional<PacketCells> packetCells(const PacketSlice& slice, int mcuCount, int xOffset,
                                       int frameWidth) {
  if (mcuCount < 0 || frameWidth < 1 || frameWidth > kMaxRectangleSide || xOffset < 0 ||
      xOffset >= frameWidth || xOffset % slice.mcuWidth != 0 || !slice.canHold(mcuCount)) {
    return std::nullopt;
  }
  PacketCells cells = {};
  cells.frameWidth = frameWidth;
  cells.mcuWidth = slice.mcuWidth;
  cells.mcuHeight = slice.mcuHeight;
  cells.across = ::mcuCount(frameWidth, slice.mcuWidth);
  cells.firstColumn = xOffset / slice.mcuWidth;
  cells.count = mcuCount;
  cells.rows = (cells.firstColumn + mcuCount + cells.across - 1) / cells.across;
  if (mcuCount == 0) return cells;

  // The slice counts as a small image of its own, which has to be the size of these cells. One MCU
  // alone may say the whole rectangle's width.
  const int ownWidth =
      cells.rows == 1 ? std::min(frameWidth, mcuCount * slice.mcuWidth) : frameWidth;
  const bool widthFits = slice.width == ownWidth || (mcuCount == 1 && slice.width == frameWidth);
  if (!widthFits || ::mcuCount(slice.height, slice.mcuHeight) != cells.rows) return std::nullopt;
  return cells;
}

std::int64_t PacketPlace::pixelsNeeded() const {
  return std::int64_t{bottom - 1} * cells.frameWidth + cells.right(cells.rows - 1);
}

std::optional<PacketPlace> locate(const udp_header& head, const PacketSlice& slice) {
  if (!agree(head, slice)) return std::nullopt;
  const auto cells =
      packetCells(slice, head.mcuCount, distance(head.frameX, head.x), head.frameWidth);
  if (!cells) return std::nullopt;
  if (cells->count == 0) return PacketPlace{*cells, 0, 0};

  // Where the height is no whole number of MCUs, only the last row's lower edge is clamped.
  const int frameHeight = head.frameHeight, mcuHeight = cells->mcuHeight;
  const int fromTop = frameHeight - distance(head.frameY, head.y);
  if (fromTop < 1 || fromTop > frameHeight) return std::nullopt;
  const int firstRow = (fromTop + mcuHeight - 1) / mcuHeight - 1;
  const int lastRow = firstRow + cells->rows - 1;
  if (frameHeight - fromTop != lowerEdge(firstRow, mcuHeight, frameHeight) ||
      lastRow >= packetGrid(head).down ||
      slice.height != packetHeight(firstRow, lastRow, mcuHeight, frameHeight)) {
    return std::nullopt;
  }
  return PacketPlace{*cells, firstRow * mcuHeight,
                     std::min((lastRow + 1) * mcuHeight, frameHeight)};
}

}  // namespace qrx::codec
