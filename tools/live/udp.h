// Datagrams over IPv4 and IPv6.
#ifndef QRX_TOOLS_LIVE_UDP_H_
#define QRX_TOOLS_LIVE_UDP_H_

#include <cstdint>
#include <optional>
#include <span>

#include "tools/live/endpoint.h"
#include "tools/live/packet.h"

namespace qrx::tool {

class UdpSocket {
 public:
  static constexpr int kMostRoom = 4 << 20;

  // Bound to the endpoint; port 0 takes any free one. `room`: bytes that may wait on the way in, as
  // far as the system allows. Throws Error.
  explicit UdpSocket(const Endpoint& endpoint, int room = kMostRoom);
  ~UdpSocket();
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  Endpoint local() const;
  // A datagram that the system won't take is lost, as on any network.
  void send(const Endpoint& to, std::span<const std::uint8_t> data) const;
  struct Datagram {
    Packet bytes;
    Endpoint from;
    std::uint64_t waited = 0;  // microseconds in the system's buffer, where that tells
  };
  // Waits so long at most; 0 looks and returns.
  std::optional<Datagram> receive(int timeoutMs);
  // Datagrams that came and found no room in the system's buffer, as far as is known yet.
  std::uint32_t dropped() const { return dropped_; }

 private:
  Packet room_;  // for the longest datagram
  int fd_;
  std::uint32_t dropped_ = 0;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_UDP_H_
