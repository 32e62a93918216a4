// The colour table and its switch, which are once per process: every case runs in a child of its
// own, and the parent never encodes.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"

namespace qrx::test {
namespace {

// The colour table behind ZMT_COLOR_CONVERSION.
TEST(ColourTable, TruncatesEachTerm) {
  // B, G, R and Y, Cb, Cr: each term of a sum truncated, nothing rounded.
  const std::pair<Bytes, std::string> colours[] = {
      {{255, 255, 255}, "FE8081"}, {{0, 0, 0}, "008080"},   {{128, 128, 128}, "7F8181"},
      {{0, 0, 255}, "4C55FF"},     {{0, 255, 0}, "952C16"}, {{255, 0, 0}, "1DFF6C"},
      {{1, 1, 1}, "008080"},       {{254, 3, 7}, "1FFE6E"}};
  runInChild([&] {
    for (const auto& [pixel, expected] : colours) {
      Bytes planes(3);
      Ipp8u* const targets[3] = {&planes[0], &planes[1], &planes[2]};
      EXPECT_EQ(CJPEGEncoder::qrxBGRToYCbCr_JPEG_8u_C3P3R(pixel.data(), 3, targets, 1, {1, 1}), 0);
      EXPECT_EQ(hexText(planes), expected) << hexText(pixel);
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
  const std::pair<const char*, int> cases[] = {{"1", 254}, {nullptr, 255}, {"", 255},
                                               {"0", 255}, {"2", 255},     {"yes", 255}};
  for (const auto& [value, luma] : cases) {
    runInChild([text = value, luma = luma] {
      unsetenv("ZMT_COLOR_CONVERSION");
      if (text != nullptr) setenv("ZMT_COLOR_CONVERSION", text, 1);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, true), 255);
      runOnThreads(8, [=](int) { EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), luma); });
      setenv("ZMT_COLOR_CONVERSION", luma == 254 ? "0" : "1", 1);  // too late
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, false), luma);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_RGB, false), 255);
      EXPECT_EQ(lumaOfWhite(JPEG_COLOR_BGR, true), 255);
    });
  }
}

}  // namespace
}  // namespace qrx::test
