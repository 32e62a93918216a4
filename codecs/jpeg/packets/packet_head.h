// The head of a received packet, and what it says of the packet's rectangle.
#ifndef QRX_CODECS_JPEG_PACKETS_PACKET_HEAD_H_
#define QRX_CODECS_JPEG_PACKETS_PACKET_HEAD_H_

#include <cstdint>
#include <optional>

#include "qrx/codec.h"
#include "qrx/tile_header.h"

namespace qrx::codec {

inline constexpr int kHeadSize = sizeof(udp_header);
inline constexpr int kEoiSize = 2;  // behind the slice
// Of a rectangle: the head has signed 16-bit fields.
inline constexpr int kMaxRectangleSide = 32767;

// The head of the packet in `buffer`; none for a null buffer or one too short for a head. The
// fields come from the network: none of them is to be trusted.
std::optional<udp_header> readHead(const Buffer* buffer);

inline int mcuWidthOf(const udp_header& head) { return (head.mcuShape >> 4) * 8; }
inline int mcuHeightOf(const udp_header& head) { return (head.mcuShape & 15) * 8; }

// The rectangle's MCU grid; zeros where the head gives no size or no MCU.
struct PacketGrid {
  std::int64_t across;
  std::int64_t down;
};
PacketGrid packetGrid(const udp_header& head);

// Bytes that the destination of the packet's rectangle needs, padded to whole MCUs.
std::int64_t outputSize(const udp_header& head, std::uint32_t bytesPerPixel);

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_PACKETS_PACKET_HEAD_H_
