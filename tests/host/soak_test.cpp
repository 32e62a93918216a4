// Packets over a bad network for a long time: every clean packet that arrives brings its own
// pixels, a damaged one changes no more than the cells that its own head claims, memory stays flat.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <map>
#include <string>

#include "tools/host/session.h"
#include "tools/live/bad_network.h"
#include "tools/live/packet.h"
#include "tools/scene/scene_renderer.h"

namespace qrx::tool {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t kDatagrams = 10000;
#else
constexpr std::uint64_t kDatagrams = 200000;
#endif
constexpr std::uint8_t kFill = 0xA5;
constexpr Size kRectangle = {250, 131};  // no whole number of MCUs

void keepPacket(std::uint8_t* data, std::uint32_t size, void* packets) {
  qrxMarkPacket(data);
  static_cast<std::vector<Packet>*>(packets)->emplace_back(data, data + size);
}

// Visits every byte of the packet's own pixels that lies within `size` bytes.
template <typename Visit>
void forOwnBytes(const Packet& packet, std::size_t size, Visit visit) {
  const auto head = readHead(packet);
  const auto cells = head ? cellsOf(*head) : std::nullopt;
  if (!cells) return;
  const Size rectangle = {head->frameWidth, head->frameHeight};
  for (int mcu = cells->first; mcu < cells->first + cells->count; ++mcu) {
    const Box box = cells->cell(mcu, rectangle);
    for (int y = box.top; y < box.bottom; ++y) {
      for (int x = box.left; x < box.right; ++x) {
        const auto at = static_cast<std::size_t>(y * rectangle.width + x) * 4;
        for (std::size_t c = 0; c < 3 && at + c < size; ++c) visit(at + c);
      }
    }
  }
}

class Receiver {
 public:
  explicit Receiver(codec::Decompressor& decompressor)
      : decompressor_(decompressor), frame_(Image::byteCount(kRectangle) + 4096, kFill) {}

  bool take(Packet& packet) {
    const Buffer buffer = {nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
    return decompressor_.isValid(&buffer) &&
           decompressor_.decompressTile(&buffer, 4, 6408, frame_.data(),
                                        static_cast<std::uint32_t>(frame_.size() - 4096));
  }
  std::vector<std::uint8_t>& frame() { return frame_; }

 private:
  codec::Decompressor& decompressor_;
  std::vector<std::uint8_t> frame_;  // with guard bytes behind it
};

TEST(Soak, PacketsOverABadNetwork) {
  Session session({QRX_LIBRARY_PATH, {}});
  const Image picture = SceneRenderer(kRectangle).render(3);
  std::vector<Packet> packets;
  ASSERT_TRUE(session.compressor().compress(
      picture.pixels.data(), 4, 1, 1, 0, 0, static_cast<std::uint32_t>(kRectangle.width),
      static_cast<std::uint32_t>(kRectangle.height), 0, 0, 90, keepPacket, &packets));
  ASSERT_GT(packets.size(), 10u);

  // What each packet brings, decoded alone.
  std::map<std::string, std::vector<std::uint8_t>> expected;  // by the packet's bytes
  const auto bytesOf = [](const Packet& p) { return std::string(p.begin(), p.end()); };
  for (const Packet& packet : packets) {
    Receiver alone(session.decompressor());
    Packet copy = packet;
    ASSERT_TRUE(alone.take(copy));
    expected[bytesOf(packet)] = alone.frame();
  }

  BadNetwork network({.loss = 0.1, .reorder = 0.1, .duplicate = 0.01, .corrupt = 0.01, .seed = 11});
  Receiver receiver(session.decompressor());
  std::vector<std::uint8_t> before;
  std::uint64_t clean = 0, damaged = 0, taken = 0;
  std::size_t memoryAtStart = 0;
  while (network.counts().taken < kDatagrams) {
    for (const Packet& packet : packets) {
      std::vector<Packet> arriving;
      network.push(packet, arriving);
      for (Packet& arrived : arriving) {
        const auto known = expected.find(bytesOf(arrived));
        if (known == expected.end()) {
          before = receiver.frame();
          const Packet claim = arrived;
          const bool changed = receiver.take(arrived);
          if (changed)
            forOwnBytes(claim, before.size(),
                        [&](std::size_t at) { before[at] = receiver.frame()[at]; });
          ASSERT_TRUE(before == receiver.frame()) << "a damaged packet touched what is not its own";
          ++damaged;
          taken += changed ? 1 : 0;
          continue;
        }
        ASSERT_TRUE(receiver.take(arrived));
        bool right = true;
        forOwnBytes(arrived, known->second.size(),
                    [&](std::size_t at) { right &= receiver.frame()[at] == known->second[at]; });
        ASSERT_TRUE(right) << "a clean packet's pixels are wrong";
        ++clean;
      }
    }
    if (memoryAtStart == 0) memoryAtStart = mallinfo2().uordblks;
  }
  EXPECT_LT(mallinfo2().uordblks, memoryAtStart + 65536) << "memory grows";
  EXPECT_GT(clean, kDatagrams * 85 / 100);
  EXPECT_GT(damaged, kDatagrams / 200);
  // The fourth byte of every pixel and the guards are as they were.
  const std::vector<std::uint8_t>& frame = receiver.frame();
  const std::size_t pixels = Image::byteCount(kRectangle);
  for (std::size_t at = 3; at < pixels; at += 4) ASSERT_EQ(frame[at], kFill);
  EXPECT_TRUE(std::all_of(frame.begin() + static_cast<std::ptrdiff_t>(pixels), frame.end(),
                          [](std::uint8_t byte) { return byte == kFill; }));
  std::printf("%llu datagrams: %llu clean, %llu damaged of which %llu were taken\n",
              static_cast<unsigned long long>(network.counts().taken),
              static_cast<unsigned long long>(clean), static_cast<unsigned long long>(damaged),
              static_cast<unsigned long long>(taken));
}

}  // namespace
}  // namespace qrx::tool
