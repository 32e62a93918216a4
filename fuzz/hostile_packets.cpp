// Hostile packets, counted: every other value of each of the first bytes of 20 packets, every
// truncation, and random damage. Packet and destination lie between pages that nobody may touch;
// nothing but the rectangle may change, nothing at all for a refused packet, and memory stays flat.
//
//   hostile_packets [DAMAGED [STRIDE [SEED]]]    STRIDE: every how manieth value and length
#include <time.h>

#include <algorithm>
#include <exception>
#include <random>

#include "fuzz/packets.h"
#include "tests/support/fenced_bytes.h"

namespace {

using fuzz::Bytes;
using fuzz::require;
using qrx::test::Fence;
using qrx::test::FencedBytes;

constexpr std::size_t kRoom = 65536;  // whole pages: both ends lie at a fence
constexpr std::size_t kHeadBytes = 64;
// Memory of its own has a sanitizer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kCountsMemory = false;
#else
constexpr bool kCountsMemory = true;
#endif

std::vector<Bytes> packets() {
  struct Kind {
    int width, height, quality;
    double place;  // of the packet among those of its rectangle
  };
  constexpr Kind kKinds[] = {{100, 33, 80, 0},  {100, 33, 80, 1}, {150, 90, 97, 0.5},
                             {640, 16, 30, 1},  {64, 64, 1, 0},   {5, 3, 80, 0},
                             {127, 127, 60, 1}, {1, 1, 90, 0}};
  constexpr std::size_t kOfAllSamplings = 6;
  fuzz::Input input(nullptr, 0);
  std::vector<Bytes> result;
  for (int sampling = 0; sampling < 3; ++sampling) {
    for (std::size_t i = 0; i < (sampling == 2 ? std::size(kKinds) : kOfAllSamplings); ++i) {
      const Kind& kind = kKinds[i];
      const Bytes picture = fuzz::anyPicture(input, kind.width, kind.height);
      const fuzz::Rectangle made =
          fuzz::rectangleOf(picture, kind.width, kind.height, sampling, kind.quality, {-3, 700});
      const auto last = static_cast<double>(made.packets.size() - 1);
      result.push_back(made.packets[static_cast<std::size_t>(kind.place * last)]);
    }
  }
  return result;
}

double threadSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

long residentKiB() {
  FILE* const file = std::fopen("/proc/self/statm", "r");
  require(file != nullptr);
  char line[200] = "";
  require(std::fgets(line, sizeof line, file) != nullptr);
  std::fclose(file);
  char* rest = line;
  std::strtol(rest, &rest, 10);  // all of it
  return std::strtol(rest, nullptr, 10) * (sysconf(_SC_PAGESIZE) / 1024);
}

// Takes packets in, and holds the library to what it promises.
class Receiver {
 public:
  Receiver() { std::fill(room_.bytes.begin(), room_.bytes.end(), fuzz::kFill); }

  void receive(const Bytes& packet) {
    const bool taken = takeTimed(packet, 1);
    ++(taken ? taken_ : refused_);
    ++turn_;
  }
  // Of the stage that began with the last call.
  void report(const char* stage) {
    std::printf(
        "%-22s %8ld packets, %8ld of them taken; slowest %8.1f us (%s, %zu bytes); %ld KiB\n",
        stage, taken_ + refused_, taken_, 1e6 * slowest_, slowestTaken_ ? "taken" : "refused",
        slowestSize_, residentKiB());
    taken_ = refused_ = 0;
    slowest_ = 0;
  }

 private:
  bool takeTimed(const Bytes& packet, int repetition) {
    std::uint8_t* const bytes = packet_.bytes.data() + kRoom - packet.size();
    std::copy(packet.begin(), packet.end(), bytes);
    const qrx::Buffer buffer = {nullptr, bytes, static_cast<std::uint32_t>(packet.size())};
    const std::uint32_t bytesPerPixel = 3 + static_cast<std::uint32_t>(turn_ % 2);
    const std::uint32_t exact = exactSize(buffer, bytesPerPixel);
    const std::uint32_t size = exact != 0 ? exact : kRoom;
    const std::size_t at = turn_ / 2 % 2 == 0 ? kRoom - size : 0;
    const double before = threadSeconds();
    const bool taken = decompressor()->decompressTile(
        &buffer, bytesPerPixel, qrx::codec::kFormatRgba, room_.bytes.data() + at, size);
    const double seconds = threadSeconds() - before;
    require(std::equal(packet.begin(), packet.end(), bytes));
    if (taken) clearPixels(room_.bytes.subspan(at, size), bytesPerPixel);
    require(std::memcmp(room_.bytes.data(), fill_.data(), kRoom) == 0);
    if (seconds > slowest_) {
      // Three times in a row, to be no fault of the machine.
      if (repetition < 3) return takeTimed(packet, repetition + 1);
      slowest_ = seconds;
      slowestTaken_ = taken;
      slowestSize_ = packet.size();
    }
    return taken;
  }

