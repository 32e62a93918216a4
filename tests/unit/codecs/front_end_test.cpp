// The functions under the codec's objects: pixel formats, refusals, start and end.
#include "qrx/front_end.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

constexpr Size kSize = {40, 30};
constexpr char kInvalidFormat[] = "QRX JPEG: invalid pixel format\n";

class FrontEnd : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    jpeg_init();
    tiles_init();
  }

  // Both ways to a whole JPEG.
  static Bytes compress(const Bytes& pixels, int channels, const qrxJPEGArgs_type& args) {
    std::uint8_t* output = nullptr;
    qrxReleaseFunction release = nullptr;
    int size = -1, sizeAgain = -1;
    EXPECT_EQ(CompressPatch(pixels.data(), channels, kSize.width, kSize.height, &output, &release,
                            &size, &args),
              1);
    Bytes bytes(output, output + size);
    release(output);
    output = qrx_jpeg_encode(pixels.data(), kSize.width, kSize.height, &args, &sizeAgain, &release,
                             channels);
    EXPECT_EQ(Bytes(output, output + sizeAgain), bytes);
    release(output);
    return bytes;
  }

  // Both ways to packets.
  static std::vector<Bytes> packets(const Bytes& pixels, int channels,
                                    const qrxTilesArgs_type& args) {
    std::vector<Bytes> result, again;
    udp_header head{};
    head.index = 7;
    head.width = kSize.width;
    head.height = kSize.height;
    udp_header second = head;
    CompressTilesPatch(pixels.data(), channels, kSize.width, kSize.height, &head, &args, collect,
                       &result);
    qrx_jpeg_encode_tiles(pixels.data(), kSize.width, kSize.height, channels, &second, &args,
                          collect, &again);
    EXPECT_EQ(again, result);
    return result;
  }

  const Image image = scenePicture(kSize);
};

TEST_F(FrontEnd, TakesEveryFormat) {
  Bytes rgb = channelsOf(image, 3);
  for (std::size_t i = 0; i < rgb.size(); i += 3) std::swap(rgb[i], rgb[i + 2]);
  Bytes cmyk = image.pixels;
  for (std::size_t i = 3; i < cmyk.size(); i += 4) cmyk[i] = static_cast<std::uint8_t>(i / 25);

  const Bytes expected = compress(channelsOf(image, 3), 3, {1972, 90, 0, 32993, 0});
  const struct {
    const Bytes& pixels;
    int channels, format, useAlpha;
    const Bytes& shows;
  } cases[] = {{image.pixels, 4, 6408, 0, image.pixels},
               {image.pixels, 4, 32993, 0, image.pixels},
               {rgb, 3, 6407, 0, image.pixels},
               {rgb, 3, 6407, 1, image.pixels},
               {cmyk, 4, 6408, 1, cmyk},
               {cmyk, 0, 32993, 1, cmyk}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const qrxJPEGArgs_type args = {0, 90, 0, c.format, c.useAlpha};
    const Bytes jpeg = compress(c.pixels, c.channels, args);
    EXPECT_EQ(jpeg == expected, &c.shows == &image.pixels);
    EXPECT_EQ(tool::walkJpeg(jpeg).adobeTransform.value_or(0), &c.shows == &cmyk ? 2 : 0);
    Bytes shown(std::size_t{4} * kSize.width * kSize.height, 255);
    qrx_jpeg_decode(jpeg.data(), static_cast<int>(jpeg.size()), shown.data(), 0, 4);
    double distance = 0;
    for (std::size_t i = 0; i < shown.size(); ++i) distance += std::abs(shown[i] - c.shows[i]);
    EXPECT_LT(distance / static_cast<double>(shown.size()), 5);
    EXPECT_FALSE(packets(c.pixels, c.channels, args).empty());
  }
}

TEST_F(FrontEnd, RefusesOtherFormats) {
  const qrxJPEGArgs_type args = {1972, 80, 0, 6409, 0};
  std::uint8_t untouched = 0;
  std::uint8_t* output = &untouched;
  qrxReleaseFunction release = nullptr;
  int size = -1;
  const std::string messages = errorsOf([&] {
    EXPECT_EQ(CompressPatch(image.pixels.data(), 4, 8, 8, &output, &release, &size, &args), 1);
    EXPECT_EQ(output, &untouched);
    EXPECT_EQ(qrx_jpeg_encode(image.pixels.data(), 8, 8, &args, &size, &release, 4), nullptr);
    EXPECT_EQ(size, 0);
    EXPECT_TRUE(packets(image.pixels, 4, args).empty());
  });
  EXPECT_EQ(messages, std::string(kInvalidFormat) + kInvalidFormat);
}

