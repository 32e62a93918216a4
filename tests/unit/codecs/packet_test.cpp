// Packets: the wire format, the way back with losses and in any order, and packets from strangers.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>

#include "qrx/codec.h"
#include "qrx/front_end.h"
#include "qrx/tile_header.h"
#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"

namespace qrx::test {
namespace {

// A packet's bytes begin with its head.
constexpr int kHead = sizeof(udp_header);
udp_header headOf(const Bytes& packet) {
  udp_header head;
  std::memcpy(&head, packet.data(), sizeof head);
  return head;
}
void setHead(Bytes& packet, const udp_header& head) {
  std::memcpy(packet.data(), &head, sizeof head);
}

std::int16_t low(int value) { return static_cast<std::int16_t>(value); }

// One codec for all tests of a program.
codec::Decompressor& decompressor() {
  static codec::Codec* const codec = (initCodec(), createCodec());
  return *codec->getDecompressor();
}

bool decodePacket(const Bytes& packet, std::uint32_t bytesPerPixel, std::uint8_t* destination,
                  std::size_t destinationSize) {
  const Buffer buffer{nullptr, const_cast<std::uint8_t*>(packet.data()),
                      static_cast<std::uint32_t>(packet.size())};
  return decompressor().decompressTile(&buffer, bytesPerPixel, 6408, destination,
                                       static_cast<std::uint32_t>(destinationSize));
}

struct PacketRun {
  // Compresses the picture as the rectangle whose left and lower edge are x and y.
  PacketRun(Image picture, int mcuSampling, int jpegQuality, int x = 0, int y = 0, int index = 5)
      : image(std::move(picture)), sampling(mcuSampling), quality(jpegQuality) {
    decompressor();  // starts the library
    const std::uint8_t shape = sampling == 0 ? 0x11 : sampling == 1 ? 0x21 : 0x22;
    const std::int16_t left = low(x), bottom = low(y), width = low(image.size.width),
                       height = low(image.size.height);
    head = {kHead, 77,     231,   shape,  0,    0,      0xCAFEF00D, index,
            left,  bottom, width, height, left, bottom, width,      height};
    udp_header own = head;  // the writer's to change
    const qrxTilesArgs_type args = {1972, quality, sampling, 6408, 0};
    EXPECT_EQ(CompressTilesPatch(image.pixels.data(), 4, image.size.width, image.size.height, &own,
                                 &args, collect, &packets),
              1);
    std::vector<std::size_t> cells;
    for (std::size_t i = 0; i < packets.size(); ++i)
      cells.insert(cells.end(), static_cast<std::size_t>(headOf(packets[i]).mcuCount), i);
    cells.resize(std::size_t(across) * std::size_t(down), packets.size());
    for (int i = 0; i < image.size.width * image.size.height; ++i) {
      const int row = i / image.size.width / mcuHeight, column = i % image.size.width / mcuWidth;
      owners.push_back(cells[std::size_t(row) * std::size_t(across) + std::size_t(column)]);
    }
  }

  // Bytes of a destination that were written and are none of the packet's own.
  int foreignBytes(std::size_t number, const Bytes& content, std::size_t bytesPerPixel) const {
    int foreign = 0;
    for (std::size_t i = 0; i < content.size(); ++i) {
      const bool own = owners[i / bytesPerPixel] == number && i % bytesPerPixel < 3;
      foreign += !own && content[i] != GuardedBuffer::kFill;
    }
    return foreign;
  }

