// POSIX sockets.
#include "tools/live/udp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "tools/support/error.h"

namespace qrx::tool {
namespace {

constexpr int kBufferBytes = 4 << 20;

sockaddr_in toSystem(const Endpoint& endpoint) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(endpoint.address);
  address.sin_port = htons(endpoint.port);
  return address;
}

Endpoint fromSystem(const sockaddr_in& address) {
  return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

}  // namespace

Endpoint Endpoint::parse(const std::string& text) {
  Endpoint endpoint;
  const std::size_t colon = text.rfind(':');
  const std::string host = colon == std::string::npos ? "" : text.substr(0, colon);
  const char* first = text.data() + (colon == std::string::npos ? 0 : colon + 1);
  const char* last = text.data() + text.size();
  const auto number = std::from_chars(first, last, endpoint.port);
  in_addr address{};
  const bool hostSound = host.empty() || inet_pton(AF_INET, host.c_str(), &address) == 1;
  if (number.ec != std::errc{} || number.ptr != last || !hostSound) {
    throw Error(text + ": give ADDRESS:PORT with an IPv4 address", kUsage);
  }
  if (!host.empty()) endpoint.address = ntohl(address.s_addr);
  return endpoint;
}

std::string Endpoint::text() const {
  char host[INET_ADDRSTRLEN] = "";
  const in_addr raw{htonl(address)};
  inet_ntop(AF_INET, &raw, host, sizeof host);
  std::string text(host);
  text += ':';
  text += std::to_string(port);
  return text;
}

UdpSocket::UdpSocket(const Endpoint& endpoint)
    : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in address = toSystem(endpoint);
  if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    throw Error(endpoint.text() + ": " + std::strerror(error));
  }
  // As much as the system allows: a frame's packets come in a bunch.
  setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &kBufferBytes, sizeof kBufferBytes);
  setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &kBufferBytes, sizeof kBufferBytes);
}

UdpSocket::~UdpSocket() { close(fd_); }

Endpoint UdpSocket::local() const {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
  return fromSystem(address);
}

void UdpSocket::send(const Endpoint& to, std::span<const std::uint8_t> data) const {
  const sockaddr_in address = toSystem(to);
  (void)sendto(fd_, data.data(), data.size(), 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address);
}

std::optional<UdpSocket::Datagram> UdpSocket::receive(int timeoutMs) const {
  pollfd waiting{fd_, POLLIN, 0};
  if (poll(&waiting, 1, timeoutMs) <= 0) return std::nullopt;
  Datagram datagram;
  datagram.bytes.resize(kLongestPacket);
  sockaddr_in from{};
  socklen_t length = sizeof from;
  const ssize_t size = recvfrom(fd_, datagram.bytes.data(), datagram.bytes.size(), MSG_DONTWAIT,
                                reinterpret_cast<sockaddr*>(&from), &length);
  if (size < 0) return std::nullopt;
  datagram.bytes.resize(static_cast<std::size_t>(size));
  datagram.from = fromSystem(from);
  return datagram;
}

}  // namespace qrx::tool
