// Control messages to and from bytes.
#include "tools/live/control.h"

#include <algorithm>

#include "tools/live/wire.h"

namespace qrx::tool {
namespace {

constexpr std::uint8_t kMagic[4] = {'Q', 'R', 'X', 'C'};
constexpr std::size_t kCrcSize = 4;

std::uint32_t crc32(std::span<const std::uint8_t> data) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const std::uint8_t byte : data) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (0xEDB88320u & (0u - (crc & 1)));
  }
  return ~crc;
}

// The fields of FrameInfo in wire order.
constexpr std::uint32_t FrameInfo::*kFrameFields[] = {
    &FrameInfo::session,         &FrameInfo::window,      &FrameInfo::width,
    &FrameInfo::height,          &FrameInfo::tile,        &FrameInfo::frame,
    &FrameInfo::firstIndex,      &FrameInfo::latestIndex, &FrameInfo::encodeMicroseconds,
    &FrameInfo::ageMicroseconds, &FrameInfo::finished,    &FrameInfo::dropped};

struct Writer {
  WireWriter& out;
  void operator()(const Hello& hello) const {
    out.u64(hello.viewer);
    out.u64(hello.ticket);
    out.u64(hello.session);
  }
  void operator()(const Welcome& welcome) const {
    out.u64(welcome.ticket);
    out.u64(welcome.session);
  }
  void operator()(const Alive& alive) const { out.u64(alive.time); }
  void operator()(const Bye&) const {}
  void operator()(const Closing&) const {}
  void operator()(const FrameInfo& info) const {
    for (const auto field : kFrameFields) out.u32(info.*field);
  }
  void operator()(const Changes& changes) const {
    out.u32(changes.frame);
    out.u32(changes.first);
    indexes(changes.frames);
  }
  void operator()(const Report& report) const {
    for (const std::uint64_t number : {report.time, report.bytes, report.arrived, report.lost}) {
      out.u64(number);
    }
    out.u32(report.queueMicroseconds);
    out.u32(report.backlogMicroseconds);
  }
  void operator()(const RepairRequest& request) const { indexes(request.indexes); }
  void operator()(const Superseded& message) const {
    out.u32(message.until);
    indexes(message.indexes);
  }
  void indexes(const std::vector<std::uint32_t>& list) const {
    const std::size_t count = std::min(list.size(), kMostIndexes);
    out.u32(static_cast<std::uint32_t>(count));
    for (std::size_t i = 0; i < count; ++i) out.u32(list[i]);
  }
};

std::vector<std::uint32_t> readIndexes(WireReader& in) {
  const std::size_t count = in.u32();
  std::vector<std::uint32_t> list;
  if (count > kMostIndexes) in.bytes(in.left() + 1);  // fails
  list.reserve(std::min(count, in.left() / 4));
  for (std::size_t i = 0; i < count && !in.failed(); ++i) list.push_back(in.u32());
  return list;
}

std::optional<ControlMessage> readBody(std::size_t kind, WireReader& in) {
  switch (kind) {
    case 0: {
      Hello hello;
      hello.viewer = in.u64();
      hello.ticket = in.u64();
      hello.session = in.u64();
      return hello;
    }
    case 1: return Bye{};
    case 2: {
      FrameInfo info;
      for (const auto field : kFrameFields) info.*field = in.u32();
      return info;
    }
    case 3: return RepairRequest{readIndexes(in)};
    case 4: {
      const std::uint32_t until = in.u32();
      return Superseded{until, readIndexes(in)};
    }
    case 5: {
      const std::uint64_t ticket = in.u64();
      return Welcome{ticket, in.u64()};
    }
    case 6: return Alive{in.u64()};
    case 7: {
      const std::uint32_t frame = in.u32(), first = in.u32();
      return Changes{frame, first, readIndexes(in)};
    }
    case 8: return Closing{};
    case 9: {
      Report report;
      for (std::uint64_t* number : {&report.time, &report.bytes, &report.arrived, &report.lost}) {
        *number = in.u64();
      }
      report.queueMicroseconds = in.u32();
      report.backlogMicroseconds = in.u32();
      return report;
    }
    default: return std::nullopt;
  }
}

}  // namespace

std::vector<std::uint8_t> serialise(const ControlMessage& message) {
  WireWriter out;
  out.bytes(kMagic);
  out.u8(static_cast<std::uint8_t>(message.index()));
  std::visit(Writer{out}, message);
  out.u32(crc32(out.written()));
  return out.take();
}

bool looksLikeControl(std::span<const std::uint8_t> data) {
  return data.size() >= sizeof kMagic &&
         std::equal(std::begin(kMagic), std::end(kMagic), data.begin());
}

std::optional<ControlMessage> parseControl(std::span<const std::uint8_t> data) {
  if (!looksLikeControl(data) || data.size() < sizeof kMagic + 1 + kCrcSize) return std::nullopt;
  const std::span<const std::uint8_t> covered = data.first(data.size() - kCrcSize);
  WireReader crc(data.subspan(covered.size()));
  if (crc.u32() != crc32(covered)) return std::nullopt;
  WireReader in(covered.subspan(sizeof kMagic));
  const std::size_t kind = in.u8();
  std::optional<ControlMessage> message = readBody(kind, in);
  if (in.failed() || in.left() != 0) return std::nullopt;
  return message;
}

}  // namespace qrx::tool
