// The library in the hands of a foreign host: loaded at run time, nothing of it linked.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <climits>
#include <cstring>
#include <future>
#include <stdexcept>
#include <thread>

#include "qrx/codec.h"
#include "qrx/front_end.h"
#include "qrx/tile_header.h"
#include "tests/support/allocation_hooks.h"
#include "tests/support/peer_codec.h"
#include "tests/support/process.h"
#include "tools/host/cpu_slots.h"
#include "tools/host/frame.h"
#include "tools/host/library.h"
#include "tools/image/compare.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

const std::string kFailed = "QRX JPEG: WriteImageBaseline() failed\n";
const std::string kNoCoders = "QRX JPEG: no coders for this thread\n";

struct Host {
  Host() {
    library.initCodec()();
    codec = library.createCodec()();
  }
  ~Host() { codec->release(); }
  Host(const Host&) = delete;

  codec::Compressor& compressor() { return *codec->getCompressor(); }
  codec::Decompressor& decompressor() { return *codec->getDecompressor(); }
  template <typename T>
  T symbol(const char* name) const {
    return reinterpret_cast<T>(library.symbol(name));
  }

  tool::Library library{QRX_LIBRARY_PATH};
  codec::Codec* codec;
};

// What a host's callback finds behind userData: byte 4 goes into every packet's head.
struct PacketSink {
  std::uint8_t block[8] = {0, 1, 2, 3, 0x99, 5, 6, 7};
  std::vector<Bytes> packets;

  static void take(std::uint8_t* data, std::uint32_t size, void* userData) {
    static_cast<PacketSink*>(userData)->packets.emplace_back(data, data + size);
  }
};

std::vector<Bytes> compressPackets(codec::Compressor& compressor, const Image& image,
                                   unsigned quality, std::uint32_t x = 0, std::uint32_t y = 0) {
  PacketSink sink;
  compressor.compress(
      image.pixels.data(), 4, 0xDEADBEEF, 3, x, y, static_cast<std::uint32_t>(image.size.width),
      static_cast<std::uint32_t>(image.size.height), 8, 9, quality, PacketSink::take, &sink);
  return sink.packets;
}

