// Datagrams over IPv4.
#ifndef QRX_TOOLS_LIVE_UDP_H_
#define QRX_TOOLS_LIVE_UDP_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/live/packet.h"

namespace qrx::tool {

struct Endpoint {
  std::uint32_t address = 0x7F000001;  // in host order; loopback unless told otherwise
  std::uint16_t port = 0;

  // "192.0.2.1:5000", ":5000" or "5000"; the latter two are on loopback. Usage error otherwise.
  static Endpoint parse(const std::string& text);
  std::string text() const;
  bool operator==(const Endpoint&) const = default;
};

class UdpSocket {
 public:
  // Bound to the endpoint; port 0 takes any free one. Throws Error.
  explicit UdpSocket(const Endpoint& endpoint);
  ~UdpSocket();
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  Endpoint local() const;
  // A datagram that the system won't take is lost, as on any network.
  void send(const Endpoint& to, std::span<const std::uint8_t> data) const;
  struct Datagram {
    Packet bytes;
    Endpoint from;
  };
  // Waits so long at most; 0 looks and returns.
  std::optional<Datagram> receive(int timeoutMs) const;

 private:
  int fd_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_UDP_H_
