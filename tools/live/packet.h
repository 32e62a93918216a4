// A packet as the host sees it: its bytes, and what its head says about its place.
#ifndef QRX_TOOLS_LIVE_PACKET_H_
#define QRX_TOOLS_LIVE_PACKET_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "qrx/tile_header.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

using Packet = std::vector<std::uint8_t>;

// The longest packet that can be valid: its length less 2 stands in a signed 16-bit field.
inline constexpr std::size_t kLongestPacket = 32769;

// None where the data is too short for a head.
std::optional<udp_header> readHead(std::span<const std::uint8_t> data);

// The MCUs that a packet brings, in the grid of its rectangle; counted row by row from the top.
struct PacketCells {
  int mcuWidth = 0, mcuHeight = 0;
  int columns = 0, rows = 0;
  int first = 0, count = 0;

  int total() const { return columns * rows; }
  // Pixels of one MCU within the rectangle, cut at its edges.
  Box cell(int mcu, Size rectangle) const;
};

// None where the head contradicts itself. The fields come from a network: none is trusted.
std::optional<PacketCells> cellsOf(const udp_header& head);

// The frame that a context byte, its number's last eight bits, speaks of: the one nearest to the
// latest that is known.
std::uint32_t nearestFrame(std::uint8_t contextByte, std::uint32_t latest);

// Place of a rectangle with a lower edge `y`, counted upwards from the window's lower edge, in a
// picture whose rows run downwards.
Box boxInWindow(int x, int y, int width, int height, Size window);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_PACKET_H_
