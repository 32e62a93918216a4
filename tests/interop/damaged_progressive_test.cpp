// What a damaged progressive stream shows, held to whole streams of the scans that shall be seen.
#include <gtest/gtest.h>

#include <string_view>

#include "tests/interop/peer_jpeg.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

using DamagedProgressive = DecoderTest;

constexpr Size kSize = {100, 65};

// Components, Ss, Se, Ah, Al: each scan can be read without the others.
constexpr jpeg_scan_info kScript[] = {{3, {0, 1, 2}, 0, 0, 0, 0}, {1, {0}, 1, 9, 0, 0},
                                      {1, {0}, 10, 63, 0, 0},     {1, {1}, 1, 63, 0, 0},
                                      {1, {2}, 1, 20, 0, 0},      {1, {2}, 21, 63, 0, 0}};
constexpr int kScans = 6;

// The picture holds the scans named by their digits, zeros alone for none of them. The image is
// complete with scan 4, and never without scan 0 or 3.
constexpr std::string_view kNothing = "nothing is shown", kZeros{};
constexpr struct {
  std::string_view cutBehindHeader, cutBehindData, headerFlipped;
  int shownAt;  // scan that brings the last picture of the flipped stream
} kOutcomes[kScans] = {{kZeros, kNothing, kZeros, 0}, {"0", kNothing, "02345", 5},
                       {"01", kNothing, "01345", 5},  {"012", kNothing, "012", 3},
                       {"0123", "01234", "01235", 5}, {"01234", "012345", "01234", 5}};

Bytes stream() {
  const Pixels scene = {kSize, 3, channelsOf(scenePicture(kSize), 3)};
  return peerEncode(scene, JCS_YCbCr, [](jpeg_compress_struct& info) {
    info.scan_info = kScript;
    info.num_scans = kScans;
  });
}

Bytes inserted(Bytes bytes, std::size_t at, const Bytes& more) {
  bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), more.begin(), more.end());
  return bytes;
}

TEST_F(DamagedProgressive, ShowsWhatItsOutcomeSays) {
  const Bytes good = stream(), eoi = {0xFF, 0xD9};
  const tool::JpegInfo info = tool::walkJpeg(good);
  ASSERT_EQ(info.scans.size(), kScans);
  const auto dataEnd = [&](int n) {
    const tool::JpegScan& scan = info.scans[static_cast<std::size_t>(n)];
    return scan.dataOffset + scan.dataSize;
  };
  // A scan with its tables runs from the end of the scan before; the first one's tables stay in
  // front of all.
  const auto scanBytes = [&](int n) {
    const std::size_t begin = n == 0 ? 0 : dataEnd(n - 1);
    return Bytes(good.begin() + static_cast<std::ptrdiff_t>(begin),
                 good.begin() + static_cast<std::ptrdiff_t>(dataEnd(n)));
  };
  // Scans of nothing but ends of blocks: they complete an image and add nothing to it.
  Bytes completion = segment(0xC4, byte(0x10) + byte(1) + Bytes(15) + byte(0));
  for (const auto& component : info.frame()->components) {
    completion = completion + scan(byte(component.id) + byte(0x00), 63, 63) + Bytes(200);
  }
  const auto expect = [&](const Bytes& damaged, std::string_view outcome) {
    SCOPED_TRACE(outcome);
    const Decoded d = decode(damaged);
    EXPECT_EQ(d.header, 0);
    EXPECT_EQ(d.data, 0);
    EXPECT_EQ(d.lines, outcome == kNothing ? 0 : kSize.height);
    Bytes pixels(d.pixels.size(), outcome == kNothing ? GuardedBuffer::kFill : 128);
    if (outcome != kNothing && outcome != kZeros) {
      Bytes parts;
      for (const char digit : outcome) parts = parts + scanBytes(digit - '0');
      pixels = decode(parts + completion + eoi).pixels;
    }
    EXPECT_EQ(d.pixels, pixels);
  };

  int scansBefore = 0;
  std::string_view between = kNothing;
  for (const tool::JpegSegment& s : info.segments) {
    SCOPED_TRACE(testing::Message() << "cut near " << s.offset << ", scan " << scansBefore);
    const Bytes cut = prefix(good, s.offset + s.size);
    if (s.marker != 0xDA) {
      expect(cut, between);
      continue;
    }
    expect(cut, kOutcomes[scansBefore].cutBehindHeader);
    between = kOutcomes[scansBefore].cutBehindData;
    expect(prefix(good, dataEnd(scansBefore++)), between);
  }

  const auto adobe = [](int transform) {
    return segment(0xEE, Bytes{'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0} + byte(transform));
  };
  const Bytes others = segment(0xDB, byte(0) + Bytes(64, 1) + byte(1) + Bytes(64, 1)) + adobe(0);
  for (int n = 0; n < kScans; ++n) {
    SCOPED_TRACE(testing::Message() << "flip in the header of scan " << n);
    // The first table selectors of the header come to name tables that were never defined.
    const tool::JpegScan& header = info.scans[static_cast<std::size_t>(n)];
    Bytes flipped = good;
    flipped[header.dataOffset - 2 * header.components.size() - 2] ^= 0x22;
    expect(flipped, kOutcomes[n].headerFlipped);
    // Tables and colours that come behind a picture change nothing in it.
    expect(inserted(flipped, dataEnd(kOutcomes[n].shownAt), others), kOutcomes[n].headerFlipped);
  }
  // Nor does a scan whose colours the destination has no way to show.
  expect(inserted(good, dataEnd(4), adobe(2)), "01234");
}

}  // namespace
}  // namespace qrx::test
