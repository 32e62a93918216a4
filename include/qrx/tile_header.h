// Head of a packet: 32 bytes, little-endian, in front of every packet's JPEG slice.
#ifndef QRX_TILE_HEADER_H_
#define QRX_TILE_HEADER_H_

#include <cstddef>
#include <cstdint>

// Coordinates are in pixels of the window; y grows upwards. x, y, width and height tell the
// packet's own rectangle, frameX to frameHeight the rectangle of the whole compress call. The
// rows of an image in memory run downwards, so the first packet of a call has the highest y.
struct udp_header {
  std::int8_t headerSize;    // 32
  std::uint8_t contextByte;  // byte 4 of the block at the compress call's userData
  std::uint8_t kind;         // 231 as written; a receiver takes 1 (qrxMarkPacket of codec.h)
  std::uint8_t mcuShape;     // MCU width / 8 in the high nibble, height / 8 in the low one
  std::int16_t dataEnd;      // packet length - 2: offset of the EOI marker
  std::int16_t mcuCount;     // MCUs in this packet
  std::uint32_t window;      // as given to compress
  std::int32_t index;        // as given to compress; negated in the last packet of a call
  std::int16_t x;            // left edge
  std::int16_t y;            // lower edge of the MCU row in which the packet starts
  std::int16_t width;
  std::int16_t height;
  std::int16_t frameX;  // left edge of the whole rectangle
  std::int16_t frameY;  // lower edge of the whole rectangle
  std::int16_t frameWidth;
  std::int16_t frameHeight;
};

static_assert(sizeof(udp_header) == 32, "the head is 32 bytes on the wire");
static_assert(offsetof(udp_header, headerSize) == 0 && offsetof(udp_header, contextByte) == 1 &&
                  offsetof(udp_header, kind) == 2 && offsetof(udp_header, mcuShape) == 3 &&
                  offsetof(udp_header, dataEnd) == 4 && offsetof(udp_header, mcuCount) == 6 &&
                  offsetof(udp_header, window) == 8 && offsetof(udp_header, index) == 12 &&
                  offsetof(udp_header, x) == 16 && offsetof(udp_header, y) == 18 &&
                  offsetof(udp_header, width) == 20 && offsetof(udp_header, height) == 22 &&
                  offsetof(udp_header, frameX) == 24 && offsetof(udp_header, frameY) == 26 &&
                  offsetof(udp_header, frameWidth) == 28 && offsetof(udp_header, frameHeight) == 30,
              "the head's fields are fixed on the wire");

#endif  // QRX_TILE_HEADER_H_
