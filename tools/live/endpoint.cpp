// Names through the system's resolver.
#include "tools/live/endpoint.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

#include "tools/live/wire.h"
#include "tools/support/error.h"

namespace qrx::tool {
namespace {

[[noreturn]] void refuse(const std::string& text) {
  throw Error(text + ": no address: " + kEndpointForms, kUsage);
}

std::uint16_t parsePort(const std::string& text, const std::string& digits) {
  constexpr std::uint64_t kHighest = 65535;
  std::uint64_t port = 0;
  const char* last = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), last, port);
  if (read.ptr != last || digits.empty()) refuse(text);
  if (read.ec != std::errc{} || port > kHighest) {
    throw Error(text + ": port " + digits + " is out of range: give 0 to 65535", kUsage);
  }
  return static_cast<std::uint16_t>(port);
}

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

Endpoint fromSystem(const sockaddr* address) {
  Endpoint endpoint;
  endpoint.address = {};
  if (address->sa_family == AF_INET6) {
    sockaddr_in6 v6;
    std::memcpy(&v6, address, sizeof v6);
    endpoint.isV6 = true;
    std::memcpy(endpoint.address.data(), &v6.sin6_addr, sizeof v6.sin6_addr);
    endpoint.scope = v6.sin6_scope_id;
  } else {
    sockaddr_in v4;
    std::memcpy(&v4, address, sizeof v4);
    std::memcpy(endpoint.address.data(), &v4.sin_addr, sizeof v4.sin_addr);
  }
  return endpoint;
}

// Only an address in figures where `numeric`.
Endpoint resolve(const std::string& host, bool numeric, const std::string& text) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_DGRAM;
  wanted.ai_family = numeric ? AF_INET6 : AF_UNSPEC;
  wanted.ai_flags = numeric ? AI_NUMERICHOST : 0;
  addrinfo* raw = nullptr;
  const int failure = getaddrinfo(host.c_str(), nullptr, &wanted, &raw);
  const std::unique_ptr<addrinfo, FreeAddresses> list(raw);
  if (failure != 0 && numeric) refuse(text);
  if (failure != 0) throw Error(host + ": no such host: " + gai_strerror(failure));
  const addrinfo* best = list.get();
  for (const addrinfo* at = best; at != nullptr; at = at->ai_next) {
    if (at->ai_family == AF_INET && best->ai_family != AF_INET) best = at;
  }
  return fromSystem(best->ai_addr);
}

}  // namespace

Endpoint Endpoint::parse(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) {
    Endpoint endpoint;
    endpoint.port = parsePort(text, colon == 0 ? text.substr(1) : text);
    return endpoint;
  }
  std::string host = text.substr(0, colon);
  const std::uint16_t port = parsePort(text, text.substr(colon + 1));
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (bracketed) host = host.substr(1, host.size() - 2);
  if (!bracketed && host.find_first_of("[]:") != std::string::npos) refuse(text);
  Endpoint endpoint = resolve(host, bracketed, text);
  endpoint.port = port;
  return endpoint;
}

Endpoint Endpoint::toReach(const Endpoint& peer) {
  Endpoint own;
  own.isV6 = peer.isV6;
  own.address = {};
  if (peer.isLoopback()) own.address = peer.address;
  return own;
}

bool Endpoint::isLoopback() const {
  constexpr std::array<std::uint8_t, 12> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  if (!isV6) return address[0] == 127;
  if (std::equal(kMapped.begin(), kMapped.end(), address.begin())) return address[12] == 127;
  const bool zeros =
      std::all_of(address.begin(), address.end() - 1, [](std::uint8_t byte) { return byte == 0; });
  return zeros && address[15] == 1;
}

std::string Endpoint::text() const {
  char host[INET6_ADDRSTRLEN] = "";
  inet_ntop(isV6 ? AF_INET6 : AF_INET, address.data(), host, sizeof host);
  std::string text;
  if (isV6) text += '[';
  text += host;
  if (scope != 0) text.append("%").append(std::to_string(scope));
  if (isV6) text += ']';
  text.append(":").append(std::to_string(port));
  return text;
}

std::vector<std::uint8_t> Endpoint::bytes() const {
  WireWriter out;
  out.u8(isV6 ? 1 : 0);
  out.bytes(address);
  out.u32(scope);
  out.u32(port);
  return out.take();
}

}  // namespace qrx::tool
