// The JPEG slice of a packet, looked at before the decoder gets it: a slice holds one packet
// segment, one scan header and data without markers, and nothing else.
#ifndef QRX_CODECS_JPEG_PACKET_SLICE_H_
#define QRX_CODECS_JPEG_PACKET_SLICE_H_

#include <cstdint>
#include <optional>

namespace qrx::codec {

struct PacketSlice {
  int width, height;  // from the packet segment, 0 to 65535
  int components;     // 1 or 3
  int mcuWidth, mcuHeight;
  int dataBytes;  // of entropy-coded data

  // Whether the data can hold so many MCUs: even an empty block takes a few bits.
  bool canHold(int mcuCount) const;
};

// None where the bytes are no packet's slice.
std::optional<PacketSlice> parseSlice(const std::uint8_t* slice, int length);

// The cells of the rectangle's MCU grid that a packet fills.
struct PacketCells {
  int across;       // MCUs in a row of the rectangle
  int firstColumn;  // of the packet's first MCU
  int count;
  int rows;  // MCU rows that the packet touches

  // MCUs in the packet's row `row`, and the column where they start.
  int columnOf(int row) const { return row == 0 ? firstColumn : 0; }
  int countIn(int row) const;
};

// None where the arguments are out of range or the slice's size is not that of these cells.
std::optional<PacketCells> packetCells(const PacketSlice& slice, int mcuCount, int xOffset,
                                       int frameWidth);

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_PACKET_SLICE_H_
