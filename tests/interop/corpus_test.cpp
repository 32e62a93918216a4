// JPEGs of Debian packages, as scripts/test.sh unpacks them: each gives the peer's picture or a
// stated refusal.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/interop/our_codec.h"

namespace qrx::test {
namespace {

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

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> chars{std::istreambuf_iterator<char>(file), {}};
  return Bytes(chars.begin(), chars.end());
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
    return ours.headerResult == 0 && ours.dataResult == 0 && ours.linesWritten == 0;
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
    const Bytes stream = readFile(path);
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
