// What our encoder writes, at the extremes of every setting, libjpeg reads without a warning, and
// every mode carries the same coefficients. Lossless comes back through our decoder.
#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "tests/interop/our_decoder.h"
#include "tests/unit/codec_kit.h"

namespace qrx::test {
namespace {

constexpr _JPEG_MODE kModes[] = {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE, JPEG_MODE_LOSSLESS};
constexpr std::pair<_JPEG_COLOR, _JPEG_COLOR> kColors[] = {
    {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY}, {JPEG_COLOR_RGB, JPEG_COLOR_GRAY},
    {JPEG_COLOR_RGB, JPEG_COLOR_RGB},   {JPEG_COLOR_RGB, JPEG_COLOR_YCBCR},
    {JPEG_COLOR_BGR, JPEG_COLOR_YCBCR}, {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK},
    {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK}};
constexpr _JPEG_SAMPLING kSamplings[] = {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420};
constexpr int kQualities[] = {1, 50, 97, 100};
constexpr int kIntervals[] = {0, 1, 7};
constexpr Size kSizes[] = {{1, 1}, {17, 17}, {200, 168}};
constexpr const char* kPictures[] = {"flat", "noise", "repeated noise tile", "bright pixel"};

// One choice of each list above, in their order.
using Row = std::array<std::size_t, 7>;
constexpr Row kChoices = {std::size(kModes),     std::size(kColors),    std::size(kSamplings),
                          std::size(kQualities), std::size(kIntervals), std::size(kSizes),
                          std::size(kPictures)};

Bytes picture(std::size_t kind, Size size, int channels) {
  Image image = flatPicture(size, 90, 140, 200);
  if (kind == 1) image = noisePicture(size, 1);
  // A tile that has no small coefficient at quality 100: corrections of block after block are held.
  const Image tile = noisePicture({8, 8}, 6);
  const auto width = static_cast<std::size_t>(size.width);
  for (std::size_t i = 0; i < image.pixels.size(); ++i) {
    const std::size_t x = i / 4 % width, y = i / 4 / width;
    if (kind == 2) image.pixels[i] = tile.pixels[(y % 8 * 8 + x % 8) * 4 + i % 4];
    if (kind == 3) image.pixels[i] = x == width / 2 && y == width / 2 ? 255 : 0;
  }
  return channelsOf(image, static_cast<std::size_t>(channels));
}

EncoderJob jobOf(const Row& row) {
  const auto [source, jpeg] = kColors[row[1]];
  const Size size = kSizes[row[5]];
  EncoderJob job{picture(row[6], size, channelsOf(source)), size, source, jpeg};
  job.mode = kModes[row[0]];
  job.sampling = kSamplings[row[2]];
  job.quality = kQualities[row[3]];
  job.restartInterval = kIntervals[row[4]];
  job.capacity = 4 * static_cast<int>(job.pixels.size()) + (1 << 14);  // and the headers
  return job;
}

// Lossless is gray without restarts.
bool isCodable(const Row& row) {
  return kModes[row[0]] != JPEG_MODE_LOSSLESS || (row[1] == 0 && row[4] == 0);
}

constexpr std::size_t kTotal = std::accumulate(kChoices.begin(), kChoices.end(), std::size_t{0});

// Calls `visit` with a number below kTotal cubed for every three choices of a row.
template <typename Visit>
void visitTriples(const Row& row, Visit visit) {
  Row place;  // in all lists together
  for (std::size_t i = 0, first = 0; i < row.size(); first += kChoices[i++]) {
    place[i] = first + row[i];
  }
  for (std::size_t a = 0; a < row.size(); ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      for (std::size_t c = 0; c < b; ++c) visit((place[a] * kTotal + place[b]) * kTotal + place[c]);
    }
  }
}

// Rows in which every three choices stand together that can: always the one with most new next.
// Pairs alone are too few: a fault of one mode, sampling and colour slips through.
std::vector<Row> coveringRows() {
  std::vector<Row> all, cover;
  std::vector<bool> wanted(kTotal * kTotal * kTotal);
  Row row = {};
  for (std::size_t digit = 0; digit < row.size();) {
    if (digit == 0 && isCodable(row)) {
      all.push_back(row);
      visitTriples(row, [&](std::size_t triple) { wanted[triple] = true; });
    }
    if (++row[digit] < kChoices[digit]) {
      digit = 0;
    } else {
      row[digit++] = 0;
    }
  }
  while (true) {
    int most = 0;
    for (const Row& candidate : all) {
      int fresh = 0;
      visitTriples(candidate, [&](std::size_t triple) { fresh += wanted[triple]; });
      if (fresh > most) row = candidate;
      most = std::max(most, fresh);
    }
    if (most == 0) return cover;
    cover.push_back(row);
    visitTriples(row, [&](std::size_t triple) { wanted[triple] = false; });
  }
}

void expectRoundTrip(EncoderJob job) {
  const Coded coded = encode(job);
  ASSERT_EQ(coded.result, 0);
  if (job.mode == JPEG_MODE_LOSSLESS) {  // libjpeg does not read it
    EXPECT_TRUE(ourDecode(coded.bytes).pixels.bytes == job.pixels);
    job.restartInterval = 7;
    EXPECT_EQ(encode(job).result, JPEG_NOT_SUPPORTED);
    return;
  }
  job.mode = JPEG_MODE_BASELINE;
  job.restartInterval = 0;
  const PeerCoefficients theirs = peerCoefficients(coded.bytes);
  const PeerCoefficients expected = peerCoefficients(encode(job).bytes);
  ASSERT_TRUE(theirs.done && expected.done) << theirs.message << expected.message;
  EXPECT_EQ(theirs.warnings + expected.warnings, 0) << theirs.message << expected.message;
  EXPECT_EQ(theirs.shape, expected.shape);
  EXPECT_TRUE(theirs.values == expected.values);
}

TEST(RoundTrip, EveryThreeSettingsTogether) {
  std::vector<Row> rows = coveringRows();
  // Progressive gray at quality 100: more correction bits are held than anywhere else.
  rows.push_back({1, 0, 0, 3, 0, 2, 2});
  for (const Row& row : rows) {
    const EncoderJob job = jobOf(row);
    SCOPED_TRACE(testing::Message() << job << ": " << kPictures[row[6]]);
    expectRoundTrip(job);
  }
}

}  // namespace
}  // namespace qrx::test
