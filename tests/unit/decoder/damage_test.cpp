// Streams cut and flipped anywhere, destinations of other sizes: the call comes back, nothing
// outside the destination changes, and the object decodes the next good image.
#include <gtest/gtest.h>

#include "qrx/primitives.h"
#include "tests/support/allocation_hooks.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

using Damage = DecoderTest;

// Every kind of stream; each decodes to its source's colours.
std::vector<EncoderJob> jobs() {
  const Image image = noisePicture({33, 20}, 1);
  const Bytes bgr = channelsOf(image, 3), gray = channelsOf(image, 1);
  std::vector<EncoderJob> jobs = {
      {bgr, {33, 20}},
      {bgr, {33, 20}, JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, JPEG_SAMPLING_422},
      {gray, {20, 9}, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY},
      {image.pixels, {17, 9}, JPEG_COLOR_CMYK, JPEG_COLOR_YCCK},
      {bgr, {33, 20}},
      {bgr, {20, 20}, JPEG_COLOR_RGB, JPEG_COLOR_RGB, JPEG_SAMPLING_444},
      {gray, {19, 11}, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY}};
  jobs[4].mode = jobs[5].mode = JPEG_MODE_PROGRESSIVE;
  jobs[6].mode = JPEG_MODE_LOSSLESS;
  jobs[1].restartInterval = jobs[5].restartInterval = 2;
  return jobs;
}

TEST_F(Damage, CutAtEveryByteAndBitsFlippedEverywhere) {
  for (const EncoderJob& job : jobs()) {
    SCOPED_TRACE(job);
    const Bytes good = encode(job).bytes;
    const Bytes pixels = decode(good, job.source).pixels;
    for (std::size_t length = 0; length < good.size(); ++length) {
      decode(prefix(good, length), job.source);
    }
    for (std::size_t bit = 0; bit < 8 * good.size(); bit += 3) {
      Bytes flipped = good;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      decode(flipped, job.source);
    }
    const Decoded again = decode(good, job.source);
    EXPECT_EQ(again.data, 0);
    EXPECT_EQ(again.lines, job.size.height);
    EXPECT_EQ(again.pixels, pixels);
  }
}

TEST_F(Damage, DestinationsOfOtherSizes) {
  for (const EncoderJob& job : jobs()) {
    SCOPED_TRACE(job);
    const Bytes good = encode(job).bytes;
    const Bytes pixels = decode(good, job.source).pixels;
    const Decoded cropped = decode(good, job.source, {0, -3});
    EXPECT_EQ(cropped.data, 0);
    EXPECT_EQ(cropped.lines, job.size.height - 3);
    EXPECT_EQ(cropped.pixels, prefix(pixels, cropped.pixels.size()));
    for (const Size extra : {Size{40, 0}, {0, 40}}) {
      const Decoded refused = decode(good, job.source, extra);
      EXPECT_EQ(refused.data, JPEG_NOT_SUPPORTED);
      EXPECT_EQ(refused.pixels, Bytes(refused.pixels.size(), GuardedBuffer::kFill));
    }
  }
}

TEST_F(Damage, ACutImageRepeatsItsLastRow) {
  EncoderJob job = colourJob(noisePicture({32, 64}, 1));
  job.sampling = JPEG_SAMPLING_444;
  const Bytes good = encode(job).bytes;
  const tool::JpegScan data = tool::walkJpeg(good).scans.at(0);
  const Bytes whole = decode(good).pixels;
  const Decoded cut = decode(prefix(good, data.dataOffset + data.dataSize / 2));
  EXPECT_EQ(cut.data, 0);
  EXPECT_EQ(cut.lines, 64);
  const std::size_t step = 32 * 3;
  EXPECT_EQ(prefix(cut.pixels, 16 * step), prefix(whole, 16 * step));
  // The last two rows of MCUs are the same but for the block at which each one failed.
  const auto behindFirstBlock = [&](std::size_t y) {
    const auto line = cut.pixels.begin() + static_cast<std::ptrdiff_t>(y * step);
    return Bytes(line + 24, line + step);
  };
  for (std::size_t y = 48; y < 56; ++y) EXPECT_EQ(behindFirstBlock(y), behindFirstBlock(y + 8));
}

// A flip in the last scan of a component: if that scan fails, the image is never complete, and the
// good scans behind it change nothing in what the failed one has shown.
TEST_F(Damage, ProgressiveShowsTheFailedScan) {
  EncoderJob job = colourJob(scenePicture({48, 48}));
  job.mode = JPEG_MODE_PROGRESSIVE;
  const Bytes good = encode(job).bytes, eoi = {0xFF, 0xD9};
  const auto scans = tool::walkJpeg(good).scans;
  ASSERT_EQ(scans.size(), 10u);
  for (const std::size_t n : {7u, 8u}) {
    const std::size_t begin = scans[n].dataOffset, end = begin + scans[n].dataSize;
    int failed = 0;
    for (std::size_t bit = 8 * begin; bit < 8 * end; ++bit) {
      Bytes flipped = good;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      const Decoded cut = decode(prefix(flipped, end) + eoi);
      if (cut.lines == 0) continue;
      ++failed;
      EXPECT_EQ(decode(flipped).pixels, cut.pixels) << "scan " << n << ", bit " << bit;
    }
    EXPECT_GT(failed, 0) << n;
  }
}

