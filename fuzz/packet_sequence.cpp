// Packets of several rectangles, qualities and samplings on one decompressor, sound, damaged and
// doubled: what it makes of the last one is what a thread that saw no other makes of it.
#include <thread>

#include "fuzz/packets.h"

namespace {

using fuzz::Bytes;
using fuzz::require;

struct Result {
  bool taken;
  Bytes pixels;
  bool operator==(const Result&) const = default;
};

Result resultOf(const Bytes& packet) {
  constexpr std::uint32_t kBytesPerPixel = 4;
  const udp_header head = packet.size() < sizeof(udp_header) ? udp_header{} : fuzz::headOf(packet);
  const std::int64_t pixels = std::int64_t{head.frameWidth} * head.frameHeight;
  const bool isSized = head.frameWidth > 0 && head.frameHeight > 0 && pixels <= fuzz::kMaxPixels;
  Result result = {};
  result.pixels.assign(isSized ? kBytesPerPixel * static_cast<std::size_t>(pixels) : 1,
                       fuzz::kFill);
  const Bytes before = result.pixels;
  result.taken = fuzz::take(packet, kBytesPerPixel, result.pixels);
  require(result.taken || result.pixels == before);
  return result;
}

void damage(fuzz::Input& input, Bytes& packet) {
  const auto at =
      static_cast<std::size_t>(input.below(input.oneIn(2) ? 64 : static_cast<int>(packet.size())));
  if (at >= packet.size()) return;
  switch (input.below(4)) {
    case 0: packet[at] ^= static_cast<std::uint8_t>(1 << input.below(8)); break;
    case 1: packet[at] = input.value<std::uint8_t>(); break;
    case 2: packet[at] = 0xFF; break;
    default:
      if (at < 34) break;
      packet.resize(at);
      packet[4] = static_cast<std::uint8_t>(at - 2);
      packet[5] = static_cast<std::uint8_t>((at - 2) >> 8);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const int steps = 1 + input.below(6);
  std::vector<Bytes> packets;
  for (int i = 0; i < 2; ++i) {
    for (Bytes& packet : fuzz::anyRectangle(input, 80).packets) packets.push_back(packet);
  }
  Bytes last;
  std::vector<Result> results;
  for (int i = 0; i < steps; ++i) {
    if (i == 0 || !input.oneIn(6)) {  // else the same one again
      last = packets[static_cast<std::size_t>(input.below(static_cast<int>(packets.size())))];
      for (int k = input.below(3); k > 0; --k) damage(input, last);
      // What no choice will need is a packet of its own.
      if (input.oneIn(8)) last = input.rest();
    }
    results.push_back(resultOf(last));
  }
  Result alone;
  std::thread([&] { alone = resultOf(last); }).join();
  require(results.back() == alone);
  return 0;
}
