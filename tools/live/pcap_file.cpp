#include "tools/live/pcap_file.h"

#include <algorithm>

#include "tools/live/wire.h"

namespace qrx::tool {
namespace {

constexpr std::uint32_t kMagic = 0xA1B2C3D4;  // times in microseconds, numbers little-endian
constexpr std::uint32_t kVersion = 4 << 16 | 2;  // 2.4
constexpr std::uint32_t kRawIp = 101;
constexpr std::size_t kIpHead = 20, kUdpHead = 8, kLongestDatagram = 65507;
constexpr std::uint32_t kPort = 4170;
constexpr std::uint8_t kLoopback[4] = {127, 0, 0, 1};

// In the order of the network.
void put16(std::vector<std::uint8_t>& to, std::size_t value) {
  to.push_back(static_cast<std::uint8_t>(value >> 8));
  to.push_back(static_cast<std::uint8_t>(value));
}

std::size_t checksum(std::span<const std::uint8_t> head) {
  std::size_t sum = 0;
  for (std::size_t i = 0; i + 1 < head.size(); i += 2) {
    sum += static_cast<std::size_t>(head[i]) << 8 | head[i + 1];
  }
  while (sum >> 16 != 0) sum = (sum & 0xFFFF) + (sum >> 16);
  return ~sum & 0xFFFF;
}

// Heads of a datagram with `size` bytes.
std::vector<std::uint8_t> headsFor(std::size_t size) {
  std::vector<std::uint8_t> heads = {0x45, 0};
  heads.reserve(kIpHead + kUdpHead);
  put16(heads, kIpHead + kUdpHead + size);
  heads.insert(heads.end(), {0, 0, 0x40, 0, 64, 17, 0, 0});  // not in parts; UDP; no checksum yet
  for (int i = 0; i < 2; ++i) heads.insert(heads.end(), std::begin(kLoopback), std::end(kLoopback));
  const std::size_t sum = checksum(heads);
  heads[10] = static_cast<std::uint8_t>(sum >> 8);
  heads[11] = static_cast<std::uint8_t>(sum);
  for (int i = 0; i < 2; ++i) put16(heads, kPort);
  put16(heads, kUdpHead + size);
  put16(heads, 0);  // no checksum
  return heads;
}

}  // namespace

std::vector<std::uint8_t> captureOf(const std::vector<Packet>& packets) {
  WireWriter out;
  for (const std::uint32_t number : {kMagic, kVersion, 0u, 0u, 1u << 18, kRawIp}) out.u32(number);
  std::uint32_t time = 0;
  for (const Packet& packet : packets) {
    const auto bytes = std::span(packet).first(std::min(packet.size(), kLongestDatagram));
    const auto length = static_cast<std::uint32_t>(kIpHead + kUdpHead + bytes.size());
    for (const std::uint32_t number : {time / 1000, time % 1000 * 1000, length, length}) {
      out.u32(number);
    }
    out.bytes(headsFor(bytes.size()));
    out.bytes(bytes);
    ++time;
  }
  return out.take();
}

}  // namespace qrx::tool
