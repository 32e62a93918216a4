// Streams cut and flipped anywhere, restarts that go wrong, destinations of other sizes: the call
// comes back, nothing outside the destination changes, and the object decodes the next good image.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/decoder/stream_kit.h"

namespace qrx::test {
namespace {

struct Sample {
  const char* name;
  EncodeOptions options;
  DecodeOptions decoding;
};

std::vector<Sample> samples() {
  const DecodeOptions gray = {JPEG_COLOR_GRAY, 1};
  const DecodeOptions four = {JPEG_COLOR_CMYK, 4};
  return {
      {"420", {33, 20}, {}},
      {"422 restarts",
       {33, 20, JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, JPEG_SAMPLING_422, JPEG_MODE_BASELINE, 2},
       {}},
      {"gray", {20, 9, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY}, gray},
      {"ycck", {17, 9, JPEG_COLOR_CMYK, JPEG_COLOR_YCCK}, four},
      {"progressive",
       {33, 20, JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, JPEG_SAMPLING_420, JPEG_MODE_PROGRESSIVE, 0},
       {}},
      {"progressive restarts",
       {20, 20, JPEG_COLOR_RGB, JPEG_COLOR_RGB, JPEG_SAMPLING_444, JPEG_MODE_PROGRESSIVE, 1},
       {JPEG_COLOR_RGB, 3}},
      {"lossless",
       {19, 11, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, JPEG_SAMPLING_444, JPEG_MODE_LOSSLESS, 0},
       gray},
  };
}

TEST(Damage, CutAtEveryByteAndEveryBitFlipped) {
  for (const Sample& sample : samples()) {
    SCOPED_TRACE(sample.name);
    CJPEGDecoder decoder;
    const Bytes good = encode(sample.options);
    ASSERT_FALSE(good.empty());
    const Decoded reference = decode(decoder, good, sample.decoding);
    ASSERT_EQ(reference.data, 0);
    ASSERT_EQ(reference.lines, sample.options.height);
    DecodeOptions bounded = sample.decoding;
    bounded.maxPixels = 1 << 14;  // flips in the frame header can ask for a lot

    bool guards = true;
    for (std::size_t length = 0; length < good.size(); ++length) {
      guards &=
          decode(decoder, Bytes(good.begin(), good.begin() + static_cast<long>(length)), bounded)
              .guardsIntact;
    }
    for (std::size_t bit = 0; bit < 8 * good.size(); bit += 3) {
      Bytes flipped = good;
      flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1 << bit % 8));
      guards &= decode(decoder, flipped, bounded).guardsIntact;
    }
    EXPECT_TRUE(guards);
    const Decoded again = decode(decoder, good, sample.decoding);
    EXPECT_EQ(again.data, 0);
    EXPECT_EQ(again.pixels, reference.pixels);
  }
}

TEST(Damage, ACutImageRepeatsItsLastRow) {
  CJPEGDecoder decoder;
  EncodeOptions options = {32, 64};
  options.sampling = JPEG_SAMPLING_444;
  const Bytes good = encode(options);
  const Decoded whole = decode(decoder, good);
  const Decoded cut = decode(
      decoder, Bytes(good.begin(), good.begin() + 681 + static_cast<long>(good.size() - 681) / 2));
  EXPECT_EQ(cut.data, 0);
  EXPECT_EQ(cut.lines, 64);
  const std::size_t line = 32 * 3;
  // The top is that of the whole image.
  EXPECT_TRUE(std::equal(cut.pixels.begin(), cut.pixels.begin() + 16 * line, whole.pixels.begin()));
  // The last two rows of MCUs are the same but for the block at which each one failed.
  for (std::size_t y = 48; y < 56; ++y) {
    const auto row = [&](std::size_t n) {
      return cut.pixels.begin() + static_cast<long>(n * line);
    };
    EXPECT_TRUE(std::equal(row(y) + 24, row(y + 1), row(y + 8) + 24)) << y;
  }
}

TEST(Damage, RestartMarkers) {
  CJPEGDecoder decoder;
  EncodeOptions options = {64, 16};
  options.sampling = JPEG_SAMPLING_444;
  options.restartInterval = 4;
  const Bytes good = encode(options);
  const Decoded reference = decode(decoder, good);

  std::vector<std::size_t> markers;
  for (std::size_t i = 681; i + 1 < good.size(); ++i) {
    if (good[i] == 0xFF && good[i + 1] >= 0xD0 && good[i + 1] <= 0xD7) markers.push_back(i);
  }
  ASSERT_EQ(markers.size(), 3u);

  Bytes renumbered = good;
  for (const std::size_t at : markers) renumbered[at + 1] = 0xD5;
  EXPECT_EQ(decode(decoder, renumbered).pixels, reference.pixels) << "numbers are not looked at";

  // The first interval loses the rest of its last MCU: the second starts in step again.
  Bytes lost = good;
  lost.erase(lost.begin() + static_cast<long>(markers[0]) - 1,
             lost.begin() + static_cast<long>(markers[0]));
  const Decoded d = decode(decoder, lost);
  EXPECT_EQ(d.data, 0);
  EXPECT_TRUE(d.guardsIntact);
}

