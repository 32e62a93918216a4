// What goes around every datagram of a live session: who sent it in which order, and a tag that
// tells whether it arrived as it was sent. Numbers are little-endian.
//
//   0  'Q' 'R'   2 version   3 kind   4 session (8)   12 sequence (8)   20 time (8)
//   28 payload, to the 16 bytes before the end: the tag, a keyed BLAKE2b over all before it
#ifndef QRX_TOOLS_LIVE_ENVELOPE_H_
#define QRX_TOOLS_LIVE_ENVELOPE_H_

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "tools/live/packet.h"

namespace qrx::tool {

inline constexpr std::uint8_t kEnvelopeVersion = 2;  // of head and control messages
inline constexpr std::size_t kEnvelopeHeadSize = 28, kTagSize = 16;

enum class PayloadKind : std::uint8_t { kPacket, kFromServer, kFromViewer };

struct EnvelopeHead {
  std::uint8_t version = kEnvelopeVersion;
  PayloadKind kind = PayloadKind::kPacket;
  std::uint64_t session = 0;   // 0: of none yet
  std::uint64_t sequence = 0;  // counts from 1 in each direction of a session
  std::uint64_t sent = 0;      // microseconds of the sender's clock
};

// The head alone, whatever the tag says; none where the data is no envelope.
std::optional<EnvelopeHead> parseEnvelopeHead(std::span<const std::uint8_t> datagram);

using Key = std::array<std::uint8_t, 32>;

// The key that everybody knows: it tells damage, and authenticates nobody.
Key publicKey();
// From the bytes of a file with at least 16 of them. Throws Error.
Key readKey(const std::string& path);

Packet sealEnvelope(const Key& key, const EnvelopeHead& head,
                    std::span<const std::uint8_t> payload);

// What a datagram turned out to be.
enum class Arrival {
  kFresh,
  kCorrupted,     // the tag does not fit: damage, or another key
  kOtherVersion,  // sound, and of a program that speaks another language
  kOtherSession,  // sound, and of a session that is not this one; or from the wrong side
  kReplayed,      // came before, or so long ago that nobody can tell
};
inline constexpr std::size_t kArrivalCount = 5;
const char* arrivalName(Arrival arrival);

// Whether the datagram is sound; then `head` is its head, and the datagram becomes its payload.
Arrival openEnvelope(const Key& key, Packet& datagram, EnvelopeHead& head);

// Keyed hash of what a server remembers nothing of: 8 bytes, never 0.
std::uint64_t keyedNumber(const Key& key, std::span<const std::uint8_t> data);
// From the system's generator of random numbers.
Key randomKey();
std::uint64_t randomNumber();

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_ENVELOPE_H_