  // Of the rectangle; 0 where it is none, or larger than the room: then the room is the bound.
  static std::uint32_t exactSize(const qrx::Buffer& buffer, std::uint32_t bytesPerPixel) {
    std::uint32_t x = 0, y = 0, width = 0, height = 0;
    decompressor()->getDimensions(&buffer, &x, &y, &width, &height);
    const std::uint64_t size = std::uint64_t{width} * height * bytesPerPixel;
    const bool fits = width <= INT16_MAX && height <= INT16_MAX && size <= kRoom;
    return fits ? static_cast<std::uint32_t>(size) : 0;
  }

  // The fourth byte of a pixel is no part of the picture.
  static void clearPixels(std::span<unsigned char> bytes, std::size_t bytesPerPixel) {
    for (std::size_t i = 0; i < bytes.size(); i += bytesPerPixel) {
      std::memset(&bytes[i], fuzz::kFill, std::min<std::size_t>(3, bytes.size() - i));
    }
  }

  FencedBytes packet_{kRoom, Fence::kAfter}, room_{kRoom, Fence::kAfter};
  const Bytes fill_ = Bytes(kRoom, fuzz::kFill);
  long turn_ = 0, taken_ = 0, refused_ = 0;
  double slowest_ = 0;
  bool slowestTaken_ = false;
  std::size_t slowestSize_ = 0;
};

// As if the packet ended there.
void setLength(Bytes& packet) {
  if (packet.size() < 6) return;
  packet[4] = static_cast<std::uint8_t>(packet.size() - 2);
  packet[5] = static_cast<std::uint8_t>((packet.size() - 2) >> 8);
}

void otherValues(Receiver& receiver, const Bytes& sound, int stride) {
  for (std::size_t at = 0; at < kHeadBytes && at < sound.size(); ++at) {
    for (int change = 1; change < 256; change += stride) {
      Bytes packet = sound;
      packet[at] = static_cast<std::uint8_t>(packet[at] + change);
      receiver.receive(packet);
    }
  }
}

void truncations(Receiver& receiver, const Bytes& sound, int stride) {
  for (std::size_t size = 0; size < sound.size(); size += static_cast<std::size_t>(stride)) {
    Bytes packet(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size));
    receiver.receive(packet);
    setLength(packet);
    receiver.receive(packet);
  }
}

Bytes damaged(const std::vector<Bytes>& sound, std::mt19937& random) {
  const auto below = [&random](std::size_t n) { return random() % n; };
  Bytes packet = sound[below(sound.size())];
  for (std::size_t left = 1 + below(4); left > 0 && packet.size() > 1; --left) {
    const std::size_t at =
        below(below(2) == 0 ? std::min(kHeadBytes, packet.size()) : packet.size());
    const Bytes& other = sound[below(sound.size())];
    switch (below(7)) {
      case 0: packet[at] = static_cast<std::uint8_t>(random()); break;
      case 1: packet[at] = 0xFF; break;
      case 2: packet[at] = 0; break;
      case 3: packet.resize(1 + at); break;
      case 4:
        packet.insert(packet.end(), other.end() - 1 - std::ptrdiff_t(below(30)), other.end());
        break;
      case 5:
        std::copy_n(other.begin(), std::min(other.size(), packet.size() - at),
                    packet.begin() + std::ptrdiff_t(at));
        break;
      default: packet[at] ^= static_cast<std::uint8_t>(1 << below(8));
    }
  }
  if (below(4) != 0) setLength(packet);
  return packet;
}

void run(int count, int stride, unsigned seed) {
  const std::vector<Bytes> sound = packets();
  require(sound.size() == 20);
  Receiver receiver;
  for (int i = 0; i < 200; ++i) {
    for (const Bytes& packet : sound) receiver.receive(packet);
  }
  receiver.report("sound");
  const long memory = residentKiB();
  for (const Bytes& packet : sound) otherValues(receiver, packet, stride);
  receiver.report("other values");
  for (const Bytes& packet : sound) truncations(receiver, packet, stride);
  receiver.report("truncated");
  std::mt19937 random(seed);
  for (int i = 0; i < count; ++i) receiver.receive(damaged(sound, random));
  receiver.report("damaged at random");
  std::printf("resident memory: %ld KiB more than after the sound ones\n", residentKiB() - memory);
  if (kCountsMemory) require(residentKiB() - memory <= 1024);
}

}  // namespace

int main(int argc, char** argv) {
  const auto argument = [&](int at, int otherwise) {
    return argc > at ? static_cast<int>(std::strtol(argv[at], nullptr, 10)) : otherwise;
  };
  try {
    run(argument(1, 20000), std::max(1, argument(2, 5)), static_cast<unsigned>(argument(3, 1)));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