  Image image;
  int sampling;  // _JPEG_SAMPLING
  int quality;
  int mcuWidth = sampling == 0 ? 8 : 16, mcuHeight = sampling == 2 ? 16 : 8;
  int across = (image.size.width + mcuWidth - 1) / mcuWidth;
  int down = (image.size.height + mcuHeight - 1) / mcuHeight;
  udp_header head{};  // as the writer got it
  std::vector<Bytes> packets;
  std::vector<std::size_t> owners;  // for every pixel the number of its packet, by mcuCount
};

std::ostream& operator<<(std::ostream& out, const PacketRun& run) {
  return out << run.image.size.width << "x" << run.image.size.height << ", sampling "
             << run.sampling << ", quality " << run.quality;
}

constexpr int kThreshold = 1250;

// Holds every packet of a run to the MCUs that it must hold.
void expectRules(const PacketRun& run) {
  const int left = run.head.frameX, bottom = run.head.frameY;
  const int width = run.image.size.width, height = run.image.size.height;
  const auto strip = [&](int row) {
    return std::max(bottom, bottom + height - (row + 1) * run.mcuHeight);
  };
  int first = 0;  // MCU
  for (std::size_t i = 0; i < run.packets.size(); ++i) {
    const Bytes& packet = run.packets[i];
    const auto size = static_cast<int>(packet.size());
    const bool last = i + 1 == run.packets.size();
    const int count = headOf(packet).mcuCount;
    ASSERT_GT(count, 0) << run;
    ASSERT_TRUE(last || size > kThreshold + 2) << run;
    const int row = first / run.across, lastRow = (first + count - 1) / run.across;
    // A lone MCU that the size test closed says the whole width.
    const bool lone = count == 1 && size > kThreshold + 2;

    udp_header expected = run.head;
    expected.mcuCount = low(count);
    expected.dataEnd = low(size - 2);
    expected.index =
        last ? static_cast<int>(0u - static_cast<unsigned>(run.head.index)) : run.head.index;
    expected.x = low(left + first % run.across * run.mcuWidth);
    expected.y = low(strip(row));
    expected.height = low(std::min(strip(row) + run.mcuHeight, bottom + height) - strip(lastRow));
    expected.width = low(row == lastRow && !lone ? std::min(width, count * run.mcuWidth) : width);
    Bytes head(kHead);
    setHead(head, expected);
    head = head + word(0xFFDE) + word(run.quality) + word(expected.height) + word(expected.width);
    EXPECT_EQ(hexText(prefix(packet, head.size())), hexText(head)) << run << " packet " << i;
    EXPECT_EQ(hexText(Bytes(packet.end() - 2, packet.end())), "FFD9");
    first += count;
  }
  EXPECT_EQ(first, run.across * run.down) << run;
}

TEST(PacketWriter, MakesTheWorkedPackets) {
  const Bytes flat = PacketRun(flatPicture({64, 8}, 1, 2, 3), 1, 80).packets.at(0);
  EXPECT_EQ(hexText(Bytes(flat.begin() + 32, flat.begin() + 64)),
            "FFDE00500008004003002100011101021101FFDA000C03000001110211003F00");
  // 4 by 2 MCUs, of which the size test takes six into the first packet.
  const PacketRun run(noisePicture({64, 32}, 9), 2, 86);
  ASSERT_EQ(run.packets.size(), 2u);
  const udp_header a = headOf(run.packets[0]), b = headOf(run.packets[1]);
  EXPECT_EQ((std::vector<int>{a.x, a.y, a.width, a.height, a.mcuCount, a.index}),
            (std::vector<int>{0, 16, 64, 32, 6, 5}));
  EXPECT_EQ((std::vector<int>{b.x, b.y, b.width, b.height, b.mcuCount, b.index}),
            (std::vector<int>{32, 0, 32, 16, 2, -5}));
}

// A direct user's restart interval stands in the first packet.
TEST(PacketWriter, WritesTheRestartInterval) {
  EncoderJob job = colourJob(flatPicture({64, 8}, 1, 2, 3));
  job.restartInterval = 3;
  job.quality = 80;
  GuardedBuffer buffer(4096);
  CJPEGEncoder encoder;
  setUp(encoder, job, buffer.data());
  udp_header head{};
  head.width = 64;
  head.height = 8;
  std::vector<Bytes> packets;
  EXPECT_EQ(encoder.WriteImageBaselineCB(nullptr, &head, buffer.data(), collect, &packets), 0);
  ASSERT_EQ(packets.size(), 1u);
  const std::string text = hexText(packets[0]);
  EXPECT_EQ(text.substr(2 * 50, 16), "FFDD00040003FFDA") << text;
  EXPECT_NE(text.find("FFD0"), std::string::npos);
}

// Whatever the room, whole packets of the same run come out, and no more.
TEST(PacketWriter, DropsThePacketThatDoesNotFit) {
  const PacketRun run(noisePicture({32, 24}, 4), 0, 97);
  ASSERT_GE(run.packets.size(), 2u);
  EncoderJob job = colourJob(run.image);
  job.sampling = JPEG_SAMPLING_444;
  job.quality = 97;
  CJPEGEncoder encoder;
  for (int capacity = 6000; capacity >= 0; --capacity) {
    GuardedBuffer buffer(static_cast<std::size_t>(capacity));
    job.capacity = capacity;
    setUp(encoder, job, buffer.data());
    udp_header head = run.head;
    std::vector<Bytes> packets;
    const int result =
        encoder.WriteImageBaselineCB(nullptr, &head, buffer.data(), collect, &packets);
    ASSERT_TRUE(buffer.guardsIntact() && packets.size() <= run.packets.size()) << capacity;
    ASSERT_TRUE(std::equal(packets.begin(), packets.end(), run.packets.begin())) << capacity;
    ASSERT_EQ(result == 0, packets.size() == run.packets.size()) << capacity;
    ASSERT_TRUE(capacity < 6000 ? capacity >= 54 || result == JPEG_BUFFER_TOO_SMALL : result == 0);
  }
}

// The rectangle compressed and decoded in one piece.
Bytes onePiece(const PacketRun& run) {
  EncoderJob job = colourJob(run.image);
  job.sampling = static_cast<_JPEG_SAMPLING>(run.sampling);
  job.quality = run.quality;
  Bytes stream = encode(job).bytes, pixels(run.image.pixels.size(), GuardedBuffer::kFill);
  const auto length = static_cast<int>(stream.size());
  EXPECT_EQ(DecompressPatch(stream.data(), 4, 0, 0, 0, 0, 0, length, pixels.data()), 1);
  return pixels;
}

// Whether up-sampling at a packet's edge may give the pixel another value than in one piece.
bool isAtPacketEdge(const PacketRun& run, std::size_t pixel) {
  const auto width = static_cast<std::size_t>(run.image.size.width);
  const std::size_t x = pixel % width, owner = run.owners[pixel];
  const bool side = (x > 0 && run.owners[pixel - 1] != owner) ||
                    (x + 1 < width && run.owners[pixel + 1] != owner);
  return (run.sampling > 0 && side) || (run.sampling == 2 && pixel / width % 16 == 0);
}

// What packet `number` writes into a destination that ends with the packet's last own pixel; a
// smaller one it leaves alone.
Bytes decodeAlone(const PacketRun& run, std::size_t number, std::uint32_t bytesPerPixel) {
  const auto last = std::find(run.owners.rbegin(), run.owners.rend(), number);
  const auto needed = static_cast<std::size_t>(run.owners.rend() - last) * bytesPerPixel;
  GuardedBuffer canvas(needed);
  EXPECT_FALSE(decodePacket(run.packets[number], bytesPerPixel, canvas.data(), needed - 1));
  EXPECT_TRUE(canvas.isUntouched());
  EXPECT_TRUE(decodePacket(run.packets[number], bytesPerPixel, canvas.data(), needed) &&
              canvas.guardsIntact());
  EXPECT_EQ(run.foreignBytes(number, canvas.content(), bytesPerPixel), 0);
  return canvas.content();
}

void expectRoundTrip(const PacketRun& run) {
  Bytes whole(run.image.pixels.size(), GuardedBuffer::kFill);
  for (std::size_t number = 0; number < run.packets.size(); ++number) {
    SCOPED_TRACE(testing::Message() << run << " packet " << number);
    const Bytes alone = decodeAlone(run, number, 4), narrow = decodeAlone(run, number, 3);
    for (std::size_t i = 0; i < narrow.size(); ++i) {
      const std::size_t at = i / 3 * 4 + i % 3;
      ASSERT_EQ(narrow[i], alone[at]);
      if (run.owners[i / 3] == number) whole[at] = alone[at];
    }
  }
  const Bytes reference = onePiece(run);
  for (std::size_t i = 0; i < whole.size(); ++i) {
    ASSERT_TRUE(whole[i] == reference[i] || isAtPacketEdge(run, i / 4)) << run << " byte " << i;
  }

  std::vector<Bytes> arrived = run.packets;
  arrived.insert(arrived.end(), run.packets.begin(), run.packets.end());  // every packet twice
  std::mt19937 random(1);
  std::shuffle(arrived.begin(), arrived.end(), random);
  GuardedBuffer canvas(whole.size());
  for (const Bytes& packet : arrived) EXPECT_TRUE(decodePacket(packet, 4, canvas.data(), 0));
  EXPECT_TRUE(canvas.guardsIntact()) << run;
  EXPECT_EQ(canvas.content(), whole) << run;
}

TEST(Packets, KeepTheRulesAndFindTheirPlaces) {
  const Size sizes[] = {{1, 1},    {64, 32},  {100, 5},   {17, 33}, {102, 20}, {129, 47}, {8, 400},
                        {16, 333}, {419, 17}, {300, 100}, {31, 64}, {8, 200},  {1, 100}};
  for (const Size size : sizes) {
    for (int sampling = 0; sampling < 3; ++sampling) {
      for (const int quality : {10, 75, 92}) {
        // Rectangles at the origin, around it, and with edges that pass the ends of the 16-bit
        // coordinates.
        const PacketRun runs[] = {
            PacketRun(scenePicture(size), sampling, quality),
            PacketRun(noisePicture(size, 8), sampling, quality, 32760, -32768, INT_MIN),
            PacketRun(noisePicture(size, 9), sampling, quality, -7, 32767, 0)};
        for (const PacketRun& run : runs) {
          expectRules(run);
          expectRoundTrip(run);
        }
      }
    }
  }
}

// The functions below the class begin at the packet's first row, and are told what the head tells.
TEST(Packets, AreDecodedWithoutTheirHeads) {
  const PacketRun run(noisePicture({64, 48}, 5), 2, 70);
  const Bytes& packet = run.packets.at(1);
  const udp_header head = headOf(packet);
  const int left = head.x - head.frameX, size = 64 * 48 * 4;
  ASSERT_GT(left, 0);
  Bytes expected = decodeAlone(run, 1, 4);
  const auto first = std::find(run.owners.begin(), run.owners.end(), 1u) - run.owners.begin();
  expected.erase(expected.begin(), expected.begin() + first / (64 * 16) * 64 * 16 * 4);
  const struct {
    const char* what;
    int bytesPerPixel, room, shorter, count, left, result;
    bool writes = false;
  } cases[] = {{"sound", 4, size, 0, head.mcuCount, left, 1, true},
               {"no MCUs", 4, size, 0, 0, left, 1},
               {"two bytes a pixel", 2, size, 0, head.mcuCount, left, 0},
               {"no room at all", 4, -1, 0, head.mcuCount, left, 0},
               {"no slice", 4, size, 1 << 15, head.mcuCount, left, 0},
               {"less than a slice", 4, size, static_cast<int>(packet.size()) - 60, 1, left, 0},
               {"one MCU more", 4, size, 0, head.mcuCount + 64, left, 0},
               {"a place between MCUs", 4, size, 0, head.mcuCount, left + 1, 0}};
  for (const auto& c : cases) {
    GuardedBuffer canvas(expected.size());
    const int length = head.dataEnd - kHead - c.shorter;
    EXPECT_EQ(DecompressTilesPatch(packet.data() + kHead, c.bytesPerPixel, c.room, length, c.count,
                                   c.left, 64, canvas.data()),
              c.result)
        << c.what;
    EXPECT_TRUE(c.writes ? canvas.content() == expected : canvas.isUntouched()) << c.what;
    EXPECT_TRUE(canvas.guardsIntact()) << c.what;
  }
}

// Three blocks stand beside each other in the rectangle, the fourth below the first.
TEST(Packets, OfOneComponentFindTheirPlaces) {
  decompressor();  // starts the library
  EncoderJob job = grayJob(noisePicture({32, 8}, 3));
  job.quality = 80;
  const Bytes stream = encode(job).bytes, scan = {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0};
  const auto data = std::search(stream.begin(), stream.end(), scan.begin(), scan.begin() + 2) + 10;
  Bytes packet = Bytes(kHead) + word(0xFFDE) + word(80) + word(16) + word(24);
  packet = packet + Bytes{1, 1, 0x11, 0} + scan + Bytes(data, stream.end());
  const auto end = low(static_cast<int>(packet.size()) - 2);
  setHead(packet, {kHead, 77, 231, 0x11, end, 4, 0, 5, 0, 8, 24, 16, 0, 0, 24, 16});
  Bytes row(std::size_t{32} * 8 * 3);
  ASSERT_EQ(
      DecompressPatch(stream.data(), 3, 0, 0, 0, 0, 0, static_cast<int>(stream.size()), row.data()),
      1);
  for (const std::size_t bytes : {3U, 4U}) {
    GuardedBuffer canvas(24 * 16 * bytes);
    ASSERT_TRUE(decodePacket(packet, static_cast<std::uint32_t>(bytes), canvas.data(), 0));
    EXPECT_TRUE(canvas.guardsIntact());
    Bytes expected(24 * 16 * bytes, GuardedBuffer::kFill);
    for (std::size_t i = 0; i < row.size() / 3; ++i) {
      const std::size_t x = i % 32, y = i / 32;
      std::copy_n(&row[3 * i], 3, &expected[((x < 24 ? y : y + 8) * 24 + x % 24) * bytes]);
    }
    EXPECT_EQ(canvas.content(), expected) << bytes;
  }
}

TEST(Decompressor, TakesNothingForNoPicture) {
  const Buffer empty{};
  std::uint8_t pixel[4] = {};
  for (const Buffer* const buffer : {static_cast<const Buffer*>(nullptr), &empty}) {
    EXPECT_FALSE(decompressor().decompress(buffer, 4, 6408, pixel, sizeof pixel));
    EXPECT_FALSE(decompressor().decompressTile(buffer, 4, 6408, pixel, sizeof pixel));
    EXPECT_FALSE(decompressor().isValid(buffer));
  }
}

// At and between the ends of rows and rectangles.
TEST(Packets, KeepTheRulesWhereverTheCutIs) {
  for (int width = 16; width <= 96; width += 8) {
    for (int quality = 40; quality <= 90; quality += 2) {
      expectRules(PacketRun(noisePicture({width, 48}, 1), 0, quality));
    }
  }
}

// A refused packet writes nothing, an accepted one nothing outside the rectangle; with `ownOnly`
// nothing but the own pixels of the run's packet `number`.
bool expectHarmless(const PacketRun& run, std::size_t number, Bytes packet, bool ownOnly) {
  GuardedBuffer canvas(run.owners.size() * 4);
  const bool accepted =
      decodePacket(packet, 4, canvas.data(), static_cast<std::size_t>(canvas.size()));
  EXPECT_TRUE(canvas.guardsIntact()) << run;
  EXPECT_TRUE(accepted || canvas.isUntouched()) << run;
  if (ownOnly) {
    EXPECT_EQ(run.foreignBytes(number, canvas.content(), 4), 0) << run;
    return accepted;
  }
  // Where the rectangle is the head's own word; those beyond 16 MiB are left out.
  const Buffer buffer{nullptr, packet.data(), static_cast<std::uint32_t>(packet.size())};
  const std::uint32_t size = decompressor().getOutputSize(&buffer, 4, 6408);
  if (size > 1 << 24) return accepted;
  GuardedBuffer own(size);
  EXPECT_TRUE(decodePacket(packet, 4, own.data(), 0) || own.isUntouched()) << run;
  EXPECT_TRUE(own.guardsIntact()) << run;
  return accepted;
}

TEST(BadPackets, AreRefusedWhereHeadAndSegmentsDisagree) {
  const PacketRun run(noisePicture({64, 48}, 5), 2, 70);
  ASSERT_GT(headOf(run.packets[0]).mcuCount, run.across);  // wraps
  const struct {
    const char* what;
    std::size_t offset;
    Bytes bytes;
    bool taken = false;
  } cases[] = {{"kind is the host's", 2, {}, true},
               {"no MCUs: writes nothing", 6, {0, 0}, true},
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
               {"four components", 40, {4}},
               {"factor 0", 42, {0x02}},
               {"factors of no sampling", 42, {0x41}},
               {"quantisation table 2", 43, {2}},
               {"scan's marker", 51, {0xDB}},
               {"scan's length", 53, {11}},
               {"scan of two components", 54, {2}},
               {"scan of another component", 55, {9}},
               {"Huffman table 2 for DC", 56, {0x20}},
               {"Huffman table 2 for AC", 58, {0x12}},
               {"spectral start", 61, {1}},
               {"spectral end", 62, {62}},
               {"approximation", 63, {1}},
               {"marker in the data", 70, {0xFF, 0xD0}},
               {"marker cut by the end", run.packets[0].size() - 3, {0xFF}}};
  for (const auto& c : cases) {
    Bytes packet = run.packets[0];
    std::copy(c.bytes.begin(), c.bytes.end(), packet.begin() + static_cast<int>(c.offset));
    EXPECT_EQ(expectHarmless(run, 0, packet, true), c.taken) << c.what;
  }
}

// Gray packets have the shortest codes that there are: what fills its bytes to the last bit is
// taken, with a byte less it is not.
TEST(BadPackets, HaveTooLittleDataForTheirMCUs) {
  const Size sizes[] = {{4 * 8, 8}, {2 * 16, 8}, {16, 16}};  // of 14, 20 and 32 bits an MCU
  for (int sampling = 0; sampling < 3; ++sampling) {
    const PacketRun run(flatPicture(sizes[sampling], 128, 128, 128), sampling, 80);
    Bytes packet = run.packets.at(0);
    EXPECT_EQ(expectHarmless(run, 0, packet, true), true) << run;
    udp_header head = headOf(packet);
    --head.dataEnd;
    setHead(packet, head);
    EXPECT_EQ(expectHarmless(run, 0, packet, true), false) << run;
  }
}

void expectHeadsHarmless(const PacketRun& run, std::size_t number) {
  const std::size_t starts[] = {0, 1, 2, 3, 4, 6, 8, 12, 16, 18, 20, 22, 24, 26, 28, 30, 32};
  const Bytes values[] = {{0, 0}, {1, 0}, {0, 1}, {255, 255}, {128, 128}, {0, 128}, {255, 127}};
  for (std::size_t a = 0; a + 1 < std::size(starts); ++a) {
    for (std::size_t b = kSanitized ? a : 0; b <= a; ++b) {
      for (const Bytes& value : values) {  // lower bytes, uppermost byte
        Bytes packet = run.packets[number];
        for (const std::size_t field : {a, b}) {
          for (std::size_t i = starts[field]; i < starts[field + 1]; ++i)
            packet[i] = value[i + 1 == starts[field + 1]];
        }
        expectHarmless(run, number, packet, false);
      }
    }
  }
}

void expectDataHarmless(const PacketRun& run, std::size_t number) {
  const Bytes& clean = run.packets[number];
  for (std::size_t length = 0; length < clean.size(); ++length) {
    Bytes cut = prefix(clean, length);
    EXPECT_FALSE(expectHarmless(run, number, cut, true)) << length;  // the head says more
    if (length < kHead) continue;
    udp_header head = headOf(cut);
    head.dataEnd = static_cast<std::int16_t>(length - 2);
    setHead(cut, head);
    expectHarmless(run, number, cut, true);
  }
  std::mt19937 random(7);
  for (int i = 0; i < 2000; ++i) {
    Bytes packet = clean;
    for (unsigned flips = 1 + random() % 4; flips > 0; --flips) {
      // Behind the head; every second time in the segments.
      const std::size_t at = kHead + random() % (i % 2 == 0 ? 32 : packet.size() - kHead);
      packet[at] = static_cast<std::uint8_t>(random() >> 24);
    }
    expectHarmless(run, number, packet, true);
  }
}

// The first, a wrapped and the last packet of a rectangle that is not whole MCUs. Sound ones decode
// as before afterwards.
TEST(BadPackets, AreHarmless) {
  for (int sampling = 0; sampling < 3; ++sampling) {
    const PacketRun run(noisePicture({58, 55}, 5), sampling, 90, 100, 50);
    ASSERT_GE(run.packets.size(), 3u);
    for (const std::size_t number : {std::size_t{0}, std::size_t{1}, run.packets.size() - 1}) {
      const Bytes before = decodeAlone(run, number, 4);
      expectHeadsHarmless(run, number);
      expectDataHarmless(run, number);
      EXPECT_EQ(decodeAlone(run, number, 4), before) << run;
    }
  }
}

}  // namespace
}  // namespace qrx::test
