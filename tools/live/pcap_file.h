// Captures (.pcap) of packets as datagrams, one each, for programs that look at networks.
#ifndef QRX_TOOLS_LIVE_PCAP_FILE_H_
#define QRX_TOOLS_LIVE_PCAP_FILE_H_

#include <span>
#include <vector>

#include "tools/live/packet.h"

namespace qrx::tool {

// Raw IPv4 and UDP from 127.0.0.1 to itself, port 4170, a millisecond apart from 0 on. A datagram
// of more than 65507 bytes can't be one, and is cut off there.
std::vector<std::uint8_t> captureOf(const std::vector<Packet>& packets);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_PCAP_FILE_H_
