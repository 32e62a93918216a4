// An address and a port, of IPv4 or IPv6.
#ifndef QRX_TOOLS_LIVE_ENDPOINT_H_
#define QRX_TOOLS_LIVE_ENDPOINT_H_

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace qrx::tool {

// How to write one, for messages and --help.
inline constexpr char kEndpointForms[] =
    "give HOST:PORT, [IPv6]:PORT or a port of this machine alone";

struct Endpoint {
  bool isV6 = false;
  std::array<std::uint8_t, 16> address{127, 0, 0, 1};  // in network order; IPv4: the first four
  std::uint32_t scope = 0;                             // IPv6: the interface of a link-local one
  std::uint16_t port = 0;

  // "192.0.2.1:5000", "name:5000", "[::1]:5000", ":5000" or "5000"; the latter two are 127.0.0.1.
  // A name becomes its IPv4 address, or its IPv6 address where it has no other. Throws Error, a
  // usage error for text of another form.
  static Endpoint parse(const std::string& text);
  // Any port; on loopback for a peer there, else on all addresses of that peer's kind.
  static Endpoint toReach(const Endpoint& peer);

  bool isLoopback() const;
  std::string text() const;
  std::vector<std::uint8_t> bytes() const;  // all of it, the same for equal ones only
  bool operator==(const Endpoint&) const = default;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_ENDPOINT_H_
