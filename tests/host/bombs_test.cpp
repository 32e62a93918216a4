// Small streams that ask for much: what they cost is printed, what they may touch is tested.
//
//   QRX_BOMBS=long bombs_test      at full size: 8000x8000, 10,000 scans, 100,000 segments
//
// Each is decoded in a process of its own, so that its peak of memory is its own too.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

#include "qrx/codec.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

const bool kLong = std::getenv("QRX_BOMBS") != nullptr;
const int kSide = kLong ? 8000 : 96;
const int kScans = kLong ? 10000 : 300;
const int kSegments = kLong ? 100000 : 2000;
const std::size_t kFill = std::size_t{kLong ? 256u : 1u} << 20;

struct Cost {
  double seconds;  // of processor time
  long kilobytes;  // memory beyond stream and destination, at its peak
};

bool decode(codec::Codec& codec, const Bytes& jpeg, GuardedBuffer& pixels) {
  const Buffer buffer{nullptr, const_cast<std::uint8_t*>(jpeg.data()),
                      static_cast<std::uint32_t>(jpeg.size())};
  codec.getDecompressor()->decompress(&buffer, 4, codec::kFormatRgba, pixels.data(),
                                      static_cast<std::uint32_t>(pixels.size()));
  return pixels.guardsIntact() && !pixels.isUntouched();
}

double processorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

long peakKilobytes() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return used.ru_maxrss;
}

// In a child process, which fails where the bytes round the destination have changed, where
// something came of a stream of which nothing can (or the other way round), and where a sound
// picture does not come out afterwards.
Cost costOf(const Bytes& stream, bool decodes, const Bytes& sound) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    initCodec();
    codec::Codec* const codec = createCodec();
    GuardedBuffer pixels(std::size_t{4} * static_cast<std::size_t>(kSide) *
                         static_cast<std::size_t>(kSide));
    const double start = processorSeconds();
    const long before = peakKilobytes();
    const bool decoded = decode(*codec, stream, pixels);
    const Cost cost = {processorSeconds() - start, peakKilobytes() - before};
    GuardedBuffer small(std::size_t{4} * 96 * 96);
    const bool good = decoded == decodes && pixels.guardsIntact() && decode(*codec, sound, small) &&
                      write(ends[1], &cost, sizeof cost) == sizeof cost;
    _exit(good ? 0 : 1);
  }
  close(ends[1]);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  Cost cost{};
  EXPECT_EQ(read(ends[0], &cost, sizeof cost), static_cast<ssize_t>(sizeof cost));
  close(ends[0]);
  return cost;
}

Bytes repeated(const Bytes& piece, int count) {
  Bytes bytes;
  bytes.reserve(piece.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

Bytes picture(Size size, _JPEG_MODE mode, int restartInterval = 0) {
  EncoderJob job = colourJob(scenePicture(size));
  if (mode == JPEG_MODE_LOSSLESS) job = grayJob(scenePicture(size));
  job.mode = mode;
  job.restartInterval = restartInterval;
  job.capacity = (1 << 20) + 3 * size.width * size.height;
  return encode(job).bytes;
}

class Bombs : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    sound_ = picture({96, 96}, JPEG_MODE_BASELINE);
    baseline_ = picture({kSide, kSide}, JPEG_MODE_BASELINE);
    progressive_ = picture({kSide, kSide}, JPEG_MODE_PROGRESSIVE);
    dense_ = picture({kSide, kSide}, JPEG_MODE_BASELINE, 1);
  }
  // `like`: what a sound picture of the size takes, for comparison.
  void explode(const char* name, const Bytes& stream, bool decodes, const Bytes& like) {
    SCOPED_TRACE(name);
    static std::map<const Bytes*, Cost> sound;
    const auto [clean, isNew] = sound.try_emplace(&like);
    if (isNew) clean->second = costOf(like, true, sound_);
    const Cost cost = costOf(stream, decodes, sound_);
    std::printf("%-44s %10zu bytes %7.3f s, a sound one %7.3f s; %7.1f MiB, a sound one %7.1f\n",
                name, stream.size(), cost.seconds, clean->second.seconds,
                static_cast<double>(cost.kilobytes) / 1024,
                static_cast<double>(clean->second.kilobytes) / 1024);
  }
  // The picture with something behind its SOI.
  static Bytes withInFront(const Bytes& jpeg, const Bytes& what) {
    return prefix(jpeg, 2) + what + Bytes(jpeg.begin() + 2, jpeg.end());
  }
  static Bytes upToData(const Bytes& jpeg) {
    return prefix(jpeg, tool::walkJpeg(jpeg).scans.at(0).dataOffset);
  }

  inline static Bytes sound_, baseline_, progressive_, dense_;
};

