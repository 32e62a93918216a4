// One codec object under eight threads; the thread sanitizer's build is the one that tells most.
#include <cstdlib>

#include "qrx/codec.h"
#include "qrx/log.h"
#include "qrx/product_settings.h"
#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"

namespace qrx::test {
namespace {

constexpr int kThreads = 8, kFrames = 1000;
constexpr Size kSize = {160, 120};

struct Sink {
  std::uint8_t block[8] = {};  // byte 4 goes into packets
  std::vector<Bytes> pieces;
};

// A picture's way through the codec, on the calling thread.
struct Trip {
  Trip(codec::Codec& codec, const Image& image) {
    const auto take = [](std::uint8_t* data, std::uint32_t length, void* sink) {
      static_cast<Sink*>(sink)->pieces.emplace_back(data, data + length);
    };
    codec::Compressor& c = *codec.getCompressor();
    codec::Decompressor& d = *codec.getDecompressor();
    const auto width = static_cast<std::uint32_t>(image.size.width);
    const auto height = static_cast<std::uint32_t>(image.size.height);
    const std::uint8_t* const from = image.pixels.data();
    const auto over = [](Bytes& bytes) {
      return Buffer{nullptr, bytes.data(), static_cast<std::uint32_t>(bytes.size())};
    };
    pixels.resize(image.pixels.size());
    rectangle.resize(image.pixels.size());
    c.compress(from, 4, 0, 0, 0, 0, width, height, 0, 75, take, &frame);
    const Buffer whole = over(frame.pieces.at(0));
    d.decompress(&whole, 4, codec::kFormatRgba, pixels.data(), 4 * width * height);
    c.compress(from, 4, 0, 1, 0, 0, width, height, 0, 0, 75, take, &sent);
    for (Bytes& packet : sent.pieces) {
      qrxMarkPacket(packet.data());
      const Buffer buffer = over(packet);
      good = good && d.isValid(&buffer);
      good = good &&
             d.decompressTile(&buffer, 4, codec::kFormatRgba, rectangle.data(), 4 * width * height);
    }
  }
  bool operator==(const Trip& other) const {
    return good && other.good && frame.pieces == other.frame.pieces &&
           sent.pieces == other.sent.pieces && pixels == other.pixels &&
           rectangle == other.rectangle;
  }

  Sink frame, sent;
  Bytes pixels, rectangle;
  bool good = true;
};

// Everything that is made on first use, made by all threads at once.
TEST(Threads, RaceForWhatIsMadeOnce) {
  const std::string log = runInChild([] {
    setenv("ZMT_COLOR_CONVERSION", "1", 1);
    setenv("ZMT_SUBSAMPLING", "1", 1);
    initCodec();
    // A host makes its objects before its threads; theirs are the settings, the table, the log.
    codec::Codec* const codec = createCodec();
    runOnThreads(kThreads, [](int) {
      conf::Settings::init();
      EXPECT_EQ(Singleton<conf::Settings>::s_instance->subsampling, 1);
    });
    codec->getCompressor();
    codec->getDecompressor();
    const Image image = scenePicture(kSize);
    std::vector<std::optional<Trip>> trips(kThreads);
    runOnThreads(kThreads, [&](int thread) {
      trips[static_cast<std::size_t>(thread)].emplace(*codec, image);
      qrx_printlog("QRX", 1, "ERROR", "threads", false, "%d", thread);
    });
    const Trip alone(*codec, image);
    for (const auto& trip : trips) EXPECT_TRUE(*trip == alone);
    codec->release();
  });
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), kThreads) << log;
}

// Each thread has a picture of its own, which comes out as it does for a thread alone, a thousand
// times by either road.
TEST(Threads, ShareOneCodec) {
  initCodec();
  codec::Codec* const codec = createCodec();
  codec->getCompressor();
  codec->getDecompressor();
  std::vector<Image> images;
  std::vector<Trip> expected;
  for (int i = 0; i < kThreads; ++i) {
    images.push_back(scenePicture(kSize));
    const Image noise = noisePicture(kSize, static_cast<unsigned>(i));
    for (std::size_t at = 0; at < noise.pixels.size(); at += 7) {
      images.back().pixels[at] =
          static_cast<std::uint8_t>(images.back().pixels[at] ^ noise.pixels[at] >> 3);
    }
    expected.emplace_back(*codec, images.back());
  }
  runOnThreads(kThreads, [&](int thread) {
    const auto own = static_cast<std::size_t>(thread);
    for (int i = 0; i < kFrames; ++i) ASSERT_TRUE(Trip(*codec, images[own]) == expected[own]);
  });
  codec->release();
}

}  // namespace
}  // namespace qrx::test