Buffer bufferOver(Bytes& bytes) {
  return {nullptr, bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

udp_header headOf(const Bytes& packet) {
  udp_header head;
  std::memcpy(&head, packet.data(), sizeof head);
  return head;
}

// What happens before, at and after the library's start. These come first: each runs in a child
// process that loads the library for the first time.

TEST(HostStart, TakesTheSamplingFromTheSetting) {
  const std::tuple<const char*, std::string, int> cases[] = {
      {nullptr, "4:2:2", 0x21}, {"0", "4:2:2", 0x21}, {"1", "4:2:0", 0x22}, {"2", "4:2:2", 0x21},
      {"3", "4:2:2", 0x21},     {"4", "4:4:4", 0x11}, {"x", "4:2:2", 0x21}};
  for (const auto& c : cases) {
    runInChild([&] {
      const auto& [value, sampling, shape] = c;
      unsetenv("ZMT_SUBSAMPLING");
      if (value != nullptr) setenv("ZMT_SUBSAMPLING", value, 1);
      Host host;
      host.compressor();
      setenv("ZMT_SUBSAMPLING", "1", 1);  // an existing compressor does not change
      const Image image = flatPicture({20, 20}, 1, 2, 3);
      const tool::JpegInfo info = tool::walkJpeg(tool::compressFrame(host.compressor(), image, 80));
      EXPECT_EQ(tool::samplingText(*info.frame()), sampling);
      EXPECT_EQ(compressPackets(host.compressor(), image, 80).at(0)[3], shape);
    });
  }
}

// A failed encoder hands over what stands; here data that exceeds the raw size.
TEST(HostStart, TellsAFailedEncoder) {
  const std::string messages = runInChild([] {
    setenv("ZMT_SUBSAMPLING", "4", 1);
    Host host;
    Image noise = noisePicture({64, 64}, 1);
    for (std::uint8_t& byte : noise.pixels) byte = byte < 128 ? 0 : 255;
    const Bytes bytes = tool::compressFrame(host.compressor(), noise, 97);
    EXPECT_EQ(bytes.size(), noise.pixels.size() / 4 * 3);
    EXPECT_FALSE(tool::isCompleteJpeg(bytes));
    const auto packets = compressPackets(host.compressor(), noise, 97);
    EXPECT_FALSE(packets.empty());
    for (const Bytes& packet : packets) EXPECT_EQ(packet[12], 3);  // none is the last one
  });
  EXPECT_EQ(messages, kFailed);
}

TEST(HostStart, HasNoCodersBeforeInitCodec) {
  const std::string messages = runInChild([] {
    const tool::Library library(QRX_LIBRARY_PATH);
    codec::Codec* codec = library.createCodec()();
    const Image image = flatPicture({20, 20}, 1, 2, 3);
    EXPECT_TRUE(tool::compressFrame(*codec->getCompressor(), image, 80).empty());
    EXPECT_TRUE(compressPackets(*codec->getCompressor(), image, 80).empty());  // says nothing
    Bytes jpeg = {0xFF, 0xD8, 0xFF, 0xD9}, pixels(4);
    const Buffer buffer = bufferOver(jpeg);
    EXPECT_FALSE(codec->getDecompressor()->decompress(&buffer, 4, 6408, pixels.data(), 4));
    codec->release();
  });
  EXPECT_EQ(messages, kNoCoders + kNoCoders);
}

// The library stays mapped: a thread may work on, and end, after the host has closed it.
TEST(HostStart, MayBeClosedUnderALivingThread) {
  runInChild([] {
    const Image image = scenePicture({64, 64});
    std::promise<void> working, closed;
    std::thread worker;
    {
      void* const library = dlopen(QRX_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
      ASSERT_NE(library, nullptr) << dlerror();
      reinterpret_cast<codec::InitCodecFn>(dlsym(library, "initCodec"))();
      codec::Codec* const codec =
          reinterpret_cast<codec::CreateCodecFn>(dlsym(library, "createCodec"))();
      worker = std::thread([&, codec] {
        const Bytes before = tool::compressFrame(*codec->getCompressor(), image, 80);
        working.set_value();
        closed.get_future().wait();
        EXPECT_EQ(tool::compressFrame(*codec->getCompressor(), image, 80), before);
        codec->release();
      });
      working.get_future().wait();
      EXPECT_EQ(dlclose(library), 0);
    }
    closed.set_value();
    worker.join();
  });
}

// What cannot be had is the host's std::bad_alloc, and nothing is lost by it.
TEST(HostStart, ThrowsWhereMemoryRunsOut) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer takes address space of its own";
  runInChild([] {
    Host host;
    tool::compressFrame(host.compressor(), flatPicture({8, 8}, 1, 2, 3), 80);
    const rlimit limit = {heapBytes() + (std::size_t{64} << 20), RLIM_INFINITY};
    setrlimit(RLIMIT_DATA, &limit);
    std::uint8_t pixel[4] = {};            // nobody gets to look at more
    constexpr std::uint32_t kSide = 8000;  // 192 MB
    PacketSink sink;
    codec::Compressor& c = host.compressor();
    EXPECT_THROW(c.compress(pixel, 4, 0, 0, 0, 0, kSide, kSide, 0, 80, PacketSink::take, &sink),
                 std::bad_alloc);
    EXPECT_THROW(c.compress(pixel, 4, 0, 0, 0, 0, kSide, kSide, 0, 0, 80, PacketSink::take, &sink),
                 std::bad_alloc);
    EXPECT_TRUE(sink.packets.empty());
    // A lossless image is decoded apart and widened: 256 MB for 16000x16000.
    Bytes jpeg = {0xFF, 0xD8, 0xFF, 0xC3, 0, 11, 8, 0x3E, 0x80, 0x3E, 0x80, 1, 1,
                  0x11, 0,    0xFF, 0xDA, 0, 8,  1, 1,    0,    1,    0,    0};
    const Buffer buffer = bufferOver(jpeg);
    EXPECT_THROW(host.decompressor().decompress(&buffer, 4, 6408, pixel, 0), std::bad_alloc);
    EXPECT_TRUE(tool::isCompleteJpeg(tool::compressFrame(c, scenePicture({99, 99}), 80)));
  });
}

class HostContract : public testing::Test {
 protected:
  Bytes frame(unsigned quality) { return tool::compressFrame(host.compressor(), image, quality); }
  // By the frame road, or the packets'.
  bool compress(bool packets, const std::uint8_t* pixels, std::uint32_t channels, unsigned width,
                unsigned height, codec::CompressCallback callback, PacketSink& to) {
    codec::Compressor& c = host.compressor();
    return packets
               ? c.compress(pixels, channels, 0, 1, 0, 0, width, height, 0, 0, 80, callback, &to)
               : c.compress(pixels, channels, 0, 0, 0, 0, width, height, 0, 80, callback, &to);
  }

  Host host;
  const Image image = scenePicture({100, 60});
  PacketSink sink;
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
  EXPECT_TRUE(names == nullptr && values == nullptr && count == 0);
  EXPECT_EQ(host.decompressor().setAttribute("a", nullptr), 1);
}

TEST_F(HostContract, TakesAnyQualityAndNumberOfChannels) {
  const Bytes best = frame(97);
  EXPECT_NE(frame(96), best);
  for (const unsigned quality : {98u, 100u, UINT_MAX}) {
    EXPECT_EQ(frame(quality), best) << quality;
    EXPECT_EQ(compressPackets(host.compressor(), image, quality).at(0)[35], 97);
  }
  EXPECT_EQ(errorsOf([&] { EXPECT_TRUE(frame(0).empty()); }), kFailed);
  EXPECT_EQ(errorsOf([&] { compressPackets(host.compressor(), image, 0); }), "");
  // Any number of channels but 4 stands for 3.
  for (const std::uint32_t channels : {3u, 0u, 5u, UINT_MAX}) {
    const Bytes pixels = channelsOf(image, 3);
    EXPECT_TRUE(compress(false, pixels.data(), channels, 100, 60, PacketSink::take, sink));
    EXPECT_EQ(sink.packets.back(), frame(80));
  }
}

TEST_F(HostContract, RefusesWhatItCannotCode) {
  const std::string argument = "QRX JPEG: invalid argument\n";
  const std::string size = "QRX JPEG: invalid image size\n";
  const struct {
    bool image, callback;
    std::uint32_t width, height;
    std::string message;  // of the frame road; the packets' says nothing
  } cases[] = {{false, true, 8, 8, argument},    {true, false, 8, 8, argument},
               {true, true, 65536, 1, size},     {true, true, 1, 65536, size},
               {true, true, UINT_MAX, 1, size},  {true, true, 1, 1u << 31, size},
               {true, true, 65535, 65535, size}, {true, true, 30000, 30000, size}};
  for (const auto& c : cases) {
    const std::uint8_t bytes[256] = {};
    const std::uint8_t* const pixels = c.image ? bytes : nullptr;
    const auto callback = c.callback ? PacketSink::take : nullptr;
    const std::string messages = errorsOf([&] {
      EXPECT_FALSE(compress(false, pixels, 4, c.width, c.height, callback, sink));
      EXPECT_FALSE(compress(true, pixels, 4, c.width, c.height, callback, sink));
    });
    EXPECT_EQ(messages, c.message) << c.width << "x" << c.height;
  }
  EXPECT_TRUE(sink.packets.empty());
  // The packets' fields have 15 bits; the frame road goes on to 65535.
  const Bytes row(32768 * 3);
  for (const auto& [width, height] : {std::pair{32768u, 1u}, {1u, 32768u}}) {
    EXPECT_FALSE(compress(true, row.data(), 3, width, height, PacketSink::take, sink));
    EXPECT_TRUE(compress(false, row.data(), 3, width, height, PacketSink::take, sink));
  }
  EXPECT_EQ(sink.packets.size(), 2u);
}

TEST_F(HostContract, TakesEmptyImages) {
  const std::uint8_t pixel[4] = {};
  PacketSink packets;
  const std::string messages = errorsOf([&] {
    EXPECT_TRUE(compress(false, pixel, 4, 0, 8, PacketSink::take, sink));
    EXPECT_TRUE(compress(true, pixel, 4, 0, 8, PacketSink::take, packets));
    EXPECT_TRUE(packets.packets.empty());
    EXPECT_TRUE(compress(false, pixel, 4, 8, 0, PacketSink::take, sink));
    EXPECT_TRUE(compress(true, pixel, 4, 8, 0, PacketSink::take, packets));
  });
  EXPECT_EQ(messages, kFailed);  // no columns, as a frame
  ASSERT_TRUE(sink.packets.size() == 2 && packets.packets.size() == 1);
  EXPECT_EQ(sink.packets[0].size(), 0u);
  EXPECT_EQ(sink.packets[1].size(), 683u);
  Bytes& packet = packets.packets[0];
  EXPECT_EQ(packet.size(), 66u);
  const udp_header head = headOf(packet);
  EXPECT_EQ((std::vector<int>{head.mcuCount, head.width, head.height, head.index}),
            (std::vector<int>{0, 8, 0, -1}));
  packet[2] = 1;
  const Buffer buffer = bufferOver(packet);
  EXPECT_TRUE(host.decompressor().isValid(&buffer));
  Bytes untouched(64, 7);
  EXPECT_FALSE(host.decompressor().decompressTile(&buffer, 2, 6408, untouched.data(), 64));
  EXPECT_TRUE(host.decompressor().decompressTile(&buffer, 4, 6408, untouched.data(), 64));
  EXPECT_EQ(untouched, Bytes(64, 7));
}

TEST_F(HostContract, FillsThePacketsHead) {
  const auto packets = compressPackets(host.compressor(), image, 80, 0x10007, 0xFFFFFFF0);
  const udp_header head = headOf(packets.at(0));
  EXPECT_EQ((std::vector<int>{head.headerSize, head.contextByte, head.kind, head.mcuShape}),
            (std::vector<int>{32, 0x99, 231, 0x21}));
  EXPECT_EQ(head.window, 0xDEADBEEF);
  EXPECT_EQ(std::abs(head.index), 3);
  // The low 16 bits of the place.
  EXPECT_EQ((std::vector<int>{head.frameX, head.frameY, head.frameWidth, head.frameHeight}),
            (std::vector<int>{7, -16, 100, 60}));
}

TEST_F(HostContract, PassesTheCallbacksExceptionThrough) {
  const auto toss = [](std::uint8_t*, std::uint32_t, void*) { throw std::runtime_error("mine"); };
  const auto throwTwice = [&] {
    EXPECT_THROW(compress(false, image.pixels.data(), 4, 100, 60, toss, sink), std::runtime_error);
    EXPECT_THROW(compress(true, image.pixels.data(), 4, 100, 60, toss, sink), std::runtime_error);
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

TEST_F(HostContract, FreesTheCodersOfEndedThreads) {
  AllocationHooks hooks(host.symbol<AllocationHooks::Malloc*>("i_malloc"),
                        host.symbol<AllocationHooks::Free*>("i_free"));
  std::thread([&] { Trip(host, image); }).join();
  EXPECT_EQ(hooks.live(), 0);
  const std::size_t before = heapBytes();
  for (int i = 0; i < 20; ++i) std::thread([&] { Trip(host, image); }).join();
  EXPECT_EQ(hooks.live(), 0);
  EXPECT_NEAR(static_cast<double>(heapBytes()), static_cast<double>(before), 8192);
}

Bytes encode(const Host& host, const Image& image, int sampling, int quality) {
  static const auto compress = host.symbol<decltype(&CompressPatch)>("CompressPatch");
  const qrxJPEGArgs_type args = {1972, quality, sampling, 6408, 0};
  std::uint8_t* output = nullptr;
  qrxReleaseFunction release = nullptr;
  int size = 0;
  EXPECT_EQ(compress(image.pixels.data(), 4, image.size.width, image.size.height, &output, &release,
                     &size, &args),
            1);
  Bytes bytes(output, output + size);
  release(output);
  return bytes;
}

TEST_F(HostContract, PicturesAreSoundForAnIndependentReader) {
  for (const Size size : {Size{1, 1}, {7, 5}, {17, 33}, {641, 479}, {1920, 1080}}) {
    const Image scene = scenePicture(size);
    for (int sampling = 0; sampling < 3; ++sampling) {
      for (const int quality : {1, 25, 50, 75, 90, 97}) {
        const Bytes jpeg = encode(host, scene, sampling, quality);
        EXPECT_EQ(tool::walkJpeg(jpeg).damage, std::vector<std::string>());
        const PeerPicture peer = runDjpeg(jpeg);
        EXPECT_EQ(peer.messages, "");
        ASSERT_EQ(peer.image.size, size);
        // PSNR of an independent encoder's picture; in a small one a single coefficient tells.
        const char* const factors[] = {"1x1", "2x1", "2x2"};
        const Bytes other = runCjpeg(scene, "-baseline -quality " + std::to_string(quality) +
                                                " -sample " + factors[sampling] + ",1x1,1x1");
        EXPECT_NEAR(tool::compareImages(peer.image, scene).psnr,
                    tool::compareImages(runDjpeg(other).image, scene).psnr,
                    size.width < 100 ? 1.0 : 0.25)
            << size.width << "x" << size.height << " " << sampling << " " << quality;
      }
    }
  }
}

TEST_F(HostContract, PicturesAreTheSameInEverySlotAndOnEveryThread) {
  auto* const slot = host.symbol<std::int32_t*>("ippJumpIndexForMergedLibs");
  const std::int32_t chosen = *slot;
  const Trip single(host, image);
  EXPECT_TRUE(std::any_of(single.tiles.begin(), single.tiles.end(), [](auto b) { return b != 0; }));
  for (const Size size : {Size{7, 5}, {17, 33}, {641, 479}}) {
    const Image scene = scenePicture(size);
    for (int kind = 0; kind < 9; ++kind) {
      const int sampling = kind % 3, quality = 1 + kind / 3 * 48;
      const Bytes first = encode(host, scene, sampling, quality);
      for (int i = 0; i < tool::kSlotCount; ++i) {
        if (!tool::processorRunsSlot(i)) continue;
        *slot = i;
        EXPECT_EQ(encode(host, scene, sampling, quality), first) << "slot " << i;
        EXPECT_TRUE(kind != 0 || Trip(host, image) == single) << "slot " << i;
      }
      *slot = chosen;
    }
  }
  runOnThreads(8, [&](int) {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Trip(host, image), single);
  });
}

struct Inspection {
  bool valid;
  std::uint32_t outputSize;
  double coverage;
  std::uint32_t window, index, x = 0, y = 0, width = 0, height = 0;
  bool operator==(const Inspection&) const = default;
};

Inspection inspect(codec::Decompressor& d, Buffer* buffer) {
  Inspection i{d.isValid(buffer), d.getOutputSize(buffer, 4, 6408), d.percentCoverage(buffer),
               d.getWindow(buffer), d.getIndex(buffer)};
  EXPECT_EQ(d.getIndex(buffer), i.index);
  if (buffer != nullptr) d.getDimensions(buffer, &i.x, &i.y, &i.width, &i.height);
  return i;
}

udp_header soundHead() { return {32, 0, 1, 0x22, 68, 7, 9, -7, 0, 0, 0, 0, -1, 2, 100, 20}; }

Bytes packetOf(const udp_header& head, std::size_t length = 70) {
  Bytes packet(std::max(length, sizeof head));
  std::memcpy(packet.data(), &head, sizeof head);
  return Bytes(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(length));
}

TEST_F(HostContract, LooksIntoAPacket) {
  Bytes packet = packetOf(soundHead());
  Buffer buffer = bufferOver(packet);
  const Inspection sound{true, 14336, 50.0, 9, 7, UINT_MAX, 2, 100, 20};
  EXPECT_EQ(inspect(host.decompressor(), &buffer), sound);
  EXPECT_EQ(packet[12], 7);  // the mark of the last packet is gone
  for (std::uint32_t length = 0; length <= 71; ++length) {
    Bytes cut = packetOf(soundHead(), length);
    Buffer shorter = bufferOver(cut);
    Inspection expected = length < 32 ? Inspection{} : sound;
    expected.valid = length == 70;
    EXPECT_EQ(inspect(host.decompressor(), &shorter), expected) << length;
    Bytes pixels(14336);
    EXPECT_FALSE(host.decompressor().decompressTile(&shorter, 4, 6408, pixels.data(), 0));
  }
  for (const std::uint32_t format : {0u, 6407u, 32993u}) {
    EXPECT_EQ(host.decompressor().getOutputSize(&buffer, 4, format), 0u);
  }
  EXPECT_EQ(inspect(host.decompressor(), nullptr), Inspection{});
  Buffer dataless{nullptr, nullptr, 70};
  EXPECT_EQ(inspect(host.decompressor(), &dataless), Inspection{});
}

TEST_F(HostContract, LooksIntoBadHeads) {
  const struct {
    std::size_t offset;
    Bytes bytes;
    bool valid;
    std::uint32_t size;
    double coverage;
    std::uint32_t index = 7;
  } cases[] = {
      {2, {231}, false, 14336, 50.0},    // the sender's kind
      {4, {67, 0}, false, 14336, 50.0},  // the end of the data
      {4, {255, 255}, false, 14336, 50.0},
      {3, {0x20}, false, 0, 0.0},  // the shape
      {3, {0x02}, false, 0, 0.0},
      {3, {0xFF}, true, 120 * 120 * 4, 700.0},
      {28, {0, 0}, true, 0, 0.0},  // the rectangle
      {28, {156, 255}, true, 0, 0.0},
      {30, {0, 128}, true, 0, 0.0},
      {28, {1, 0}, true, 16 * 32 * 4, 350.0},
      {28, {255, 127}, true, 32768 * 32 * 4, 700.0 / 4096},
      {28, {255, 127, 255, 127}, true, 0, 700.0 / (2048.0 * 2048)},  // 2^32 bytes
      {6, {14, 0}, true, 14336, 100.0},                              // the MCUs
      {12, {0, 0, 0, 128}, true, 14336, 50.0, 0x80000000},           // the index
      {12, {255, 255, 255, 127}, true, 14336, 50.0, INT32_MAX},
      {12, {0, 0, 0, 0}, true, 14336, 50.0, 0},
  };
  for (const auto& c : cases) {
    Bytes packet = packetOf(soundHead());
    std::copy(c.bytes.begin(), c.bytes.end(), packet.begin() + static_cast<int>(c.offset));
    Buffer buffer = bufferOver(packet);
    const Inspection found = inspect(host.decompressor(), &buffer);
    EXPECT_TRUE(found.valid == c.valid && found.outputSize == c.size && found.index == c.index)
        << &c - cases;
    EXPECT_DOUBLE_EQ(found.coverage, c.coverage) << &c - cases;
    EXPECT_EQ(host.decompressor().getOutputSize(&buffer, UINT_MAX, 6408), 0u) << &c - cases;
  }
}

}  // namespace
}  // namespace qrx::test