TEST_F(FrontEnd, DecodesIntoRoomThatIsThere) {
  EncoderJob lossless = grayJob(image), cmyk{image.pixels, kSize, JPEG_COLOR_CMYK, JPEG_COLOR_YCCK};
  lossless.mode = JPEG_MODE_LOSSLESS;
  const Bytes gray = encode(lossless).bytes, four = encode(cmyk).bytes;
  const std::string noRoom = "QRX JPEG: SetDestination() failed\n";
  constexpr int kPixels = kSize.width * kSize.height;
  const struct {
    const Bytes& jpeg;
    int bytesPerPixel, room, result;
    bool writes;
    std::string messages;
  } cases[] = {{gray, 3, 3 * kPixels, 1, true, ""},
               {gray, 4, 4 * kPixels, 1, true, ""},
               {gray, 4, 0, 1, true, ""},
               {gray, 4, 4 * kPixels - 1, 1, false, noRoom},
               {gray, 2, 4 * kPixels, 0, false, ""},
               {gray, 5, 8 * kPixels, 0, false, ""},
               {four, 3, 4 * kPixels, 0, false, ""},
               {four, 4, 4 * kPixels, 1, true, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    GuardedBuffer pixels(std::size_t{4} * kPixels);
    const auto length = static_cast<int>(c.jpeg.size());
    const std::string messages = errorsOf([&] {
      EXPECT_EQ(DecompressPatch(c.jpeg.data(), c.bytesPerPixel, 0, 0, 0, 0, c.room, length,
                                pixels.data()),
                c.result);
    });
    EXPECT_EQ(messages, c.messages);
    EXPECT_TRUE(pixels.guardsIntact());
    EXPECT_EQ(pixels.isUntouched(), !c.writes);
    // One lossless component becomes three equal channels; a fourth byte stays as it was.
    for (std::size_t i = 0; c.writes && &c.jpeg == &gray && i < lossless.pixels.size(); ++i) {
      Bytes expected(3, lossless.pixels[i]);
      if (c.bytesPerPixel == 4) expected.push_back(GuardedBuffer::kFill);
      const std::uint8_t* const at = pixels.data() + i * expected.size();
      ASSERT_EQ(Bytes(at, at + expected.size()), expected) << i;
    }
  }
  std::uint8_t pixel[4] = {};
  EXPECT_EQ(qrx_jpeg_decode(nullptr, 8, pixel, 4, 4), 0);
  EXPECT_EQ(qrx_jpeg_decode(gray.data(), -1, pixel, 4, 4), 0);
  EXPECT_EQ(qrx_jpeg_decode(gray.data(), 8, nullptr, 4, 4), 0);
}

TEST_F(FrontEnd, EndsEachRoadByItself) {
  runInChild([&] {
    const qrxJPEGArgs_type args = {1972, 80, 0, 6408, 0};
    const auto frameGoes = [&] {
      qrxReleaseFunction release = nullptr;
      int size = 0;
      std::uint8_t* const output =
          qrx_jpeg_encode(image.pixels.data(), 8, 8, &args, &size, &release, 4);
      std::free(output);
      return output != nullptr;
    };
    jpeg_fini();
    EXPECT_FALSE(frameGoes());
    EXPECT_FALSE(packets(image.pixels, 4, args).empty());
    tiles_fini();
    tiles_fini();
    EXPECT_TRUE(packets(image.pixels, 4, args).empty());
    jpeg_init();
    EXPECT_TRUE(frameGoes());
  });
}

TEST(TlsKeys, RunOutWithAWordInTheLog) {
  const std::string messages = runInChild([] {
    const TLSKey first = createTLSKey();
    runOnThreads(1, [&](int) { pthread_setspecific(first, &first); });  // which is let be
    std::set<TLSKey> keys;
    for (TLSKey key = createTLSKey(); key != kNoTLSKey; key = createTLSKey()) {
      EXPECT_TRUE(keys.insert(key).second);
    }
    EXPECT_GT(keys.size(), 900u);
  });
  const std::string text = "(qrx::TLSKey qrx::createTLSKey()): Reached the maximum number of keys";
  EXPECT_NE(messages.find(text), std::string::npos) << messages;
}

}  // namespace
}  // namespace qrx::test
