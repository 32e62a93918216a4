// Frames of every size, sampling and quality, read by an independent reader, in every processor
// form that the machine has.
#include <gtest/gtest.h>

#include <sstream>

#include "qrx/front_end.h"
#include "tests/host/host.h"
#include "tests/support/peer_codec.h"
#include "tests/support/process.h"
#include "tools/host/cpu_slots.h"
#include "tools/image/compare.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

constexpr Size kSizes[] = {{1, 1}, {7, 5}, {17, 33}, {641, 479}, {1920, 1080}};
constexpr int kQualities[] = {1, 25, 50, 75, 90, 97};

class HostPictures : public testing::Test {
 protected:
  // The frame road with a sampling of the caller's choice.
  Bytes encode(const Image& image, int sampling, int quality) const {
    const qrxJPEGArgs_type args = {1972, quality, sampling, 6408, 0};
    std::uint8_t* output = nullptr;
    qrxReleaseFunction release = nullptr;
    int size = 0;
    EXPECT_EQ(compress(image.pixels.data(), 4, image.size.width, image.size.height, &output,
                       &release, &size, &args),
              1);
    const Bytes bytes(output, output + size);
    release(output);
    return bytes;
  }

  Host host;
  decltype(&CompressPatch) compress = host.symbol<decltype(&CompressPatch)>("CompressPatch");
};

// PSNR of an independent encoder's picture at the same settings.
double peerPsnr(const Image& image, int sampling, int quality) {
  const char* const factors[] = {"1x1", "2x1", "2x2"};
  std::ostringstream options;
  options << "-baseline -quality " << quality << " -sample " << factors[sampling] << ",1x1,1x1";
  return tool::compareImages(runDjpeg(runCjpeg(image, options.str())).image, image).psnr;
}

TEST_F(HostPictures, AreSoundForAnIndependentReader) {
  for (const Size size : kSizes) {
    const Image image = scenePicture(size);
    for (int sampling = 0; sampling < 3; ++sampling) {
      for (const int quality : kQualities) {
        const Bytes jpeg = encode(image, sampling, quality);
        const PeerPicture peer = runDjpeg(jpeg);
        ASSERT_TRUE(peer.done) << peer.messages;
        EXPECT_EQ(peer.messages, "");
        ASSERT_EQ(peer.image.size, size);
        const double psnr = tool::compareImages(peer.image, image).psnr;
        // In a small picture a single coefficient tells.
        EXPECT_NEAR(psnr, peerPsnr(image, sampling, quality), size.width < 100 ? 1.0 : 0.25)
            << size.width << "x" << size.height << " " << sampling << " " << quality;
        EXPECT_EQ(tool::walkJpeg(jpeg).damage, std::vector<std::string>());
      }
    }
  }
}

TEST_F(HostPictures, AreTheSameInEverySlotAndOnEveryThread) {
  auto* const slot = host.symbol<std::int32_t*>("ippJumpIndexForMergedLibs");
  const std::int32_t chosen = *slot;
  for (const Size size : {Size{7, 5}, {17, 33}, {641, 479}}) {
    for (int sampling = 0; sampling < 3; ++sampling) {
      for (const int quality : {1, 50, 97}) {
        const Image image = scenePicture(size);
        const Bytes first = encode(image, sampling, quality);
        EXPECT_EQ(encode(image, sampling, quality), first);
        for (int i = 0; i < tool::kSlotCount; ++i) {
          if (!tool::processorRunsSlot(i)) continue;
          *slot = i;
          EXPECT_EQ(encode(image, sampling, quality), first) << "slot " << i;
        }
        *slot = chosen;
        if (quality == 50) {
          runOnThreads(8, [&](int) { EXPECT_EQ(encode(image, sampling, quality), first); });
        }
      }
    }
  }
}

}  // namespace
}  // namespace qrx::test
