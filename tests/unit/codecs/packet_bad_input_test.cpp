// Packets from strangers: heads, segments and data that are not what the writer makes.
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "qrx/front_end.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/process.h"
#include "tests/unit/codecs/packet_run.h"

namespace qrx::test {
namespace {

// A packet of a run and the destination of the run's rectangle.
class Victim {
 public:
  Victim(const PacketRun& run, std::size_t number)
      : run_(run), number_(number), canvas_(run.pixels() * 4) {
    EXPECT_TRUE(decodePacket(clean(), 4, canvas_.data(), 0));
    cleanPixels_ = canvas_.content();
  }

  const Bytes& clean() const { return run_.packets[number_]; }

  // A refused packet writes nothing, an accepted one nothing outside the rectangle; with `ownOnly`
  // nothing but the packet's own pixels.
  bool expectHarmless(const Bytes& packet, bool ownOnly) {
    canvas_.refill();
    const auto size = static_cast<std::size_t>(canvas_.size());
    const bool accepted = decodePacket(packet, 4, canvas_.data(), size);
    EXPECT_TRUE(canvas_.guardsIntact()) << run_;
    EXPECT_TRUE(accepted || canvas_.isUntouched()) << run_;
    EXPECT_TRUE(!ownOnly || foreignPixels() == 0) << run_;
    return accepted;
  }

