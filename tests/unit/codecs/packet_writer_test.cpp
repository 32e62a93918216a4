// The packets' wire format.
#include <gtest/gtest.h>

#include <climits>

#include "qrx/front_end.h"
#include "qrx/jpeg_encoder.h"
#include "tests/support/guarded_buffer.h"
#include "tests/unit/codecs/encoder_job.h"
#include "tests/unit/codecs/packet_run.h"

namespace qrx::test {
namespace {

constexpr int kThreshold = 1250;

int word(const Bytes& bytes, std::size_t offset) { return bytes[offset] << 8 | bytes[offset + 1]; }

// Holds every field of a run's packets to the MCUs that they must hold.
void expectRules(const PacketRun& run, int left, int bottom, int index) {
  const int width = run.image.size.width, height = run.image.size.height;
  const auto strip = [&](int row) {
    return std::max(bottom, bottom + height - (row + 1) * run.mcuHeight);
  };
  int first = 0;  // MCU
  for (std::size_t i = 0; i < run.packets.size(); ++i) {
    const Bytes& packet = run.packets[i];
    const udp_header head = headOf(packet);
    const bool last = i + 1 == run.packets.size();
    ASSERT_GT(head.mcuCount, 0) << run;
    const int row = first / run.across, column = first % run.across;
    const int end = first + head.mcuCount - 1;
    const int lastRow = end / run.across;

    EXPECT_EQ(head.headerSize, 32);
    EXPECT_EQ(head.contextByte, 77);
    EXPECT_EQ(head.kind, 231);
    EXPECT_EQ(head.mcuShape, run.sampling == 0 ? 0x11 : run.sampling == 1 ? 0x21 : 0x22);
    EXPECT_EQ(head.dataEnd + 2, static_cast<int>(packet.size()));
    EXPECT_EQ(head.window, 0xCAFEF00Du);
    EXPECT_EQ(head.index, last ? -index : index);
    EXPECT_EQ(head.frameX, left);
    EXPECT_EQ(head.frameY, bottom);
    EXPECT_EQ(head.frameWidth, width);
    EXPECT_EQ(head.frameHeight, height);

    EXPECT_EQ(head.x, left + column * run.mcuWidth) << run << " packet " << i;
    EXPECT_EQ(head.y, strip(row)) << run << " packet " << i;
    EXPECT_EQ(head.height, std::min(strip(row) + run.mcuHeight, bottom + height) - strip(lastRow))
        << run << " packet " << i;
    // A lone MCU that the size test closed says the whole width.
    const bool lone = head.mcuCount == 1 && static_cast<int>(packet.size()) > kThreshold + 2;
    const int own = std::min(width, head.mcuCount * run.mcuWidth);
    EXPECT_EQ(head.width, row == lastRow && !lone ? own : width) << run << " packet " << i;

    if (!last) {
      EXPECT_GE(packet.size(), kThreshold + 3u) << run;
    }
    EXPECT_EQ(word(packet, 32), 0xFFDE);
    EXPECT_EQ(word(packet, 34), run.quality);
    EXPECT_EQ(word(packet, 36), head.height);
    EXPECT_EQ(word(packet, 38), head.width);
    EXPECT_EQ(word(packet, packet.size() - 2), 0xFFD9);
    first = end + 1;
  }
  EXPECT_EQ(first, run.across * run.down) << run;
}

TEST(PacketWriter, KeepsTheRulesOfTheFormat) {
  const Size sizes[] = {{1, 1},   {64, 32},  {100, 20}, {17, 33}, {100, 5},  {129, 47},
                        {8, 400}, {16, 333}, {400, 17}, {1, 100}, {300, 100}};
  for (const Size size : sizes) {
    for (int sampling = 0; sampling < 3; ++sampling) {
      for (const int quality : {10, 75, 90}) {
        const PacketRun scene(scenePicture(size), sampling, quality, 0, 0);
        expectRules(scene, 0, 0, 5);
        const PacketRun noise(noisePicture(size, 3), sampling, quality, 320, -77, INT_MAX);
        expectRules(noise, 320, -77, INT_MAX);
      }
    }
  }
}

TEST(PacketWriter, WritesTheWorkedHead) {
  const PacketRun run(flatPicture({64, 8}, 1, 2, 3), 1, 80);
  ASSERT_EQ(run.packets.size(), 1u);
  EXPECT_EQ(hexText(Bytes(run.packets[0].begin() + 32, run.packets[0].begin() + 64)),
            "FF DE 00 50 00 08 00 40 03 00 21 00 01 11 01 02 11 01 "
            "FF DA 00 0C 03 00 00 01 11 02 11 00 3F 00 ");
}

// 4 by 2 MCUs, of which the size test takes six into the first packet.
TEST(PacketWriter, CutsTheWorkedRectangle) {
  for (int quality = 30; quality < 90; ++quality) {
    const PacketRun run(noisePicture({64, 32}, 9), 2, quality);
    if (headOf(run.packets[0]).mcuCount != 6) continue;
    ASSERT_EQ(run.packets.size(), 2u);
    const udp_header a = headOf(run.packets[0]), b = headOf(run.packets[1]);
    EXPECT_EQ((std::vector<int>{a.x, a.y, a.width, a.height, a.mcuCount, a.index}),
              (std::vector<int>{0, 16, 64, 32, 6, 5}));
    EXPECT_EQ((std::vector<int>{b.x, b.y, b.width, b.height, b.mcuCount, b.index}),
              (std::vector<int>{32, 0, 32, 16, 2, -5}));
    return;
  }
  FAIL() << "no quality cuts after the sixth MCU";
}

// Packets that end with a row or with the rectangle, and packets that wrap into a lone column.
TEST(PacketWriter, MeetsTheEdgesOfTheGrid) {
  bool endedWithRow = false, endedWithRectangle = false, wrappedInColumn = false;
  for (int width = 16; width <= 96; width += 8) {
    for (int quality = 40; quality <= 90; quality += 2) {
      const PacketRun run(noisePicture({width, 48}, 1), 0, quality);
      expectRules(run, 0, 0, 5);
      int end = 0;
      for (const Bytes& packet : run.packets) {
        const udp_header head = headOf(packet);
        const bool closedBySize = static_cast<int>(packet.size()) > kThreshold + 2;
        wrappedInColumn |= end % run.across == run.across - 1 && head.mcuCount == run.across + 1;
        end += head.mcuCount;
        endedWithRow |= closedBySize && end % run.across == 0 && end < run.across * run.down;
        endedWithRectangle |= closedBySize && end == run.across * run.down;
      }
    }
  }
  EXPECT_TRUE(endedWithRow);
  EXPECT_TRUE(endedWithRectangle);
  EXPECT_TRUE(wrappedInColumn);
}

TEST(PacketWriter, MarksTheLastPacketByItsIndex) {
  for (const auto& [given, last] : {std::pair{1, -1}, {0, 0}, {-9, 9}, {INT_MIN, INT_MIN}}) {
    const PacketRun run(noisePicture({64, 64}, 2), 0, 90, 0, 0, given);
    ASSERT_GT(run.packets.size(), 1u);
    EXPECT_EQ(headOf(run.packets.front()).index, given);
    EXPECT_EQ(headOf(run.packets.back()).index, last);
  }
}

// --- The encoder's own interface

struct Emitted {
  std::vector<Bytes> packets;
  static void collect(Ipp8u* packet, int length, void* context) {
    static_cast<Emitted*>(context)->packets.emplace_back(packet, packet + length);
  }
};

struct DirectRun {
  int result;
  std::vector<Bytes> packets;
  bool inBounds;
};

DirectRun runDirectly(Size size, int capacity, int startPosition, int interval = 0) {
  const EncoderJob job = colourJob(noisePicture(size.height > 0 ? size : Size{size.width, 1}, 4));
  GuardedBuffer buffer(static_cast<std::size_t>(capacity));
  CJPEGEncoder encoder;
  encoder.SetSource(job.pixels.data(), 3 * size.width, {size.width, size.height}, 3,
                    JPEG_COLOR_BGR);
  encoder.SetDestinationTiles(buffer.data(), capacity, 97, JPEG_SAMPLING_444, JPEG_COLOR_YCBCR,
                              JPEG_MODE_BASELINE, interval, startPosition);
  udp_header head{};
  head.headerSize = kHead;
  head.index = 1;
  head.width = head.frameWidth = static_cast<std::int16_t>(size.width);
  head.height = head.frameHeight = static_cast<std::int16_t>(size.height);
  Emitted emitted;
  const int result =
      encoder.WriteImageBaselineCB(nullptr, &head, buffer.data(), Emitted::collect, &emitted);
  return {result, emitted.packets, buffer.guardsIntact()};
}

// Whatever the room, whole packets of the same run come out, and no more.
TEST(PacketWriter, DropsThePacketThatDoesNotFit) {
  const DirectRun whole = runDirectly({32, 24}, 1 << 16, 0);
  ASSERT_EQ(whole.result, 0);
  ASSERT_GE(whole.packets.size(), 2u);
  std::size_t total = 0;
  for (const Bytes& packet : whole.packets) total += packet.size();
  for (std::size_t capacity = 0; capacity <= total + 60; ++capacity) {
    const DirectRun run = runDirectly({32, 24}, static_cast<int>(capacity), 0);
    ASSERT_TRUE(run.inBounds) << capacity;
    ASSERT_LE(run.packets.size(), whole.packets.size());
    ASSERT_TRUE(std::equal(run.packets.begin(), run.packets.end(), whole.packets.begin()));
    ASSERT_EQ(run.result == 0, run.packets.size() == whole.packets.size()) << capacity;
    if (run.packets.empty() && capacity < 54) {
      ASSERT_EQ(run.result, JPEG_BUFFER_TOO_SMALL);
    }
  }
  EXPECT_EQ(runDirectly({32, 24}, static_cast<int>(total) + 1, 0).result, 0);
}

TEST(PacketWriter, StartsBehindWhatTheStreamHolds) {
  EXPECT_EQ(runDirectly({32, 24}, 1 << 16, 999).packets, runDirectly({32, 24}, 1 << 16, 0).packets);
}

TEST(PacketWriter, GivesAnEmptyRectangleOnePacket) {
  const DirectRun run = runDirectly({24, 0}, 4096, 0);
  EXPECT_EQ(run.result, 0);
  ASSERT_EQ(run.packets.size(), 1u);
  const udp_header head = headOf(run.packets[0]);
  EXPECT_EQ((std::vector<int>{head.mcuCount, head.width, head.height, head.index}),
            (std::vector<int>{0, 24, 0, -1}));
  EXPECT_EQ(run.packets[0].size(), 66u);
}

}  // namespace
}  // namespace qrx::test
