// Packets back into pixels: each alone, in any order, with losses.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "qrx/front_end.h"
#include "tests/support/guarded_buffer.h"
#include "tests/unit/codecs/packet_run.h"

namespace qrx::test {
namespace {

// The rectangle compressed and decoded in one piece.
Bytes onePiece(const PacketRun& run) {
  const Size size = run.image.size;
  const qrxJPEGArgs_type args = {1972, run.quality, run.sampling, 6408, 0};
  std::uint8_t* stream = nullptr;
  int length = 0;
  qrxReleaseFunction release = nullptr;
  EXPECT_EQ(CompressPatch(run.image.pixels.data(), 4, size.width, size.height, &stream, &release,
                          &length, &args),
            1);
  Bytes pixels(run.image.pixels.size(), GuardedBuffer::kFill);
  EXPECT_EQ(DecompressPatch(stream, 4, 0, 0, 0, 0, 0, length, pixels.data()), 1);
  release(stream);
  return pixels;
}

// Whether up-sampling at a packet's edge may give the pixel another value than in one piece.
class EdgePixels {
 public:
  explicit EdgePixels(const PacketRun& run) : run_(run), owners_(run.owners()) {}

  bool contains(int x, int y) const {
    if (run_.sampling == 0) return false;
    const auto mcu = static_cast<std::size_t>(y / run_.mcuHeight * run_.across + x / run_.mcuWidth);
    const bool first = mcu > 0 && owners_[mcu - 1] != owners_[mcu];
    const bool last = mcu + 1 < owners_.size() && owners_[mcu + 1] != owners_[mcu];
    return (x % run_.mcuWidth == 0 && first) || (x % run_.mcuWidth == run_.mcuWidth - 1 && last) ||
           (run_.sampling == 2 && y % 16 == 0);
  }

