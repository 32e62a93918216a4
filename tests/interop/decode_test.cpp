// What libjpeg writes, our decoder reads: the pixels of both readers lie within a stated distance.
//
// The two differ by design in three things: the integer transforms (one or two steps), the lower
// neighbour of a reduced line at the bottom of a row of MCUs (we repeat the line, libjpeg waits for
// the next row), and the neighbours beyond the picture's edge (we take the padding that the stream
// brings, libjpeg repeats the edge).
#include <gtest/gtest.h>

#include "tests/interop/our_codec.h"

namespace qrx::test {
namespace {

struct Layout {
  const char* name;
  PeerColor color;
  int across, down;
  int largest;  // difference away from the places named above
};

// YCCK goes through two conversions more than CMYK.
constexpr Layout kLayouts[] = {
    {"444", PeerColor::kYcbcr, 1, 1, 4}, {"422", PeerColor::kYcbcr, 2, 1, 4},
    {"420", PeerColor::kYcbcr, 2, 2, 4}, {"gray", PeerColor::kGray, 1, 1, 2},
    {"rgb", PeerColor::kRgb, 1, 1, 2},   {"cmyk", PeerColor::kCmyk, 1, 1, 2},
    {"ycck", PeerColor::kYcck, 1, 1, 4}, {"ycck 420", PeerColor::kYcck, 2, 2, 4},
};

struct Case {
  int width, height;
  PeerOptions options;
};

// Pixels whose filters see the same samples in both readers.
auto sameNeighbours(const Layout& layout, int width, int height) {
  return [=](int x, int y) {
    const bool edge = (layout.across == 2 && width % 16 != 0 && x >= width - 2) ||
                      (layout.down == 2 && height % 16 != 0 && y >= height - 2);
    return !edge && (layout.down == 1 || y % 16 != 15);
  };
}

Difference largestOver(const Layout& layout, const std::vector<Case>& cases) {
  Difference worst = {0, 99};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << layout.name << " " << c.width << "x" << c.height
                                    << " quality " << c.options.quality);
    PeerOptions options = c.options;
    options.color = layout.color;
    options.across = layout.across;
    options.down = layout.down;
    const Bytes stream =
        peerEncode(testPicture(c.width, c.height, channelsOf(layout.color)), options);
    const PeerDecoded theirs = peerDecode(stream);
    const OurDecoded ours = ourDecode(stream);
    EXPECT_TRUE(theirs.done) << theirs.message;
    EXPECT_TRUE(ours.good()) << ours.headerResult << " " << ours.dataResult;
    const Difference d =
        difference(ours.pixels, theirs.pixels, sameNeighbours(layout, c.width, c.height));
    EXPECT_LE(d.largest, layout.largest);
    worst.largest = std::max(worst.largest, d.largest);
    worst.psnr = std::min(
        worst.psnr, difference(ours.pixels, theirs.pixels, [](int, int) { return true; }).psnr);
  }
  return worst;
}

PeerOptions withQuality(int quality) {
  PeerOptions options;
  options.quality = quality;
  return options;
}

TEST(DecodeInterop, SizesAndQualities) {
  for (const Layout& layout : kLayouts) {
    std::vector<Case> cases;
    for (const int quality : {10, 50, 75, 90, 100}) {
      for (const auto [w, h] : {IppiSize{1, 1}, IppiSize{7, 5}, IppiSize{17, 33}, IppiSize{64, 48},
                                IppiSize{199, 151}, IppiSize{16, 1}, IppiSize{1, 40}}) {
        cases.push_back({w, h, withQuality(quality)});
      }
    }
    const Difference worst = largestOver(layout, cases);
    RecordProperty(layout.name, worst.largest);
    std::printf("%-9s largest %d, overall PSNR at least %.1f dB\n", layout.name, worst.largest,
                worst.psnr);
  }
}

TEST(DecodeInterop, RestartsTablesAndComments) {
  std::vector<PeerOptions> variants(6);
  variants[0].restartMCUs = 1;
  variants[1].restartMCUs = 7;
  variants[2].restartRows = 1;
  variants[3].optimise = true;
  variants[4].comment = std::string(300, 'x');
  variants[5].restartMCUs = 65535;
  for (const Layout& layout : kLayouts) {
    std::vector<Case> cases;
    for (const PeerOptions& options : variants) cases.push_back({133, 77, options});
    largestOver(layout, cases);
  }
}

TEST(DecodeInterop, ProgressiveByTheStandardScript) {
  for (const Layout& layout : kLayouts) {
    std::vector<Case> cases;
    for (const int interval : {0, 5}) {
      for (const auto [w, h] : {IppiSize{1, 1}, IppiSize{17, 17}, IppiSize{133, 77}}) {
        PeerOptions options;
        options.progressive = true;
        options.restartMCUs = interval;
        cases.push_back({w, h, options});
      }
    }
    largestOver(layout, cases);
  }
}

TEST(DecodeInterop, ProgressiveByOwnScripts) {
  const std::vector<PeerScan> spectral = {
      {{0, 1, 2}, 0, 0, 0, 0}, {{0}, 1, 9, 0, 0},  {{0}, 10, 63, 0, 0},
      {{1}, 1, 63, 0, 0},      {{2}, 1, 20, 0, 0}, {{2}, 21, 63, 0, 0},
  };
  const std::vector<PeerScan> successive = {
      {{0, 1, 2}, 0, 0, 0, 2}, {{0}, 1, 63, 0, 3}, {{1}, 1, 63, 0, 1}, {{2}, 1, 63, 0, 1},
      {{0, 1, 2}, 0, 0, 2, 1}, {{0}, 1, 63, 3, 2}, {{0}, 1, 63, 2, 1}, {{0, 1, 2}, 0, 0, 1, 0},
      {{0}, 1, 63, 1, 0},      {{1}, 1, 63, 1, 0}, {{2}, 1, 63, 1, 0},
  };
  for (const auto* script : {&spectral, &successive}) {
    for (const Layout& layout : {kLayouts[0], kLayouts[1], kLayouts[2]}) {
      PeerOptions options;
      options.progressive = true;
      options.scans = *script;
      options.restartMCUs = script == &spectral ? 3 : 0;
      largestOver(layout, {{100, 65, options}});
    }
  }
  const std::vector<PeerScan> gray = {
      {{0}, 0, 0, 0, 1},  {{0}, 1, 30, 0, 2}, {{0}, 31, 63, 0, 2},
      {{0}, 1, 63, 2, 1}, {{0}, 0, 0, 1, 0},  {{0}, 1, 63, 1, 0},
  };
  PeerOptions options;
  options.progressive = true;
  options.scans = gray;
  largestOver(kLayouts[3], {{100, 65, options}});
}

// Streams outside the accepted subset get the stated refusal.
TEST(DecodeInterop, Refusals) {
  const Pixels picture = testPicture(40, 40, 3);
  PeerOptions odd;
  odd.across = 1;
  odd.down = 2;
  const OurDecoded tall = ourDecode(peerEncode(picture, odd));
  EXPECT_EQ(tall.headerResult, 0);
  EXPECT_EQ(tall.sampling, JPEG_SAMPLING_OTHER);
  EXPECT_EQ(tall.dataResult, JPEG_NOT_SUPPORTED);

  PeerOptions separate;
  separate.scans = {{{0}, 0, 63, 0, 0}, {{1}, 0, 63, 0, 0}, {{2}, 0, 63, 0, 0}};
  EXPECT_EQ(ourDecode(peerEncode(picture, separate)).headerResult, JPEG_NOT_SUPPORTED);
}

}  // namespace
}  // namespace qrx::test
