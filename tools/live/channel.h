// One end of a session, without sockets: seals what goes out, sorts what comes in.
#ifndef QRX_TOOLS_LIVE_CHANNEL_H_
#define QRX_TOOLS_LIVE_CHANNEL_H_

#include <array>
#include <cstdint>

#include "tools/live/control.h"
#include "tools/live/envelope.h"
#include "tools/live/replay_window.h"

namespace qrx::tool {

// What came over the wire, by its fate before anything looked into it.
struct ArrivalCounts {
  std::array<std::uint64_t, kArrivalCount> counts{};
  std::uint64_t& operator[](Arrival a) { return counts[static_cast<std::size_t>(a)]; }
  std::uint64_t operator[](Arrival a) const { return counts[static_cast<std::size_t>(a)]; }
  std::uint64_t refused() const;  // all but the fresh ones
};

// Microseconds of this machine's steady clock.
std::uint64_t clockMicroseconds();

// For one thread.
class Channel {
 public:
  Channel() = default;
  // `out` is the kind of this end's own messages.
  Channel(const Key& key, PayloadKind out, std::uint64_t session)
      : key_(key), out_(out), session_(session) {}

  std::uint64_t session() const { return session_; }

  Packet seal(const ControlMessage& message) { return seal(out_, serialise(message)); }
  Packet sealPacket(const Packet& packet) { return seal(PayloadKind::kPacket, packet); }

  // Whether a sound datagram with this head belongs here and is new.
  Arrival admit(const EnvelopeHead& head);

  // Datagrams of the other end up to the latest one that came: those that came, those that did not.
  std::uint64_t arrived() const { return window_.distinct(); }
  std::uint64_t lost() const { return window_.highest() - window_.distinct(); }

 private:
  Packet seal(PayloadKind kind, std::span<const std::uint8_t> payload) {
    return sealEnvelope(key_, {kEnvelopeVersion, kind, session_, ++sent_, clockMicroseconds()},
                        payload);
  }

  Key key_{};
  PayloadKind out_ = PayloadKind::kFromServer;
  std::uint64_t session_ = 0;
  std::uint64_t sent_ = 0;
  ReplayWindow window_;
};

// A message of no session, before there is one.
Packet sealLoose(const Key& key, PayloadKind kind, const ControlMessage& message);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_CHANNEL_H_
