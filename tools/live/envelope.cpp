// Tags through libsodium.
#include "tools/live/envelope.h"

#include <sodium.h>

#include <algorithm>

#include "tools/live/wire.h"
#include "tools/support/error.h"
#include "tools/support/files.h"

namespace qrx::tool {
namespace {

constexpr std::size_t kShortestKey = 16, kLongestKey = 1 << 20;

void startSodium() {
  if (sodium_init() < 0) throw Error("libsodium does not start");
}

void tagOf(const Key& key, std::span<const std::uint8_t> data,
           std::array<std::uint8_t, kTagSize>& tag) {
  crypto_generichash(tag.data(), tag.size(), data.data(), data.size(), key.data(), key.size());
}

Key hashToKey(std::span<const std::uint8_t> data) {
  startSodium();
  Key key;
  crypto_generichash(key.data(), key.size(), data.data(), data.size(), nullptr, 0);
  return key;
}

}  // namespace

const char* arrivalName(Arrival arrival) {
  constexpr const char* kNames[kArrivalCount] = {"fresh", "corrupted", "other_version",
                                                 "other_session", "replayed"};
  return kNames[static_cast<std::size_t>(arrival)];
}

std::optional<EnvelopeHead> parseEnvelopeHead(std::span<const std::uint8_t> datagram) {
  if (datagram.size() < kEnvelopeHeadSize + kTagSize) return std::nullopt;
  WireReader in(datagram);
  if (in.u8() != 'Q' || in.u8() != 'R') return std::nullopt;
  EnvelopeHead head;
  head.version = in.u8();
  const std::uint8_t kind = in.u8();
  if (kind > static_cast<std::uint8_t>(PayloadKind::kFromViewer)) return std::nullopt;
  head.kind = static_cast<PayloadKind>(kind);
  head.session = in.u64();
  head.sequence = in.u64();
  head.sent = in.u64();
  return head;
}

Key publicKey() {
  constexpr std::uint8_t kText[] = "a key that everybody knows";
  return hashToKey(kText);
}

Key readKey(const std::string& path) {
  const std::vector<std::uint8_t> data = readFile(path);
  if (data.size() < kShortestKey || data.size() > kLongestKey) {
    throw Error(displayName(path) + ": no key: give a file of 16 bytes to 1 MiB, such as " +
                "head -c 32 /dev/urandom makes");
  }
  return hashToKey(data);
}

Packet sealEnvelope(const Key& key, const EnvelopeHead& head,
                    std::span<const std::uint8_t> payload) {
  WireWriter out;
  out.reserve(kEnvelopeHeadSize + payload.size() + kTagSize);
  out.u8('Q');
  out.u8('R');
  out.u8(head.version);
  out.u8(static_cast<std::uint8_t>(head.kind));
  out.u64(head.session);
  out.u64(head.sequence);
  out.u64(head.sent);
  out.bytes(payload);
  std::array<std::uint8_t, kTagSize> tag;
  tagOf(key, out.written(), tag);
  out.bytes(tag);
  return out.take();
}

Arrival openEnvelope(const Key& key, Packet& datagram, EnvelopeHead& head) {
  if (datagram.size() < kEnvelopeHeadSize + kTagSize) return Arrival::kCorrupted;
  const auto end = datagram.end() - kTagSize;
  std::array<std::uint8_t, kTagSize> tag;
  tagOf(key, std::span(datagram).first(datagram.size() - kTagSize), tag);
  if (sodium_memcmp(tag.data(), &*end, kTagSize) != 0) return Arrival::kCorrupted;
  const auto parsed = parseEnvelopeHead(datagram);
  if (!parsed || parsed->version != kEnvelopeVersion) return Arrival::kOtherVersion;
  head = *parsed;
  datagram.erase(end, datagram.end());
  datagram.erase(datagram.begin(), datagram.begin() + kEnvelopeHeadSize);
  return Arrival::kFresh;
}

std::uint64_t keyedNumber(const Key& key, std::span<const std::uint8_t> data) {
  std::array<std::uint8_t, kTagSize> tag;
  tagOf(key, data, tag);
  return std::max<std::uint64_t>(WireReader(tag).u64(), 1);
}

Key randomKey() {
  startSodium();
  Key key;
  randombytes_buf(key.data(), key.size());
  return key;
}

std::uint64_t randomNumber() {
  const Key bytes = randomKey();
  return std::max<std::uint64_t>(WireReader(bytes).u64(), 1);
}

}  // namespace qrx::tool
