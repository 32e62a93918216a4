// The host contract: objects, refusals, ownership, and the operations that look into a packet.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "qrx/tile_header.h"
#include "tests/host/host.h"
#include "tests/support/allocation_hooks.h"
#include "tests/support/process.h"
#include "tools/host/capture.h"

namespace qrx::test {
namespace {

class HostContract : public testing::Test {
 protected:
  Bytes frame(unsigned quality) { return tool::compressFrame(host.compressor(), image, quality); }

  Host host;
  const Image image = scenePicture({100, 60});
};

TEST_F(HostContract, HasItsObjectsAndConstants) {
  EXPECT_EQ(reinterpret_cast<codec::VersionFn>(host.library.symbol("version"))(), 1);
  EXPECT_STREQ(host.codec->getName(), "JPEG");
  EXPECT_FALSE(host.codec->getIsLossless());
  EXPECT_TRUE(host.codec->getSupportsUDP());
  EXPECT_EQ(host.codec->id(), 65536u);
  EXPECT_EQ(host.codec->getCompressor(), host.codec->getCompressor());
  EXPECT_EQ(host.codec->getDecompressor(), host.codec->getDecompressor());
  codec::Codec* const idle = host.library.createCodec()();
  EXPECT_NE(idle, host.codec);
  idle->release();  // without compressor and decompressor

  const char** names = reinterpret_cast<const char**>(1);
  const char** values = names;
  std::uint32_t count = 1;
  host.compressor().getAttributes(&names, &values, &count);
  EXPECT_EQ(names, nullptr);
  EXPECT_EQ(values, nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(host.decompressor().setAttribute("a", nullptr), 1);
}

TEST_F(HostContract, RefusesWhatItCannotCode) {
  const std::string argument = "QRX JPEG: invalid argument\n";
  const std::string size = "QRX JPEG: invalid image size\n";
  const struct {
    bool image, callback, userData;
    std::uint32_t width, height;
    std::string frameMessage;  // empty: the frame road takes it
  } cases[] = {{false, true, true, 8, 8, argument},    {true, false, true, 8, 8, argument},
               {true, true, true, 65536, 1, size},     {true, true, true, 1, 65536, size},
               {true, true, true, UINT_MAX, 1, size},  {true, true, true, 1, 1u << 31, size},
               {true, true, true, 65535, 65535, size}, {true, true, true, 30000, 30000, size}};
  for (const auto& c : cases) {
    PacketSink sink;
    std::uint8_t pixel[256] = {};
    const auto callback = c.callback ? PacketSink::take : nullptr;
    const std::string messages = errorsOf([&] {
      EXPECT_FALSE(host.compressor().compress(c.image ? pixel : nullptr, 4, 0, 0, 0, 0, c.width,
                                              c.height, 0, 80, callback, &sink));
    });
    EXPECT_EQ(messages, c.frameMessage) << c.width << "x" << c.height;
    EXPECT_EQ(
        errorsOf([&] {
          EXPECT_FALSE(host.compressor().compress(c.image ? pixel : nullptr, 4, 0, 0, 0, 0, c.width,
                                                  c.height, 0, 0, 80, callback, &sink));
        }),
        "");
    EXPECT_TRUE(sink.packets.empty());
  }
  // The packets' fields have 15 bits; the frame road goes on to 65535.
  PacketSink sink;
  Bytes row(32768 * 3);
  for (const auto& [width, height] : {std::pair{32768u, 1u}, {1u, 32768u}}) {
    EXPECT_FALSE(host.compressor().compress(row.data(), 3, 0, 0, 0, 0, width, height, 0, 0, 80,
                                            PacketSink::take, &sink));
    EXPECT_TRUE(host.compressor().compress(row.data(), 3, 0, 0, 0, 0, width, height, 0, 80,
                                           PacketSink::take, &sink));
  }
  EXPECT_EQ(sink.packets.size(), 2u);
}

TEST_F(HostContract, TakesEmptyImages) {
  const std::uint8_t pixel[4] = {};
  const struct {
    std::uint32_t width, height;
    std::size_t frameBytes, packets;
    std::string message;
  } cases[] = {{0, 8, 0, 0, "QRX JPEG: WriteImageBaseline() failed\n"}, {8, 0, 683, 1, ""}};
  for (const auto& c : cases) {
    PacketSink frames, packets;
    EXPECT_EQ(errorsOf([&] {
                EXPECT_TRUE(host.compressor().compress(pixel, 4, 0, 0, 0, 0, c.width, c.height, 0,
                                                       80, PacketSink::take, &frames));
                EXPECT_TRUE(host.compressor().compress(pixel, 4, 0, 1, 0, 0, c.width, c.height, 0,
                                                       0, 80, PacketSink::take, &packets));
              }),
              c.message);
    ASSERT_EQ(frames.packets.size(), 1u);
    EXPECT_EQ(frames.packets[0].size(), c.frameBytes);
    ASSERT_EQ(packets.packets.size(), c.packets);
    for (Bytes& packet : packets.packets) {
      packet[2] = 1;
      const Buffer buffer = bufferOver(packet);
      EXPECT_TRUE(host.decompressor().isValid(&buffer));
      Bytes untouched(64, 7);
      EXPECT_FALSE(host.decompressor().decompressTile(&buffer, 2, 6408, untouched.data(), 64));
      EXPECT_TRUE(host.decompressor().decompressTile(&buffer, 4, 6408, untouched.data(), 64));
      EXPECT_EQ(untouched, Bytes(64, 7));
    }
  }
}

void throwAtHost(std::uint8_t*, std::uint32_t, void*) { throw std::runtime_error("the host's"); }

TEST_F(HostContract, PassesTheCallbacksExceptionThrough) {
  std::uint8_t block[8] = {};
  const auto throwTwice = [&] {
    EXPECT_THROW(host.compressor().compress(image.pixels.data(), 4, 0, 0, 0, 0, 100, 60, 0, 80,
                                            throwAtHost, block),
                 std::runtime_error);
    EXPECT_THROW(host.compressor().compress(image.pixels.data(), 4, 0, 0, 0, 0, 100, 60, 0, 0, 80,
                                            throwAtHost, block),
                 std::runtime_error);
  };
  throwTwice();
  const std::size_t before = heapBytes();
  for (int i = 0; i < 100; ++i) throwTwice();
  EXPECT_NEAR(static_cast<double>(heapBytes()), static_cast<double>(before), 4096);
  EXPECT_TRUE(tool::isCompleteJpeg(frame(80)));
}

// Every road of a host once; what came of it.
struct Trip {
  Bytes jpeg, frame, tiles;
  std::vector<Bytes> packets;

  explicit Trip(Host& host, const Image& image)
      : jpeg(tool::compressFrame(host.compressor(), image, 80)),
        frame(image.pixels.size()),
        tiles(image.pixels.size()),
        packets(compressPackets(host.compressor(), image, 80)) {
    const Buffer whole = bufferOver(jpeg);
    const auto room = static_cast<std::uint32_t>(frame.size());
    host.decompressor().decompress(&whole, 4, 6408, frame.data(), room);
    for (Bytes& packet : packets) {
      const Buffer buffer = bufferOver(packet);
      host.decompressor().decompressTile(&buffer, 4, 6408, tiles.data(), room);
    }
  }
  bool operator==(const Trip&) const = default;
};

AllocationHooks hooksOf(const Host& host) {
  return AllocationHooks(host.symbol<AllocationHooks::Malloc*>("i_malloc"),
                         host.symbol<AllocationHooks::Free*>("i_free"));
}

TEST_F(HostContract, FreesTheCodersOfEndedThreads) {
  AllocationHooks hooks = hooksOf(host);
  std::thread([&] { Trip(host, image); }).join();
  EXPECT_EQ(hooks.live(), 0);
  const std::size_t before = heapBytes();
  for (int i = 0; i < 20; ++i) std::thread([&] { Trip(host, image); }).join();
  EXPECT_EQ(hooks.live(), 0);
  EXPECT_NEAR(static_cast<double>(heapBytes()), static_cast<double>(before), 8192);
}

TEST_F(HostContract, WorksOnAnyNumberOfThreads) {
  const Trip single(host, image);
  EXPECT_TRUE(std::any_of(single.tiles.begin(), single.tiles.end(), [](auto b) { return b != 0; }));
  runOnThreads(8, [&](int) {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Trip(host, image), single);
  });
}

// --- Inspection

struct Inspection {
  bool valid;
  std::uint32_t outputSize;
  double coverage;
  std::uint32_t window, index, x, y, width, height;
  bool operator==(const Inspection&) const = default;
};

Inspection inspect(codec::Decompressor& d, Buffer* buffer) {
  Inspection i{};
  i.valid = d.isValid(buffer);
  i.outputSize = d.getOutputSize(buffer, 4, 6408);
  i.window = d.getWindow(buffer);
  i.index = d.getIndex(buffer);
  i.coverage = d.percentCoverage(buffer);
  EXPECT_EQ(d.getIndex(buffer), i.index);
  if (buffer != nullptr) d.getDimensions(buffer, &i.x, &i.y, &i.width, &i.height);
  return i;
}

udp_header soundHead() {
  udp_header head{};
  head.headerSize = 32;
  head.kind = 1;
  head.mcuShape = 0x22;
  head.dataEnd = 68;
  head.mcuCount = 7;
  head.window = 9;
  head.index = -7;
  head.frameX = -1;
  head.frameY = 2;
  head.frameWidth = 100;
  head.frameHeight = 20;
  return head;
}

Bytes packetOf(const udp_header& head, std::size_t length = 70) {
  Bytes packet(std::max(length, sizeof head));
  std::memcpy(packet.data(), &head, sizeof head);
  return Bytes(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(length));
}

TEST_F(HostContract, LooksIntoAPacket) {
  Bytes packet = packetOf(soundHead());
  Buffer buffer = bufferOver(packet);
  EXPECT_EQ(inspect(host.decompressor(), &buffer),
            (Inspection{true, 14336, 50.0, 9, 7, UINT_MAX, 2, 100, 20}));
  EXPECT_EQ(packet[12], 7);  // the mark of the last packet is gone
  for (const std::uint32_t format : {0u, 6407u, 32993u}) {
    EXPECT_EQ(host.decompressor().getOutputSize(&buffer, 4, format), 0u);
  }
  EXPECT_EQ(inspect(host.decompressor(), nullptr), Inspection{});
  Buffer dataless{nullptr, nullptr, 70};
  EXPECT_EQ(inspect(host.decompressor(), &dataless), Inspection{});
}

TEST_F(HostContract, LooksIntoBadHeads) {
  const auto changed = [](auto change) {
    udp_header head = soundHead();
    change(head);
    return head;
  };
  const struct {
    udp_header head;
    bool valid;
    std::uint32_t size;
    double coverage;
    std::uint32_t index = 7;
  } cases[] = {
      {changed([](auto& h) { h.kind = 231; }), false, 14336, 50.0},
      {changed([](auto& h) { h.dataEnd = 67; }), false, 14336, 50.0},
      {changed([](auto& h) { h.dataEnd = -1; }), false, 14336, 50.0},
      {changed([](auto& h) { h.mcuShape = 0x20; }), false, 0, 0.0},
      {changed([](auto& h) { h.mcuShape = 0x02; }), false, 0, 0.0},
      {changed([](auto& h) { h.mcuShape = 0xFF; }), true, 120 * 120 * 4, 700.0},
      {changed([](auto& h) { h.frameWidth = 0; }), true, 0, 0.0},
      {changed([](auto& h) { h.frameWidth = -100; }), true, 0, 0.0},
      {changed([](auto& h) { h.frameHeight = INT16_MIN; }), true, 0, 0.0},
      {changed([](auto& h) { h.frameWidth = 1; }), true, 16 * 32 * 4, 350.0},
      {changed([](auto& h) { h.frameWidth = 32767; }), true, 32768 * 32 * 4, 700.0 / 4096},
      {changed([](auto& h) { h.frameWidth = h.frameHeight = 32767; }), true, 0,  // 2^32 bytes
       700.0 / (2048.0 * 2048)},
      {changed([](auto& h) { h.mcuCount = 14; }), true, 14336, 100.0},
      {changed([](auto& h) { h.index = INT32_MIN; }), true, 14336, 50.0, 0x80000000},
      {changed([](auto& h) { h.index = INT32_MAX; }), true, 14336, 50.0, INT32_MAX},
      {changed([](auto& h) { h.index = 0; }), true, 14336, 50.0, 0},
  };
  for (const auto& c : cases) {
    Bytes packet = packetOf(c.head);
    Buffer buffer = bufferOver(packet);
    const Inspection found = inspect(host.decompressor(), &buffer);
    const auto number = &c - cases;
    EXPECT_EQ(found.valid, c.valid) << number;
    EXPECT_EQ(found.outputSize, c.size) << number;
    EXPECT_DOUBLE_EQ(found.coverage, c.coverage) << number;
    EXPECT_EQ(found.index, c.index) << number;
    EXPECT_EQ(host.decompressor().getOutputSize(&buffer, UINT_MAX, 6408), 0u) << number;
  }
}

}  // namespace
}  // namespace qrx::test
