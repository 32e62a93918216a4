// The JPEG slice of a packet, looked at before the decoder gets it: a slice holds one packet
// segment, one scan header and data without markers, and nothing else.
#ifndef QRX_CODECS_JPEG_PACKETS_PACKET_SLICE_H_
#define QRX_CODECS_JPEG_PACKETS_PACKET_SLICE_H_

#include <cstdint>
#include <optional>
#include <span>

namespace qrx::codec {

using SliceBytes = std::span<const std::uint8_t>;

struct PacketSlice {
  int width, height;  // from the packet segment, 0 to 65535
  int components;     // 1 or 3
  int mcuWidth, mcuHeight;
  int dataBytes;  // of entropy-coded data

  // Whether the data can hold so many MCUs: even an empty block takes a few bits.
  bool canHold(int mcuCount) const;
};

// None where the bytes are no packet's slice.
std::optional<PacketSlice> parseSlice(SliceBytes bytes);

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_PACKETS_PACKET_SLICE_H_