// The largest frames, and headers without data.
TEST_F(Bombs, Headers) {
  for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE, JPEG_MODE_LOSSLESS}) {
    const Bytes jpeg = picture({96, 96}, mode);
    Bytes huge = jpeg;
    const Bytes size = word(96) + word(96);
    std::fill_n(std::search(huge.begin(), huge.end(), size.begin(), size.end()), 4, 0xFF);
    explode("header of 65535x65535", huge, false, sound_);
  }
  explode("baseline header, no data", upToData(baseline_), true, baseline_);
  explode("progressive header, no data", upToData(progressive_), true, progressive_);
}

TEST_F(Bombs, Scans) {
  const Bytes end = {0xFF, 0xD9};
  const Bytes body = prefix(progressive_, progressive_.size() - 2);
  explode("progressive, DC refinements without end",
          body + repeated(scan({0, 0, 1, 0, 2, 0}, 0, 0, 0x10) + Bytes(2), kScans) + end, true,
          progressive_);
  explode("progressive, a table between scans without end",
          body +
              repeated(segment(0xDB, byte(3) + Bytes(64, 1)) +
                           scan({0, 0, 1, 0, 2, 0}, 0, 0, 0x10) + Bytes(2),
                       kScans) +
              end,
          true, progressive_);
  explode("progressive, AC refinements without end",
          body + repeated(scan({0, 0}, 1, 63, 0x10) + Bytes(2), kScans) + end, true, progressive_);
  explode(
      "progressive, first scans without end",
      upToData(progressive_) + repeated(scan({0, 0, 1, 0, 2, 0}, 0, 0, 1) + Bytes(2), kScans) + end,
      true, progressive_);
}

TEST_F(Bombs, Segments) {
  const Bytes dht = segment(
      0xC4, byte(0x10) + Bytes{0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1} + Bytes(15, 1));
  const Bytes dqt = segment(0xDB, byte(3) + Bytes(64, 1));
  const Bytes comment = segment(0xFE, Bytes(100, 'x'));
  // Where a table would count, the picture's own comes behind.
  explode("DHT again and again", withInFront(baseline_, repeated(dht, kSegments)), true, baseline_);
  explode("DQT again and again", withInFront(baseline_, repeated(dqt, kSegments)), true, baseline_);
  explode("comments again and again", withInFront(baseline_, repeated(comment, kSegments)), true,
          baseline_);
  explode("large comments again and again",
          withInFront(baseline_, repeated(segment(0xFE, Bytes(65533, 'x')), kSegments / 100)), true,
          baseline_);
}

TEST_F(Bombs, Intervals) {
  explode("restart intervals of 1", dense_, true, baseline_);
  explode("restart intervals of 1, no data", upToData(dense_), true, baseline_);
  explode("restart intervals of 1, markers alone",
          upToData(dense_) + repeated({0xFF, 0xD0}, 1 << 20), true, baseline_);
  explode("restart intervals of 1, progressive", picture({kSide, kSide}, JPEG_MODE_PROGRESSIVE, 1),
          true, progressive_);
}

TEST_F(Bombs, FillBytes) {
  const Bytes fill(kFill, 0xFF);
  explode("fill bytes in front", withInFront(baseline_, fill), true, baseline_);
  explode("fill bytes and nothing else", prefix(baseline_, 2) + fill, false, baseline_);
  explode("fill bytes for data", upToData(baseline_) + fill, true, baseline_);
  explode("zeros for data", upToData(baseline_) + Bytes(kFill), true, baseline_);
  explode("fill bytes for data, intervals of 1", upToData(dense_) + fill, true, baseline_);
  explode("zeros in front", withInFront(baseline_, Bytes(kFill)), true, baseline_);
}

}  // namespace
}  // namespace qrx::test
