// The colour table behind ZMT_COLOR_CONVERSION. The variable is read once per process, so every
// case runs in a child of its own and the parent never encodes.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/process.h"
#include "tests/unit/codecs/encoder_job.h"

namespace qrx::test {
namespace {

struct Colour {
  int blue, green, red;
  int y, cb, cr;
};

// Each term of a sum truncated, nothing rounded.
constexpr Colour kTableColours[] = {{255, 255, 255, 254, 128, 129}, {0, 0, 0, 0, 128, 128},
                                    {128, 128, 128, 127, 129, 129}, {0, 0, 255, 76, 85, 255},
                                    {0, 255, 0, 149, 44, 22},       {255, 0, 0, 29, 255, 108},
                                    {1, 1, 1, 0, 128, 128},         {254, 3, 7, 31, 254, 110}};

TEST(ColourTable, TruncatesEachTerm) {
  runInChild([] {
    for (const Colour& c : kTableColours) {
      const Bytes pixel = threeChannels(flatPicture({1, 1}, c.blue, c.green, c.red));
      Ipp8u planes[3] = {};
      Ipp8u* const targets[3] = {&planes[0], &planes[1], &planes[2]};
      EXPECT_EQ(CJPEGEncoder::qrxBGRToYCbCr_JPEG_8u_C3P3R(pixel.data(), 3, targets, 1, {1, 1}), 0);
      EXPECT_EQ(planes[0], c.y) << c.blue << " " << c.green << " " << c.red;
      EXPECT_EQ(planes[1], c.cb) << c.blue << " " << c.green << " " << c.red;
      EXPECT_EQ(planes[2], c.cr) << c.blue << " " << c.green << " " << c.red;
    }
  });
}

// Luma of white in the first strip: 254 by the table, 255 by the primitive.
int lumaOfWhite(_JPEG_COLOR source, bool wholeImage) {
  EncoderJob job = colourJob(flatPicture({17, 33}, 255, 255, 255));
  job.source = source;
  job.mode = wholeImage ? JPEG_MODE_PROGRESSIVE : JPEG_MODE_BASELINE;
  CJPEGEncoder encoder;
  setUp(encoder, job, nullptr);
  EXPECT_EQ(encoder.Init(), 0);
  EXPECT_EQ(wholeImage ? encoder.ColorConvert() : encoder.ColorConvert(0), 0);
  EXPECT_EQ(encoder.components[0]->cc_buffer[0], encoder.components[0]->cc_buffer[16]);
  return encoder.components[0]->cc_buffer[0];
}

TEST(ColourTable, IsUsedForBgrStripsWhereTheVariableIs1) {
  const struct {
    const char* value;
    int luma;
  } cases[] = {{"1", 254}, {nullptr, 255}, {"", 255}, {"0", 255}, {"2", 255}, {"yes", 255}};
  for (const auto& c : cases) {
    runInChild([&] {
      unsetenv("ZMT_COLOR_CONVERSION");
      if (c.value != nullptr) setenv("ZMT_COLOR_CONVERSION", c.value, 1);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, true), 255);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), c.luma);
      setenv("ZMT_COLOR_CONVERSION", c.luma == 254 ? "0" : "1", 1);  // too late
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), c.luma);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_RGB, false), 255);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, true), 255);
    });
  }
}

TEST(ColourTable, IsWholeForAnyNumberOfFirstCallers) {
  runInChild([] {
    setenv("ZMT_COLOR_CONVERSION", "1", 1);
    runOnThreads(8, [](int) { EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), 254); });
  });
}

}  // namespace
}  // namespace qrx::test
