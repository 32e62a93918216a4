// What libjpeg writes, our decoder reads: the pixels of both readers lie within a stated distance.
//
// The two differ by design in three things: the integer transforms (one or two steps), the lower
// neighbour of a reduced line at the bottom of a row of MCUs (we repeat the line, libjpeg waits for
// the next row), and the neighbours beyond the picture's edge (we take the padding that the stream
// brings, libjpeg repeats the edge).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <span>

#include "tests/interop/our_decoder.h"
#include "tools/support/files.h"

namespace qrx::test {
namespace {

struct Difference {
  int largest = 0;
  double psnr = 0;
};

// Over the pixels (x, y) that count; {256, 0} for pictures of different shapes.
Difference difference(
    const Pixels& a, const Pixels& b,
    const std::function<bool(int, int)>& counts = [](int, int) { return true; }) {
  if (a.size != b.size || a.channels != b.channels) return {256, 0};
  Difference d = {0, 99};
  double sum = 0, samples = 0;
  for (int i = 0; i < static_cast<int>(a.bytes.size()); ++i) {
    const int pixel = i / a.channels;
    if (!counts(pixel % a.size.width, pixel / a.size.width)) continue;
    const auto at = static_cast<std::size_t>(i);
    const int delta = std::abs(a.bytes[at] - b.bytes[at]);
    d.largest = std::max(d.largest, delta);
    sum += delta * delta;
    ++samples;
  }
  if (sum > 0) d.psnr = 10 * std::log10(255.0 * 255.0 * samples / sum);
  return d;
}

struct Layout {
  const char* name;
  J_COLOR_SPACE space;
  int channels;
  int across, down;  // sampling factors of components 0 and 3
  int largest;       // difference away from the places named above
};

// YCCK goes through two conversions more than CMYK.
constexpr Layout kLayouts[] = {
    {"444", JCS_YCbCr, 3, 1, 1, 4}, {"422", JCS_YCbCr, 3, 2, 1, 4},
    {"420", JCS_YCbCr, 3, 2, 2, 4}, {"gray", JCS_GRAYSCALE, 1, 1, 1, 2},
    {"rgb", JCS_RGB, 3, 1, 1, 2},   {"cmyk", JCS_CMYK, 4, 1, 1, 2},
    {"ycck", JCS_YCCK, 4, 1, 1, 4}, {"ycck 420", JCS_YCCK, 4, 2, 2, 4},
};

Bytes peerStream(const Layout& layout, Size size, const Configure& configure) {
  Image scene = scenePicture(size);
  for (std::size_t i = 3; i < scene.pixels.size(); i += 4) scene.pixels[i] = scene.pixels[i / 2];
  const Pixels pixels = {size, layout.channels,
                         channelsOf(scene, static_cast<std::size_t>(layout.channels))};
  return peerEncode(pixels, layout.space, [&](jpeg_compress_struct& info) {
    for (int i = 0; i < info.num_components; ++i) {
      const bool full = i == 0 || i == 3;
      info.comp_info[i].h_samp_factor = full ? layout.across : 1;
      info.comp_info[i].v_samp_factor = full ? layout.down : 1;
    }
    configure(info);
  });
}

void expectThePeersPicture(const Layout& layout, Size size, const Configure& configure) {
  SCOPED_TRACE(testing::Message() << layout.name << " " << size.width << "x" << size.height);
  const Bytes stream = peerStream(layout, size, configure);
  const PeerDecoded theirs = peerDecode(stream);
  const OurDecoded ours = ourDecode(stream);
  ASSERT_TRUE(theirs.done) << theirs.message;
  ASSERT_TRUE(ours.good()) << ours.headerResult << " " << ours.dataResult;
  // Pixels whose filters see the same samples in both readers.
  const auto sameNeighbours = [&](int x, int y) {
    const bool edge = (layout.across == 2 && size.width % 16 != 0 && x >= size.width - 2) ||
                      (layout.down == 2 && size.height % 16 != 0 && y >= size.height - 2);
    return !edge && (layout.down == 1 || y % 16 != 15);
  };
  EXPECT_LE(difference(ours.pixels, theirs.pixels, sameNeighbours).largest, layout.largest);
  EXPECT_GE(difference(ours.pixels, theirs.pixels).psnr, layout.down == 2 ? 40 : 48);
}

TEST(DecodeInterop, SizesAndQualities) {
  for (const Layout& layout : kLayouts) {
    for (const int quality : {10, 50, 75, 90, 100}) {
      SCOPED_TRACE(quality);
      for (const Size size :
           {Size{1, 1}, {7, 5}, {17, 33}, {64, 48}, {199, 151}, {16, 1}, {1, 40}}) {
        expectThePeersPicture(layout, size,
                              [&](auto& info) { jpeg_set_quality(&info, quality, TRUE); });
      }
    }
  }
}

TEST(DecodeInterop, RestartsAndTables) {
  const Configure variants[] = {[](auto& info) { info.restart_interval = 1; },
                                [](auto& info) { info.restart_interval = 7; },
                                [](auto& info) { info.restart_interval = 65535; },
                                [](auto& info) { info.restart_in_rows = 1; },
                                [](auto& info) { info.optimize_coding = TRUE; }};
  for (const Layout& layout : kLayouts) {
    for (const Configure& variant : variants) expectThePeersPicture(layout, {133, 77}, variant);
  }
}

TEST(DecodeInterop, ProgressiveByTheStandardScript) {
  for (const Layout& layout : kLayouts) {
    for (const unsigned interval : {0U, 5U}) {
      for (const Size size : {Size{1, 1}, {17, 17}, {133, 77}}) {
        expectThePeersPicture(layout, size, [&](auto& info) {
          jpeg_simple_progression(&info);
          info.restart_interval = interval;
        });
      }
    }
  }
}

// Components, Ss, Se, Ah, Al.
constexpr jpeg_scan_info kSpectral[] = {{3, {0, 1, 2}, 0, 0, 0, 0}, {1, {0}, 1, 9, 0, 0},
                                        {1, {0}, 10, 63, 0, 0},     {1, {1}, 1, 63, 0, 0},
                                        {1, {2}, 1, 20, 0, 0},      {1, {2}, 21, 63, 0, 0}};
constexpr jpeg_scan_info kSuccessive[] = {
    {3, {0, 1, 2}, 0, 0, 0, 2}, {1, {0}, 1, 63, 0, 3},      {1, {1}, 1, 63, 0, 1},
    {1, {2}, 1, 63, 0, 1},      {3, {0, 1, 2}, 0, 0, 2, 1}, {1, {0}, 1, 63, 3, 2},
    {1, {0}, 1, 63, 2, 1},      {3, {0, 1, 2}, 0, 0, 1, 0}, {1, {0}, 1, 63, 1, 0},
    {1, {1}, 1, 63, 1, 0},      {1, {2}, 1, 63, 1, 0}};
constexpr jpeg_scan_info kGray[] = {{1, {0}, 0, 0, 0, 1},   {1, {0}, 1, 30, 0, 2},
                                    {1, {0}, 31, 63, 0, 2}, {1, {0}, 1, 63, 2, 1},
                                    {1, {0}, 0, 0, 1, 0},   {1, {0}, 1, 63, 1, 0}};

Configure byScript(std::span<const jpeg_scan_info> scans) {
  return [scans](jpeg_compress_struct& info) {
    info.scan_info = scans.data();
    info.num_scans = static_cast<int>(scans.size());
  };
}

TEST(DecodeInterop, ProgressiveByOwnScripts) {
  for (int i = 0; i < 3; ++i) {
    expectThePeersPicture(kLayouts[i], {100, 65}, byScript(kSpectral));
    expectThePeersPicture(kLayouts[i], {100, 65}, byScript(kSuccessive));
    expectThePeersPicture(kLayouts[i], {100, 65}, [](auto& info) {
      byScript(kSpectral)(info);
      info.restart_interval = 3;
    });
  }
  expectThePeersPicture(kLayouts[3], {100, 65}, byScript(kGray));
}

// Streams outside the accepted subset get the stated refusal.
TEST(DecodeInterop, Refusals) {
  const auto asItIs = [](auto&) {};
  const OurDecoded tall = ourDecode(peerStream({"440", JCS_YCbCr, 3, 1, 2, 0}, {40, 40}, asItIs));
  EXPECT_EQ(tall.headerResult, 0);
  EXPECT_EQ(tall.sampling, JPEG_SAMPLING_OTHER);
  EXPECT_EQ(tall.dataResult, JPEG_NOT_SUPPORTED);

  constexpr jpeg_scan_info separate[] = {
      {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
  EXPECT_EQ(ourDecode(peerStream(kLayouts[0], {40, 40}, byScript(separate))).headerResult,
            JPEG_NOT_SUPPORTED);
}

// --- JPEGs of Debian packages, as scripts/test.sh unpacks them

std::vector<std::filesystem::path> corpus() {
  std::vector<std::filesystem::path> files;
  const char* folder = std::getenv("QRX_TEST_PICTURES");
  if (folder == nullptr || !std::filesystem::is_directory(folder)) return files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const auto extension = entry.path().extension();
    if (entry.is_regular_file() && (extension == ".jpg" || extension == ".jpeg")) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

// What lies outside the accepted subset, by what it says of itself: layouts other than the three,
// gray that says 2x2, scans of single components, other processes.
bool isStatedRefusal(const OurDecoded& ours) {
  return ours.headerResult == JPEG_NOT_SUPPORTED || ours.headerResult == JPEG_BAD_SAMPLING ||
         (ours.sampling == JPEG_SAMPLING_OTHER && ours.dataResult == JPEG_NOT_SUPPORTED);
}

// Streams that the decoder takes and does not show as the peer does, and why.
bool isStatedResult(const std::string& name, const OurDecoded& ours) {
  // A progressive stream that is cut off between two scans shows nothing and is no error.
  if (name == "video-001.progressive.truncated.jpeg") {
    return ours.headerResult == 0 && ours.dataResult == 0 && !ours.shown;
  }
  // A progressive DC scan counts for all components, whatever it names: nonsense follows.
  return name == "video-001.separate.dc.progression.progressive.jpeg" && ours.dataResult == 0;
}

TEST(CorpusInterop, EveryFileGivesThePeersPictureOrAStatedRefusal) {
  const auto files = corpus();
  if (files.empty()) GTEST_SKIP() << "no pictures: QRX_TEST_PICTURES names no folder with JPEGs";
  int shown = 0, refused = 0;
  for (const auto& path : files) {
    SCOPED_TRACE(path.filename());
    const Bytes stream = tool::readFile(path);
    const PeerDecoded theirs = peerDecode(stream);
    const OurDecoded ours = ourDecode(stream);
    const std::string name = path.filename().string();
    if (isStatedResult(name, ours)) {
      std::printf("%-45s as stated\n", name.c_str());
      continue;
    }
    if (!ours.good()) {
      // A file that the peer does not read either may fail in any way.
      EXPECT_TRUE(isStatedRefusal(ours) || !theirs.done)
          << ours.headerResult << " " << ours.dataResult;
      std::printf("%-45s refused: header %d, data %d\n", name.c_str(), ours.headerResult,
                  ours.dataResult);
      ++refused;
      continue;
    }
    ++shown;
    if (!theirs.done) continue;
    const Difference d = difference(ours.pixels, theirs.pixels);
    std::printf("%-45s %4dx%-4d PSNR %.1f dB, largest %d\n", name.c_str(), ours.pixels.size.width,
                ours.pixels.size.height, d.psnr, d.largest);
    EXPECT_GE(d.psnr, 40) << "largest " << d.largest;
  }
  std::printf("%d shown, %d refused\n", shown, refused);
  EXPECT_GT(shown, refused);
}

}  // namespace
}  // namespace qrx::test