TEST(Damage, DestinationsOfOtherSizes) {
  CJPEGDecoder decoder;
  for (const Sample& sample : samples()) {
    SCOPED_TRACE(sample.name);
    const Bytes good = encode(sample.options);
    const Decoded reference = decode(decoder, good, sample.decoding);
    DecodeOptions smaller = sample.decoding;
    smaller.extraHeight = -3;
    const Decoded cropped = decode(decoder, good, smaller);
    EXPECT_EQ(cropped.data, 0);
    EXPECT_TRUE(cropped.guardsIntact);
    EXPECT_EQ(cropped.lines, sample.options.height - 3);
    EXPECT_TRUE(std::equal(cropped.pixels.begin(), cropped.pixels.end(), reference.pixels.begin()));
    for (const auto [w, h] : {IppiSize{40, 0}, IppiSize{0, 40}}) {
      DecodeOptions larger = sample.decoding;
      larger.extraWidth = w;
      larger.extraHeight = h;
      const Decoded refused = decode(decoder, good, larger);
      EXPECT_EQ(refused.data, JPEG_NOT_SUPPORTED);
      EXPECT_EQ(refused.pixels, Bytes(refused.pixels.size(), 0xA5)) << "nothing is written";
    }
  }
}

TEST(Damage, ProgressiveShowsWhatHasArrived) {
  CJPEGDecoder decoder;
  EncodeOptions options = {48, 48};
  options.mode = JPEG_MODE_PROGRESSIVE;
  const Bytes good = encode(options);
  const Decoded whole = decode(decoder, good);
  std::vector<std::size_t> scans;
  for (std::size_t i = 0; i + 1 < good.size(); ++i) {
    if (good[i] == 0xFF && good[i + 1] == 0xDA) scans.push_back(i);
  }
  ASSERT_EQ(scans.size(), 10u);
  const auto prefix = [&](std::size_t n) {
    return Bytes(good.begin(), good.begin() + static_cast<long>(n));
  };
  // Between two scans: nothing is shown, and it is no error.
  std::size_t table = scans[3];
  while (!(good[table] == 0xFF && good[table + 1] == 0xC4)) --table;
  const Decoded between = decode(decoder, prefix(table));
  EXPECT_EQ(between.data, 0);
  EXPECT_EQ(between.lines, 0);
  // A few bytes into a scan: what the scans before it brought, nearer with each scan.
  long distanceBefore = 1 << 30;
  for (const std::size_t n : {1, 3, 5, 9}) {
    const Decoded part = decode(decoder, prefix(scans[n] + 16));
    EXPECT_EQ(part.lines, 48);
    long distance = 0;
    for (std::size_t i = 0; i < whole.pixels.size(); ++i) {
      distance += std::abs(part.pixels[i] - whole.pixels[i]);
    }
    EXPECT_LT(distance, distanceBefore) << n;
    distanceBefore = distance;
  }
}

TEST(Damage, ProgressiveScansAreCounted) {
  CJPEGDecoder decoder;
  EncodeOptions options = {16, 16, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY};
  options.mode = JPEG_MODE_PROGRESSIVE;
  const Bytes good = encode(options);
  const Bytes body(good.begin(), good.end() - 2);
  // Refinement scans without end: the hundred-and-first is not looked at, nor what follows it.
  Bytes many = body;
  for (int i = 0; i < 200; ++i) many = many + scan({0, 0}, 0, 0, 0x10) + Bytes(2);
  const Decoded d = decode(decoder, many + Bytes{0xFF, 0xC5}, {JPEG_COLOR_GRAY, 1});
  EXPECT_EQ(d.data, 0);
  EXPECT_EQ(d.lines, 16);
}

TEST(Damage, LosslessStopsAtTheFirstError) {
  CJPEGDecoder decoder;
  EncodeOptions options = {
      30, 20, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, JPEG_SAMPLING_444, JPEG_MODE_LOSSLESS};
  const Bytes good = encode(options);
  const Bytes source = sourcePixels(options);
  EXPECT_EQ(decode(decoder, good, {JPEG_COLOR_GRAY, 1}).pixels, source);
  const Decoded cut =
      decode(decoder, Bytes(good.begin(), good.end() - static_cast<long>(good.size()) / 3),
             {JPEG_COLOR_GRAY, 1});
  EXPECT_EQ(cut.data, JPEG_INTERNAL_ERROR);
  ASSERT_GT(cut.lines, 5);
  ASSERT_LT(cut.lines, 20);
  const auto written = static_cast<long>(cut.lines * 30);
  EXPECT_TRUE(std::equal(source.begin(), source.begin() + written, cut.pixels.begin()));
  EXPECT_EQ(cut.pixels[static_cast<std::size_t>(written)], 0xA5);
}

}  // namespace
}  // namespace qrx::test