// A first scan that fails before anything has arrived shows zeros, which take no memory.
TEST_F(Damage, ProgressiveThatFailsAtItsFirstBlock) {
  const Bytes one = {0, 0x11, 0}, three = {0, 0x22, 0, 1, 0x11, 1, 2, 0x11, 1};
  const Bytes dqt = segment(0xDB, byte(0) + Bytes(64, 255));
  // One code in either class: a single 0 bit.
  const Bytes dht = segment(
      0xC4, byte(0) + byte(1) + Bytes(15) + byte(9) + byte(0x10) + byte(1) + Bytes(15) + byte(9));
  const std::pair<const char*, Bytes> cases[] = {
      {"end of data", {}},
      {"EOI", {0xFF, 0xD9}},
      {"another marker", segment(0xFE, {1, 2, 3})},
      {"no such code", {0xFE, 0xFE, 0xFE, 0xFE, 0xFF, 0xD9}},
      {"a code without its bits", {0x00, 0xFF, 0xD9}},
  };
  for (const Bytes& components : {one, three}) {
    const _JPEG_COLOR destination = components == one ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR;
    // Table 3 was never defined.
    for (const Bytes& header : {scan({0, 0x00}, 0, 0), scan({0, 0x00}, 1, 63),
                                scan({0, 0x33}, 0, 0), scan({0, 0x33}, 1, 63)}) {
      for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << " behind " << hexText(components + header));
        const Decoded d =
            decode(dqt + dht + frame(0xC2, 8, components) + header + c.second, destination);
        EXPECT_EQ(d.data, 0);
        EXPECT_EQ(d.lines, 16);
        EXPECT_EQ(d.pixels, Bytes(d.pixels.size(), 128));
        EXPECT_EQ(decoder_.coefficients, nullptr);
      }
    }
  }
}

// A packet segment of quality 0 is refused once its tables are made. An image without tables of its
// own finds them empty, whatever their memory held before.
TEST_F(Damage, TablesThatWereNeverFilled) {
  const Bytes three = {1, 0x11, 0, 2, 0x11, 1, 3, 0x11, 1};
  const Bytes refused = Bytes{0xFF, 0xD8, 0xFF, 0xDE, 0, 0} + word(16) + word(24) + byte(3) + three;
  const Bytes image = Bytes{0xFF, 0xD8} + segment(0xDB, byte(0) + Bytes(64, 1)) +
                      frame(0xC0, 8, three) + scan({1, 0, 2, 0x11, 3, 0x11}) +
                      noisePicture({16, 16}, 1).pixels;
  Bytes pixels[2];
  for (int i = 0; i < 2; ++i) {
    AllocationHooks hooks(&i_malloc, &i_free);
    hooks.fillWith(i == 0 ? 0x5A : 0);
    EXPECT_EQ(decode(refused).header, JPEG_INTERNAL_ERROR);
    const Decoded d = decode(image);
    EXPECT_EQ(d.lines, 16);
    pixels[i] = d.pixels;
    for (auto& table : decoder_.dc_tables) table.Destroy();
    for (auto& table : decoder_.ac_tables) table.Destroy();
    decoder_.huffman_state.Destroy();
    decoder_.Clean();
  }
  EXPECT_EQ(pixels[0], pixels[1]);
}

// What comes behind the last scan changes nothing in the picture.
TEST_F(Damage, ProgressiveIsOfTheTablesBeforeIt) {
  EncoderJob job = colourJob(scenePicture({16, 16}));
  job.mode = JPEG_MODE_PROGRESSIVE;
  const Bytes good = encode(job).bytes;
  for (const Bytes& late : {segment(0xDB, byte(0) + Bytes(64, 255)),
                            segment(0xEE, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0})}) {
    const Decoded d = decode(prefix(good, good.size() - 2) + late + Bytes{0xFF, 0xD9});
    EXPECT_EQ(d.data, 0);
    EXPECT_EQ(d.pixels, decode(good).pixels);
  }
}

// Refinement scans without end: the hundred-and-first is not looked at, nor what follows it, and
// the colours that it would have stay its own.
TEST_F(Damage, ProgressiveScansAreCounted) {
  EncoderJob job = colourJob(scenePicture({16, 16}));
  job.mode = JPEG_MODE_PROGRESSIVE;
  const Bytes good = encode(job).bytes;
  const Bytes refinement = scan({0, 0, 1, 0, 2, 0}, 0, 0, 0x10) + Bytes(2);
  Bytes many = prefix(good, good.size() - 2);
  for (int i = 0; i < 90; ++i) many = many + refinement;
  const Decoded hundred = decode(many + Bytes{0xFF, 0xD9});
  EXPECT_EQ(hundred.data, 0);
  EXPECT_EQ(hundred.lines, 16);
  const Bytes rgb = segment(0xEE, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0});
  const Decoded more = decode(many + rgb + refinement + Bytes{0xFF, 0xC5});
  EXPECT_EQ(more.data, 0);
  EXPECT_EQ(more.pixels, hundred.pixels);
}

TEST_F(Damage, LosslessStopsAtTheFirstError) {
  EncoderJob job = grayJob(noisePicture({30, 20}, 1));
  job.mode = JPEG_MODE_LOSSLESS;
  const Bytes good = encode(job).bytes;
  const Decoded cut = decode(prefix(good, good.size() / 3 * 2), JPEG_COLOR_GRAY);
  EXPECT_EQ(cut.data, JPEG_INTERNAL_ERROR);
  EXPECT_GT(cut.lines, 5);
  EXPECT_LT(cut.lines, 20);
  Bytes expected = prefix(job.pixels, 30 * static_cast<std::size_t>(cut.lines));
  expected.resize(job.pixels.size(), GuardedBuffer::kFill);
  EXPECT_EQ(cut.pixels, expected);
}

}  // namespace
}  // namespace qrx::test
