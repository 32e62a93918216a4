// Runs the page's view on files, natively and compiled to WebAssembly: both have to say the same.
//
//   replay FILE...          hostile ones; of packet files (.qpk) every packet in many damaged forms
//   replay --time N FILE    milliseconds that all packets of a packet file take, the best of N
//   times
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

#include "integrations/browser/view/window_view.h"
#include "tools/live/random.h"

namespace {

using qrx::tool::Packet;
using qrx::web::WindowView;

Packet readFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<Packet> packetsOf(const Packet& file) {
  std::vector<Packet> packets;
  qrx::tool::WireReader in(file);
  in.u32();  // "QPK1"
  while (in.left() > 4) {
    const auto bytes = in.bytes(in.u32());
    packets.emplace_back(bytes.begin(), bytes.end());
    packets.back().resize(std::max<std::size_t>(packets.back().size(), 3));
    packets.back()[2] = 1;  // as a receiver sees it
  }
  return packets;
}

class Replay {
 public:
  // Once more each time: a new session for the packet's window, if there can be one.
  void announceFor(const Packet& packet) {
    const auto head = qrx::tool::readHead(packet);
    if (!head || head->frameX < 0 || head->frameY < 0) return;
    qrx::tool::FrameInfo info;
    info.session = ++session_;
    info.window = head->window;
    info.width = static_cast<std::uint32_t>(head->frameX + head->frameWidth);
    info.height = static_cast<std::uint32_t>(head->frameY + head->frameHeight);
    if (info.width < 1 || info.height < 1 || info.width > 2048 || info.height > 2048) return;
    info.tile = 256;
    info.firstIndex = static_cast<std::uint32_t>(std::abs(head->index));
    info.latestIndex = info.firstIndex;
    give(qrx::tool::serialise(info));
  }
  void give(const Packet& payload) {
    view_.take(qrx::web::sealDatagram({++sequence_, 0}, payload), 1);
  }
  void giveHostile(const Packet& payload) {
    if (inputs_ % 16 == 0) announceFor(payload);
    give(payload);
    view_.toSend(1);
    // As a whole message: the first bytes are a sequence number then, which shuts out others.
    if (inputs_ % 256 == 0) strange_ = WindowView();
    strange_.take(payload, 1);
    ++inputs_;
    if (inputs_ % 64 == 0) hashPicture();
  }
  void hashPicture() {
    for (const std::uint8_t byte : view_.picture(inputs_ % 128 == 0)) {
      hash_ = (hash_ ^ byte) * 1099511628211U;
    }
  }
  void report() {
    hashPicture();
    const auto& told = view_.statistics();
    std::printf("%llu inputs, pictures %016llx, current %.4f%%\n",
                static_cast<unsigned long long>(inputs_), static_cast<unsigned long long>(hash_),
                told.window.coverage);
    for (std::size_t i = 0; i < qrx::tool::kVerdictCount; ++i) {
      std::printf("verdict %zu: %llu\n", i,
                  static_cast<unsigned long long>(told.window.verdicts[i]));
    }
    for (const std::string& line : view_.words()) {
      if (line.starts_with("refused") || line.starts_with("up to")) std::puts(line.c_str());
    }
  }

 private:
  WindowView view_, strange_;
  std::uint32_t session_ = 0;
  std::uint64_t sequence_ = 0, inputs_ = 0, hash_ = 14695981039346656037U;
};

// Every third value of every byte of its head, truncations, and damage at random.
void damage(Replay& replay, const Packet& sound, qrx::tool::Random& random) {
  constexpr std::size_t kHeadBytes = 66;
  for (std::size_t at = 0; at < std::min(kHeadBytes, sound.size()); ++at) {
    for (unsigned change = 1; change < 256; change += 29) {
      Packet packet = sound;
      packet[at] = static_cast<std::uint8_t>(packet[at] + change);
      replay.giveHostile(packet);
    }
  }
  for (std::size_t size = 0; size < sound.size(); size += 37) {
    replay.giveHostile({sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size)});
  }
  for (int i = 0; i < 100; ++i) {
    Packet packet = sound;
    for (std::uint64_t left = 1 + random.below(4); left > 0; --left) {
      packet[random.below(packet.size())] = static_cast<std::uint8_t>(random.next());
    }
    replay.giveHostile(packet);
  }
}

int time(int times, const char* path) {
  const std::vector<Packet> packets = packetsOf(readFile(path));
  if (packets.empty()) return 1;
  std::uint64_t best = UINT64_MAX;
  for (int i = 0; i < times; ++i) {
    Replay replay;
    replay.announceFor(packets[0]);
    const std::uint64_t start = qrx::web::steadyMicroseconds();
    for (const Packet& packet : packets) replay.give(packet);
    best = std::min(best, qrx::web::steadyMicroseconds() - start);
  }
  std::printf("%.2f ms\n", static_cast<double>(best) / 1000);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--time") == 0) {
    return time(static_cast<int>(std::strtol(argv[2], nullptr, 10)), argv[3]);
  }
  Replay replay;
  qrx::tool::Random random(1);
  for (int i = 1; i < argc; ++i) {
    const Packet file = readFile(argv[i]);
    if (!std::string_view(argv[i]).ends_with(".qpk")) {
      replay.giveHostile(file);
      if (!file.empty()) replay.giveHostile({file.begin() + 1, file.end()});
      continue;
    }
    for (const Packet& packet : packetsOf(file)) damage(replay, packet, random);
  }
  replay.report();
  return 0;
}
