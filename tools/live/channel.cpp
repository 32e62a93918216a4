// Sequence numbers.
#include "tools/live/channel.h"

#include <chrono>

namespace qrx::tool {

std::uint64_t ArrivalCounts::refused() const {
  std::uint64_t sum = 0;
  for (const std::uint64_t count : counts) sum += count;
  return sum - (*this)[Arrival::kFresh];
}

std::uint64_t clockMicroseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

Arrival Channel::admit(const EnvelopeHead& head) {
  const bool ownSide =
      head.kind == out_ || (head.kind == PayloadKind::kPacket && out_ == PayloadKind::kFromServer);
  if (session_ == 0 || head.session != session_ || ownSide) return Arrival::kOtherSession;
  return window_.admit(head.sequence) ? Arrival::kFresh : Arrival::kReplayed;
}

Packet sealLoose(const Key& key, PayloadKind kind, const ControlMessage& message) {
  return sealEnvelope(key, {kEnvelopeVersion, kind, 0, 0, clockMicroseconds()}, serialise(message));
}

}  // namespace qrx::tool
