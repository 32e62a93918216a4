// What happens before, at and after the library's start. Every case runs in a child process that
// loads the library for the first time.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <new>
#include <thread>

#include "tests/host/host.h"
#include "tests/support/process.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

const std::string kNoCoders = "QRX JPEG: no coders for this thread\n";

TEST(HostStart, TakesTheSamplingFromTheSetting) {
  const struct {
    const char* value;
    std::string sampling;
    int shape;
  } cases[] = {{nullptr, "4:2:2", 0x21}, {"0", "4:2:2", 0x21}, {"1", "4:2:0", 0x22},
               {"2", "4:2:2", 0x21},     {"3", "4:2:2", 0x21}, {"4", "4:4:4", 0x11},
               {"x", "4:2:2", 0x21}};
  for (const auto& c : cases) {
    runInChild([&] {
      unsetenv("ZMT_SUBSAMPLING");
      if (c.value != nullptr) setenv("ZMT_SUBSAMPLING", c.value, 1);
      Host host;
      host.compressor();
      setenv("ZMT_SUBSAMPLING", "1", 1);  // an existing compressor does not change
      const Image image = flatPicture({20, 20}, 1, 2, 3);
      const tool::JpegInfo info = tool::walkJpeg(tool::compressFrame(host.compressor(), image, 80));
      EXPECT_EQ(tool::samplingText(*info.frame()), c.sampling);
      EXPECT_EQ(compressPackets(host.compressor(), image, 80).at(0)[3], c.shape);
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
  EXPECT_EQ(messages, "QRX JPEG: WriteImageBaseline() failed\n");
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

// Lets the process have so many bytes more than it has now.
void limitMemory(std::size_t more) {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t limit = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + more;
  const rlimit limits{limit, limit};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &limits), 0);
}

TEST(HostStart, ThrowsWhereMemoryRunsOut) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer takes address space of its own";
  const std::string messages = runInChild([] {
    Host host;
    Bytes jpeg = tool::compressFrame(host.compressor(), flatPicture({8, 8}, 1, 2, 3), 80);
    limitMemory(std::size_t{64} << 20);
    PacketSink sink;
    std::uint8_t pixel[4] = {};
    constexpr std::uint32_t kSide = 8000;  // 192 MB; nobody gets to look at the pixels
    EXPECT_THROW(host.compressor().compress(pixel, 4, 0, 0, 0, 0, kSide, kSide, 0, 80,
                                            PacketSink::take, &sink),
                 std::bad_alloc);
    EXPECT_THROW(host.compressor().compress(pixel, 4, 0, 0, 0, 0, kSide, kSide, 0, 0, 80,
                                            PacketSink::take, &sink),
                 std::bad_alloc);
    const Bytes marker = {0xFF, 0xC0};
    const auto sof = std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end());
    ASSERT_NE(sof, jpeg.end());
    sof[5] = sof[7] = kSide >> 8;
    sof[6] = sof[8] = kSide & 255;
    const Buffer buffer = bufferOver(jpeg);
    EXPECT_THROW(host.decompressor().decompress(&buffer, 4, 6408, pixel, 0), std::bad_alloc);
    EXPECT_TRUE(sink.packets.empty());
    EXPECT_FALSE(tool::compressFrame(host.compressor(), scenePicture({99, 99}), 80).empty());
  });
  EXPECT_EQ(messages, "");
}

}  // namespace
}  // namespace qrx::test