 private:
  const PacketRun& run_;
  std::vector<int> owners_;
};

// What packet `number` of the run writes into a fresh destination, with the other pixels left as
// they were.
Bytes decodeAlone(const PacketRun& run, std::size_t number, int bytesPerPixel) {
  const auto pixelBytes = static_cast<std::size_t>(bytesPerPixel);
  GuardedBuffer canvas(run.pixels() * pixelBytes);
  EXPECT_TRUE(
      decodePacket(run.packets[number], bytesPerPixel, canvas.data(), run.pixels() * pixelBytes))
      << run << " packet " << number;
  EXPECT_TRUE(canvas.guardsIntact()) << run << " packet " << number;
  return canvas.content();
}

void expectOwnPixelsOnly(const PacketRun& run, std::size_t number, const Bytes& alone,
                         const Bytes& whole) {
  const std::vector<int> owners = run.owners();
  int foreign = 0, alphas = 0, missing = 0;
  for (int y = 0; y < run.image.size.height; ++y) {
    for (int x = 0; x < run.image.size.width; ++x) {
      const auto mcu = static_cast<std::size_t>(y / run.mcuHeight * run.across + x / run.mcuWidth);
      const auto at = 4 * static_cast<std::ptrdiff_t>(y * run.image.size.width + x);
      const bool own = owners[mcu] == static_cast<int>(number);
      const bool blank = std::all_of(alone.begin() + at, alone.begin() + at + 3,
                                     [](std::uint8_t b) { return b == GuardedBuffer::kFill; });
      foreign += !own && !blank;
      alphas += alone[static_cast<std::size_t>(at + 3)] != GuardedBuffer::kFill;
      missing += own && !std::equal(alone.begin() + at, alone.begin() + at + 4, whole.begin() + at);
    }
  }
  EXPECT_EQ(foreign, 0) << run << " packet " << number;
  EXPECT_EQ(alphas, 0) << run << " packet " << number;
  EXPECT_EQ(missing, 0) << run << " packet " << number;
}

// Decodes the packets in the order given; some may be missing, some twice.
Bytes decodeInOrder(const PacketRun& run, const std::vector<std::size_t>& order) {
  GuardedBuffer canvas(run.image.pixels.size());
  for (const std::size_t number : order) {
    EXPECT_TRUE(decodePacket(run.packets[number], 4, canvas.data(), 0));
  }
  EXPECT_TRUE(canvas.guardsIntact());
  return canvas.content();
}

void expectRoundTrip(const PacketRun& run) {
  std::vector<std::size_t> order(run.packets.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const Bytes whole = decodeInOrder(run, order);

  const Bytes reference = onePiece(run);
  const EdgePixels edges(run);
  int differences = 0;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const int pixel = static_cast<int>(i / 4);
    const int x = pixel % run.image.size.width, y = pixel / run.image.size.width;
    differences += whole[i] != reference[i] && !edges.contains(x, y);
  }
  EXPECT_EQ(differences, 0) << run;

  for (std::size_t number = 0; number < run.packets.size(); ++number) {
    const Bytes alone = decodeAlone(run, number, 4);
    expectOwnPixelsOnly(run, number, alone, whole);
    const Bytes narrow = decodeAlone(run, number, 3);
    for (std::size_t i = 0; i < narrow.size(); ++i) {
      ASSERT_EQ(narrow[i], alone[i / 3 * 4 + i % 3]) << run << " packet " << number;
    }
  }

  std::mt19937 random(1);
  order.insert(order.end(), order.begin(), order.end());  // every packet twice
  std::shuffle(order.begin(), order.end(), random);
  EXPECT_EQ(decodeInOrder(run, order), whole) << run;
}

TEST(PacketDecoder, PutsEveryPacketInItsPlace) {
  const Size sizes[] = {{1, 1},    {64, 32},  {100, 5},   {17, 33}, {102, 20}, {129, 47},
                        {16, 333}, {419, 17}, {300, 100}, {31, 64}, {8, 200}};
  for (const Size size : sizes) {
    for (int sampling = 0; sampling < 3; ++sampling) {
      expectRoundTrip(PacketRun(scenePicture(size), sampling, 92));
      expectRoundTrip(PacketRun(noisePicture(size, 8), sampling, 20));
      // Rectangles whose edges pass the ends of the 16-bit coordinates.
      expectRoundTrip(PacketRun(blockyPicture(size, 8), sampling, 90, 32760, -32768));
      expectRoundTrip(PacketRun(noisePicture(size, 9), sampling, 90, -7, 32767));
    }
  }
}

// A lost packet costs its own pixels.
TEST(PacketDecoder, LosesNoMoreThanThePacket) {
  const PacketRun run(blockyPicture({200, 120}, 6), 2, 90);
  ASSERT_GT(run.packets.size(), 5u);
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < run.packets.size(); ++i) {
    if (i % 3 != 1) order.push_back(i);
  }
  const Bytes lossy = decodeInOrder(run, order);
  for (std::size_t i = 1; i < run.packets.size(); i += 3) order.push_back(i);
  const Bytes whole = decodeInOrder(run, order);
  const std::vector<int> owners = run.owners();
  for (int y = 0; y < 120; ++y) {
    for (int x = 0; x < 200; ++x) {
      const auto mcu = static_cast<std::size_t>(y / 16 * run.across + x / 16);
      const auto at = static_cast<std::size_t>(4 * (y * 200 + x));
      const bool lost = owners[mcu] % 3 == 1;
      ASSERT_EQ(lossy[at], lost ? GuardedBuffer::kFill : whole[at]) << x << "," << y;
    }
  }
}

TEST(PacketDecoder, CountsCoverage) {
  const PacketRun run(blockyPicture({200, 120}, 6), 2, 90);
  double sum = 0;
  for (Bytes packet : run.packets) {
    Buffer buffer{nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
    EXPECT_FALSE(decompressor().isValid(&buffer));  // the host has to change the kind
    packet[2] = 1;
    EXPECT_TRUE(decompressor().isValid(&buffer));
    sum += decompressor().percentCoverage(&buffer);
  }
  EXPECT_NEAR(sum, 100.0, 1e-9);
}

// The bound of the destination: the packet's last own pixel.
TEST(PacketDecoder, KeepsToTheDestination) {
  for (const Size size : {Size{64, 32}, {50, 21}}) {
    for (int sampling = 0; sampling < 3; ++sampling) {
      const PacketRun run(noisePicture(size, 4), sampling, 85);
      const std::vector<int> owners = run.owners();
      for (std::size_t number = 0; number < run.packets.size(); ++number) {
        std::size_t last = 0;
        for (std::size_t pixel = 0; pixel < run.pixels(); ++pixel) {
          const auto width = static_cast<std::size_t>(size.width);
          const int x = static_cast<int>(pixel % width), y = static_cast<int>(pixel / width);
          if (run.ownerOf(x, y) == static_cast<int>(number)) last = pixel;
        }
        for (const int bytesPerPixel : {3, 4}) {
          const std::size_t needed = (last + 1) * static_cast<std::size_t>(bytesPerPixel);
          GuardedBuffer canvas(needed);
          EXPECT_FALSE(decodePacket(run.packets[number], bytesPerPixel, canvas.data(), needed - 1));
          EXPECT_TRUE(canvas.isUntouched());
          EXPECT_TRUE(decodePacket(run.packets[number], bytesPerPixel, canvas.data(), needed))
              << run << " packet " << number;
          EXPECT_TRUE(canvas.guardsIntact());
        }
      }
    }
  }
}

}  // namespace
}  // namespace qrx::test
