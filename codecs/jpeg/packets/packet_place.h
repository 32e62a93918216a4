// Where a packet's pixels lie in its rectangle, settled once from what the network sent.
#ifndef QRX_CODECS_JPEG_PACKETS_PACKET_PLACE_H_
#define QRX_CODECS_JPEG_PACKETS_PACKET_PLACE_H_

#include <cstdint>
#include <optional>

#include "codecs/jpeg/packets/packet_slice.h"
#include "qrx/tile_header.h"

namespace qrx::codec {

// The cells of the rectangle's MCU grid that a packet fills: a run in raster order, whose rows are
// counted from the one with the packet's first MCU.
struct PacketCells {
  int frameWidth;           // of the rectangle, in pixels
  int mcuWidth, mcuHeight;  // in pixels
  int across;               // MCUs in a row of the rectangle
  int firstColumn;          // of the packet's first MCU
  int count;
  int rows;  // MCU rows that the packet touches

  // MCUs in the packet's row `row`, and the column where they start.
  int columnOf(int row) const { return row == 0 ? firstColumn : 0; }
  int countIn(int row) const;
  // The same in pixels: what hangs over the rectangle's right edge doesn't count.
  int left(int row) const { return columnOf(row) * mcuWidth; }
  int right(int row) const;
};

// None where the arguments are out of range or the slice's size is not that of these cells.
std::optional<PacketCells> packetCells(const PacketSlice& slice, int mcuCount, int xOffset,
                                       int frameWidth);

struct PacketPlace {
  PacketCells cells;
  int top;     // upper line of the packet's first MCU row in the rectangle
  int bottom;  // the line below its last one; the rectangle ends there at the latest

  // Pixels of the rectangle in front of the packet's first row, and up to its last own pixel.
  std::int64_t pixelsBefore() const { return std::int64_t{cells.frameWidth} * top; }
  std::int64_t pixelsNeeded() const;
};

// Holds a packet's head against its slice. None where they disagree or the packet's cells are not
// cells of its rectangle.
std::optional<PacketPlace> locate(const udp_header& head, const PacketSlice& slice);

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_PACKETS_PACKET_PLACE_H_
