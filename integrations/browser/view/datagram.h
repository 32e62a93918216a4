// What goes over a WebSocket, one message a datagram: sequence number and time of the sender in
// front of a packet or of a control message. TCP keeps the bytes, so that no tag is needed.
#ifndef QRX_INTEGRATIONS_BROWSER_VIEW_DATAGRAM_H_
#define QRX_INTEGRATIONS_BROWSER_VIEW_DATAGRAM_H_

#include <chrono>
#include <cstdint>
#include <span>

#include "tools/live/packet.h"
#include "tools/live/wire.h"

namespace qrx::web {

inline constexpr std::size_t kDatagramHeadSize = 16;

struct DatagramHead {
  std::uint64_t sequence = 0;  // from 1
  std::uint64_t sent = 0;      // microseconds of the sender's clock
};

inline tool::Packet sealDatagram(const DatagramHead& head, std::span<const std::uint8_t> payload) {
  tool::WireWriter out;
  out.reserve(kDatagramHeadSize + payload.size());
  out.u64(head.sequence);
  out.u64(head.sent);
  out.bytes(payload);
  return out.take();
}

// The payload; empty where there is none.
inline std::span<const std::uint8_t> openDatagram(std::span<const std::uint8_t> message,
                                                  DatagramHead& head) {
  if (message.size() <= kDatagramHeadSize) return {};
  tool::WireReader in(message);
  head.sequence = in.u64();
  head.sent = in.u64();
  return message.subspan(kDatagramHeadSize);
}

inline std::uint64_t steadyMicroseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace qrx::web

#endif  // QRX_INTEGRATIONS_BROWSER_VIEW_DATAGRAM_H_