  // Where head and destination are the packet's own word. Rectangles beyond 16 MiB are left out.
  void expectHarmlessWithoutSize(Bytes packet) {
    const Buffer buffer{nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
    const std::uint32_t size = decompressor().getOutputSize(&buffer, 4, 6408);
    if (size > 1 << 24) return;
    GuardedBuffer canvas(size);
    EXPECT_TRUE(decodePacket(packet, 4, canvas.data(), 0) || canvas.isUntouched()) << run_;
    EXPECT_TRUE(canvas.guardsIntact()) << run_;
  }

  void expectUsableDecoder() {
    canvas_.refill();
    EXPECT_TRUE(decodePacket(clean(), 4, canvas_.data(), 0)) << run_;
    EXPECT_EQ(canvas_.content(), cleanPixels_) << run_;
  }

 private:
  int foreignPixels() {
    const std::vector<int> owners = run_.owners();
    const std::uint8_t* byte = canvas_.data();
    int foreign = 0;
    for (int y = 0; y < run_.image.size.height; ++y) {
      for (int x = 0; x < run_.image.size.width; ++x, byte += 4) {
        const auto mcu =
            static_cast<std::size_t>(y / run_.mcuHeight * run_.across + x / run_.mcuWidth);
        if (owners[mcu] == static_cast<int>(number_)) continue;
        for (int c = 0; c < 4; ++c) foreign += byte[c] != GuardedBuffer::kFill;
      }
    }
    return foreign;
  }

  const PacketRun& run_;
  std::size_t number_;
  GuardedBuffer canvas_;
  Bytes cleanPixels_;
};

// The first, a wrapped and the last packet of a rectangle that is not whole MCUs.
template <typename Body>
void forVictims(Body body) {
  for (int sampling = 0; sampling < 3; ++sampling) {
    const PacketRun run(noisePicture({58, 55}, 5), sampling, 90, 100, 50);
    ASSERT_GE(run.packets.size(), 3u);
    for (const std::size_t number : {std::size_t{0}, std::size_t{1}, run.packets.size() - 1}) {
      Victim victim(run, number);
      body(victim);
      victim.expectUsableDecoder();
    }
  }
}

TEST(BadPackets, HeadAndSegmentsWithAnyByte) {
  constexpr std::size_t kHeads = 64;  // up to the data
  constexpr int kStep = kSanitized ? 17 : 1;
  forVictims([](Victim& victim) {
    for (std::size_t at = 0; at < kHeads; ++at) {
      for (int value = 0; value < 256; value += kStep) {
        Bytes packet = victim.clean();
        packet[at] = static_cast<std::uint8_t>(value);
        // Only the head tells where a packet lies; the segments can at most spoil its pixels.
        victim.expectHarmless(packet, at >= kHead);
        if (at < kHead) victim.expectHarmlessWithoutSize(packet);
      }
    }
  });
}

TEST(BadPackets, HeadFieldsAtTheirEnds) {
  const struct {
    std::size_t offset, width;
  } fields[] = {{0, 1},  {1, 1},  {2, 1},  {3, 1},  {4, 2},  {6, 2},  {8, 4},  {12, 4},
                {16, 2}, {18, 2}, {20, 2}, {22, 2}, {24, 2}, {26, 2}, {28, 2}, {30, 2}};
  const std::uint32_t values[] = {0, 1, 0xFFFFFFFF, 0x80808080, 0x80000000, 0x7FFFFFFF};
  forVictims([&](Victim& victim) {
    for (const auto& a : fields) {
      for (const auto& b : fields) {
        if (kSanitized && &a != &b) continue;  // a sanitizer takes its time
        for (const std::uint32_t value : values) {
          Bytes packet = victim.clean();
          for (const auto& field : {a, b}) {
            // The most significant bytes, so that each width has its own smallest and largest.
            for (std::size_t i = 0; i < field.width; ++i) {
              packet[field.offset + i] = static_cast<std::uint8_t>(
                  value >> (8 * (i + (value > 0xFFFF ? 4 - field.width : 0))));
            }
          }
          victim.expectHarmless(packet, false);
          victim.expectHarmlessWithoutSize(packet);
        }
      }
    }
  });
}

TEST(BadPackets, AreRefusedWhereHeadAndSegmentsDisagree) {
  const PacketRun run(noisePicture({64, 48}, 5), 2, 70);
  ASSERT_GT(headOf(run.packets[0]).mcuCount, run.across);  // wraps
  Victim victim(run, 0);
  const struct {
    const char* what;
    std::size_t offset;
    Bytes bytes;
  } cases[] = {{"kind is the host's", 2, {}},
               {"head size", 0, {31}},
               {"shape", 3, {0x11}},
               {"no MCUs at all", 6, {0xFF, 0xFF}},
               {"more MCUs", 6, {0xFF, 0x7F}},
               {"place between MCUs", 16, {1, 0}},
               {"height between MCUs", 18, {1, 0}},
               {"rectangle width", 28, {63}},
               {"rectangle height", 30, {47}},
               {"marker", 33, {0xDD}},
               {"quality 0", 34, {0, 0}},
               {"segment height", 36, {0xFF, 0xFF}},
               {"segment width", 38, {0xFF, 0xFF}},
               {"no component", 40, {0}},
               {"two components", 40, {2}},
               {"four components", 40, {4}},
               {"five components", 40, {5}},
               {"factor 0", 42, {0x02}},
               {"factors of no sampling", 42, {0x41}},
               {"quantisation table 2", 43, {2}},
               {"scan of another component", 55, {9}},
               {"Huffman table 2", 56, {0x22}},
               {"spectral end", 62, {62}},
               {"marker in the data", 70, {0xFF, 0xD0}}};
  for (const auto& c : cases) {
    Bytes packet = victim.clean();
    std::copy(c.bytes.begin(), c.bytes.end(), packet.begin() + static_cast<int>(c.offset));
    EXPECT_EQ(victim.expectHarmless(packet, true), c.bytes.empty()) << c.what;
  }
  Bytes empty = victim.clean();
  empty[6] = empty[7] = 0;  // no MCUs: accepted, writes nothing
  EXPECT_TRUE(victim.expectHarmless(empty, true));
}

TEST(BadPackets, DataCutAndDamaged) {
  forVictims([](Victim& victim) {
    for (std::size_t length = 0; length < victim.clean().size(); ++length) {
      Bytes cut(victim.clean().begin(), victim.clean().begin() + static_cast<int>(length));
      EXPECT_FALSE(victim.expectHarmless(cut, true)) << length;  // the head says more
      if (length < kHead) continue;
      udp_header head = headOf(cut);
      head.dataEnd = static_cast<std::int16_t>(length - 2);
      setHead(cut, head);
      victim.expectHarmless(cut, true);
    }
    std::mt19937 random(7);
    for (int i = 0; i < 1000; ++i) {
      Bytes packet = victim.clean();
      for (unsigned flips = 1 + random() % 4; flips > 0; --flips) {
        packet[64 + random() % (packet.size() - 64)] = static_cast<std::uint8_t>(random() >> 24);
      }
      victim.expectHarmless(packet, true);
    }
  });
}

// A rectangle whose size the host can't be told is not vouched for by it.
TEST(BadPackets, RectanglesBeyondTheHostsReach) {
  PacketRun run(flatPicture({8, 8}, 1, 2, 3), 0, 75);
  Bytes& packet = run.packets[0];
  udp_header head = headOf(packet);
  head.frameWidth = head.frameHeight = 32767;
  head.y = 32767 - 8;
  setHead(packet, head);
  const Buffer buffer{nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  ASSERT_EQ(decompressor().getOutputSize(&buffer, 4, 6408), 0u);
  GuardedBuffer canvas(8 * 32767 * 4);
  EXPECT_FALSE(decodePacket(packet, 4, canvas.data(), 0));
  EXPECT_TRUE(canvas.isUntouched());
}

TEST(BadPackets, ArgumentsOfTheSliceFunction) {
  const PacketRun run(flatPicture({16, 8}, 1, 2, 3), 0, 75);
  const std::uint8_t* slice = run.packets[0].data() + kHead;
  const int length = static_cast<int>(run.packets[0].size()) - 2 - kHead;
  const struct {
    bool slice, destination;
    int bytesPerPixel, size, length, count, x, width, result;
  } cases[] = {{true, true, 4, 512, length, 2, 0, 16, 1},
               {true, true, 4, 512, length, 0, 0, 16, 1},
               {true, true, 4, 0, length, 2, 0, 16, 1},
               {false, true, 4, 512, length, 2, 0, 16, 0},
               {true, false, 4, 512, length, 2, 0, 16, 0},
               {true, true, 0, 512, length, 2, 0, 16, 0},
               {true, true, 5, 512, length, 2, 0, 16, 0},
               {true, true, 4, -1, length, 2, 0, 16, 0},
               {true, true, 4, 512, -1, 2, 0, 16, 0},
               {true, true, 4, 512, 0, 2, 0, 16, 0},
               {true, true, 4, 512, length, -1, 0, 16, 0},
               {true, true, 4, 512, length, INT_MAX, 0, 16, 0},
               {true, true, 4, 512, length, 2, -8, 16, 0},
               {true, true, 4, 512, length, 2, 3, 16, 0},
               {true, true, 4, 512, length, 2, 16, 16, 0},
               {true, true, 4, 512, length, 2, 0, 0, 0},
               {true, true, 4, 512, length, 2, 0, INT_MIN, 0},
               {true, true, 4, INT_MAX, length, 2, 0, INT_MAX, 0}};
  for (const auto& c : cases) {
    GuardedBuffer canvas(512);
    EXPECT_EQ(DecompressTilesPatch(c.slice ? slice : nullptr, c.bytesPerPixel, c.size, c.length,
                                   c.count, c.x, c.width, c.destination ? canvas.data() : nullptr),
              c.result)
        << c.bytesPerPixel << " " << c.size << " " << c.length << " " << c.count << " " << c.x
        << " " << c.width;
    EXPECT_TRUE(canvas.guardsIntact());
    const bool draws = c.result != 0 && c.count != 0 && c.size != 0;
    EXPECT_TRUE(draws || canvas.isUntouched());
  }
}

// Hundreds of thousands of packets, of which some are damaged and some missing.
TEST(BadPackets, MemoryStaysFlat) {
  const PacketRun run(noisePicture({64, 32}, 3), 2, 30);
  std::mt19937 random(11);
  GuardedBuffer canvas(run.pixels() * 4);
  std::size_t before = 0;
  constexpr int kDecodes = kSanitized ? 4000 : 200000;
  for (int i = -100; i < kDecodes; ++i) {
    if (i == 0) before = heapBytes();
    Bytes packet = run.packets[random() % run.packets.size()];
    if (random() % 100 < 30) {
      std::uint8_t& byte = packet[random() % packet.size()];
      byte = static_cast<std::uint8_t>(byte ^ 1u << random() % 8);
    }
    const auto size = static_cast<std::size_t>(canvas.size());
    decodePacket(packet, 3 + static_cast<int>(random() % 2), canvas.data(), size);
  }
  EXPECT_TRUE(canvas.guardsIntact());
  EXPECT_NEAR(static_cast<double>(heapBytes()), static_cast<double>(before), 4096);
}

}  // namespace
}  // namespace qrx::test
