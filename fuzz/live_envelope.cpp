// Datagrams of a live session. What was sealed opens as it was; what was changed on its way, by
// whatever bytes, does not; of what opens, each sequence number is taken once, on the right side of
// the right session, as a plain list of numbers says; and a message of each kind that comes through
// is the one that was sent.
#include <algorithm>
#include <set>
#include <span>

#include "fuzz/kit.h"
#include "tools/live/channel.h"

namespace {

using namespace qrx::tool;
using fuzz::Input;
using fuzz::require;

std::vector<std::uint32_t> numbers(Input& input) {
  std::vector<std::uint32_t> list(static_cast<std::size_t>(input.below(input.oneIn(8) ? 300 : 6)));
  for (std::uint32_t& number : list) number = input.value<std::uint32_t>();
  return list;
}

ControlMessage anyMessage(Input& input) {
  const auto u32 = [&] { return input.value<std::uint32_t>(); };
  const auto u64 = [&] { return input.value<std::uint64_t>(); };
  switch (input.below(static_cast<int>(std::variant_size_v<ControlMessage>))) {
    case 0: return Hello{u64(), u64(), u64()};
    case 1: return Bye{};
    case 2:
      return FrameInfo{u32(), u32(), u32(), u32(), u32(), u32(),
                       u32(), u32(), u32(), u32(), u32(), u32()};
    case 3: return RepairRequest{numbers(input)};
    case 4: return Superseded{u32(), numbers(input)};
    case 5: return Welcome{u64(), u64()};
    case 6: return Alive{u64()};
    case 7: return Changes{u32(), u32(), numbers(input)};
    case 8: return Closing{};
    default: return Report{u64(), u64(), u64(), u64(), u32(), u32()};
  }
}

// One end, and what it ought to take.
class Receiver {
 public:
  static constexpr std::uint64_t kSession = 7;

  explicit Receiver(const Key& key)
      : key_(key), channel_(key, PayloadKind::kFromViewer, kSession) {}

  void take(const Packet& datagram, bool sound) {
    Packet opened = datagram;
    EnvelopeHead head;
    const Arrival arrival = openEnvelope(key_, opened, head);
    require(sound ? arrival == Arrival::kFresh || arrival == Arrival::kOtherVersion
                  : arrival == Arrival::kCorrupted);
    if (arrival != Arrival::kFresh) return;
    const auto parsed = parseEnvelopeHead(datagram);
    require(parsed && parsed->sequence == head.sequence && parsed->sent == head.sent);
    require(opened.size() + kEnvelopeHeadSize + kTagSize == datagram.size());
    require(channel_.admit(head) == expected(head));
    require(channel_.arrived() == seen_.size());
    const std::uint64_t highest = seen_.empty() ? 0 : *seen_.rbegin();
    require(channel_.lost() == highest - seen_.size());
  }

 private:
  Arrival expected(const EnvelopeHead& head) {
    if (head.session != kSession || head.kind == PayloadKind::kFromViewer) {
      return Arrival::kOtherSession;
    }
    const std::uint64_t highest = seen_.empty() ? 0 : *seen_.rbegin();
    const bool old = head.sequence == 0 || (highest >= ReplayWindow::kReach &&
                                            head.sequence <= highest - ReplayWindow::kReach);
    if (old || !seen_.insert(head.sequence).second) return Arrival::kReplayed;
    return Arrival::kFresh;
  }

  Key key_;
  Channel channel_;
  std::set<std::uint64_t> seen_;
};

EnvelopeHead anyHead(Input& input, std::uint64_t& sequence) {
  EnvelopeHead head;
  if (input.oneIn(16)) head.version = input.value<std::uint8_t>();
  head.kind = static_cast<PayloadKind>(input.below(3));
  head.session = input.oneIn(8) ? input.value<std::uint64_t>() : Receiver::kSession;
  if (input.oneIn(8)) sequence += static_cast<std::uint64_t>(input.below(60000));
  if (input.oneIn(32)) {  // far away, or near the end of the numbers
    sequence = input.oneIn(2) ? input.value<std::uint64_t>()
                              : UINT64_MAX - static_cast<std::uint64_t>(input.below(40000));
  }
  const auto back = static_cast<std::uint64_t>(input.oneIn(3) ? input.below(20000) : 0);
  head.sequence = ++sequence - std::min(sequence, back);
  head.sent = input.value<std::uint64_t>();
  return head;
}

// Whether sealing gives just these bytes: a fuzzer may give back what it saw sealed.
bool isSealed(const Key& key, const Packet& datagram) {
  const auto head = parseEnvelopeHead(datagram);
  if (!head) return false;
  const auto payload = std::span(datagram).subspan(kEnvelopeHeadSize,
                                                   datagram.size() - kEnvelopeHeadSize - kTagSize);
  return sealEnvelope(key, *head, payload) == datagram;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Key key = publicKey();
  Input input(data, size);
  Receiver receiver(key);
  std::uint64_t sequence = 0;
  for (int i = 1 + input.below(24); i > 0; --i) {
    const ControlMessage message = anyMessage(input);
    const Packet payload = serialise(message);
    const auto parsed = parseControl(payload);
    require(parsed && parsed->index() == message.index() && serialise(*parsed) == payload);
    const Packet sealed = sealEnvelope(key, anyHead(input, sequence), payload);
    receiver.take(sealed, true);
    Packet damaged = sealed;
    for (int n = input.below(4); n > 0; --n) {
      damaged[input.value<std::uint16_t>() % damaged.size()] ^= input.value<std::uint8_t>();
    }
    if (input.oneIn(4)) damaged.resize(input.value<std::uint16_t>() % (damaged.size() + 1));
    receiver.take(damaged, damaged == sealed);
  }
  const Packet rest = input.rest();
  parseControl(rest);
  receiver.take(rest, isSealed(key, rest));
  return 0;
}
