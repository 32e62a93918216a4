// POSIX sockets.
#include "tools/live/udp.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "tools/support/error.h"

namespace qrx::tool {
namespace {

constexpr std::size_t kLongestDatagram = 65536;

// An address as the system takes it.
struct SystemAddress {
  sockaddr_storage storage{};
  socklen_t length = sizeof(sockaddr_storage);

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

SystemAddress toSystem(const Endpoint& endpoint) {
  SystemAddress result;
  if (endpoint.isV6) {
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    std::memcpy(&v6.sin6_addr, endpoint.address.data(), sizeof v6.sin6_addr);
    v6.sin6_port = htons(endpoint.port);
    v6.sin6_scope_id = endpoint.scope;
    std::memcpy(&result.storage, &v6, sizeof v6);
    result.length = sizeof v6;
  } else {
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    std::memcpy(&v4.sin_addr, endpoint.address.data(), sizeof v4.sin_addr);
    v4.sin_port = htons(endpoint.port);
    std::memcpy(&result.storage, &v4, sizeof v4);
    result.length = sizeof v4;
  }
  return result;
}

Endpoint fromSystem(const SystemAddress& address) {
  Endpoint endpoint;
  endpoint.address = {};
  if (address.storage.ss_family == AF_INET6) {
    sockaddr_in6 v6;
    std::memcpy(&v6, &address.storage, sizeof v6);
    endpoint.isV6 = true;
    std::memcpy(endpoint.address.data(), &v6.sin6_addr, sizeof v6.sin6_addr);
    endpoint.scope = v6.sin6_scope_id;
    endpoint.port = ntohs(v6.sin6_port);
  } else {
    sockaddr_in v4;
    std::memcpy(&v4, &address.storage, sizeof v4);
    std::memcpy(endpoint.address.data(), &v4.sin_addr, sizeof v4.sin_addr);
    endpoint.port = ntohs(v4.sin_port);
  }
  return endpoint;
}

// Of the system's clock, which somebody may set: what cannot be is 0.
std::uint64_t microsecondsSince(const timespec& then) {
  constexpr std::int64_t kMost = 10000000;
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t passed = (std::int64_t{now.tv_sec} - then.tv_sec) * 1000000 +
                              (std::int64_t{now.tv_nsec} - then.tv_nsec) / 1000;
  return passed > 0 && passed < kMost ? static_cast<std::uint64_t>(passed) : 0;
}

[[noreturn]] void failToBind(const Endpoint& endpoint, int error) {
  const std::string text = endpoint.text() + ": ";
  if (error == EADDRINUSE) {
    throw Error(text + "the port is taken by another program: give another one, or port 0");
  }
  throw Error(text + std::strerror(error));
}

}  // namespace

UdpSocket::UdpSocket(const Endpoint& endpoint, int room)
    : room_(kLongestDatagram),
      fd_(socket(endpoint.isV6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  SystemAddress address = toSystem(endpoint);
  if (fd_ < 0 || bind(fd_, address.get(), address.length) != 0) {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    failToBind(endpoint, error);
  }
  // As much as the system allows: a frame's packets come in a bunch.
  setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
  setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &kMostRoom, sizeof kMostRoom);
  constexpr int kOn = 1;
  setsockopt(fd_, SOL_SOCKET, SO_RXQ_OVFL, &kOn, sizeof kOn);
  setsockopt(fd_, SOL_SOCKET, SO_TIMESTAMPNS, &kOn, sizeof kOn);
}

UdpSocket::~UdpSocket() { close(fd_); }

Endpoint UdpSocket::local() const {
  SystemAddress address;
  getsockname(fd_, address.get(), &address.length);
  return fromSystem(address);
}

void UdpSocket::send(const Endpoint& to, std::span<const std::uint8_t> data) const {
  SystemAddress address = toSystem(to);
  (void)sendto(fd_, data.data(), data.size(), 0, address.get(), address.length);
}

std::optional<UdpSocket::Datagram> UdpSocket::receive(int timeoutMs) {
  pollfd waiting{fd_, POLLIN, 0};
  if (poll(&waiting, 1, timeoutMs) <= 0) return std::nullopt;
  Datagram datagram;
  SystemAddress from;
  iovec part{room_.data(), room_.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof dropped_) + CMSG_SPACE(sizeof(timespec))];
  msghdr message{};
  message.msg_name = from.get();
  message.msg_namelen = from.length;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t size = recvmsg(fd_, &message, MSG_DONTWAIT);
  if (size < 0) return std::nullopt;
  for (cmsghdr* at = CMSG_FIRSTHDR(&message); at != nullptr; at = CMSG_NXTHDR(&message, at)) {
    if (at->cmsg_level == SOL_SOCKET && at->cmsg_type == SO_RXQ_OVFL) {
      std::memcpy(&dropped_, CMSG_DATA(at), sizeof dropped_);
    }
    if (at->cmsg_level == SOL_SOCKET && at->cmsg_type == SCM_TIMESTAMPNS) {
      timespec came;
      std::memcpy(&came, CMSG_DATA(at), sizeof came);
      datagram.waited = microsecondsSince(came);
    }
  }
  datagram.bytes.assign(room_.begin(), room_.begin() + size);
  datagram.from = fromSystem(from);
  return datagram;
}

}  // namespace qrx::tool
