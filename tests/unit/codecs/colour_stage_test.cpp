// Colour conversion, padding and reduction: what stands in the encoder's planes.
#include <gtest/gtest.h>

#include "qrx/jpeg_encoder.h"
#include "tests/unit/codecs/encoder_job.h"

namespace qrx::test {
namespace {

// A CMYK picture whose channel c is 50 * c plus the number of the 2x2 cell's column and row, so
// that every cell averages to itself.
Bytes cellPicture(Size size) {
  Bytes pixels;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      for (int c = 0; c < 4; ++c)
        pixels.push_back(static_cast<std::uint8_t>(50 * c + x / 2 + y / 2));
    }
  }
  return pixels;
}

// The plane of component `c` holds, at column x and line y, what the picture has at the nearest
// pixel, in units of 2x2 cells where the component is reduced.
void expectPlane(const CJPEGEncoder& encoder, const EncoderJob& job, int c, int firstLine,
                 int lines) {
  const CJPEGColorComponent& component = *encoder.components[c];
  const int across = component.h_factor, down = component.v_factor;
  for (int y = 0; y < lines / down; ++y) {
    for (int x = 0; x < encoder.strip_stride / across; ++x) {
      const int column = std::min(x * across, job.size.width - 1);
      const int line = std::min(firstLine + y * down, job.size.height - 1);
      ASSERT_EQ(component.ss_buffer[y * encoder.strip_stride + x], 50 * c + column / 2 + line / 2)
          << job << " component " << c << " at " << x << "," << y;
    }
  }
}

TEST(ColourStage, PadsAndReduces) {
  for (const Size size : {Size{32, 16}, {18, 20}, {2, 2}, {16, 4}, {50, 34}}) {
    for (const auto sampling : {JPEG_SAMPLING_444, JPEG_SAMPLING_422, JPEG_SAMPLING_420}) {
      EncoderJob job{cellPicture(size), size, 4, JPEG_COLOR_CMYK, JPEG_COLOR_CMYK, sampling};
      CJPEGEncoder encoder;
      setUp(encoder, job, nullptr);
      ASSERT_EQ(encoder.Init(), 0);
      for (int strip = 0; strip < encoder.mcus_down; ++strip) {
        ASSERT_EQ(encoder.ColorConvert(strip), 0);
        ASSERT_EQ(encoder.DownSampling(strip), 0);
        for (int c = 0; c < 4; ++c) {
          expectPlane(encoder, job, c, strip * encoder.mcu_height, encoder.mcu_height);
        }
      }
      EXPECT_EQ(encoder.strip_rows, encoder.mcu_height - encoder.pad_rows);

      job.mode = JPEG_MODE_PROGRESSIVE;  // the whole image at once
      setUp(encoder, job, nullptr);
      ASSERT_EQ(encoder.Init(), 0);
      ASSERT_EQ(encoder.ColorConvert(), 0);
      ASSERT_EQ(encoder.DownSampling(), 0);
      for (int c = 0; c < 4; ++c) {
        expectPlane(encoder, job, c, 0, encoder.mcu_height * encoder.mcus_down);
      }
    }
  }
}

TEST(ColourStage, ClearsTheFreeHalfOfA2x1Strip) {
  EncoderJob job = colourJob(flatPicture({16, 8}, 255, 255, 255));
  job.sampling = JPEG_SAMPLING_422;
  CJPEGEncoder encoder;
  setUp(encoder, job, nullptr);
  ASSERT_EQ(encoder.Init(), 0);
  ASSERT_EQ(encoder.ColorConvert(0), 0);
  ASSERT_EQ(encoder.DownSampling(0), 0);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(encoder.components[1]->ss_buffer[i], i < 8 ? 128 : 0) << i;
}

// The colours of a pair come out of the planes as T.871 has them.
TEST(ColourStage, ConvertsByPair) {
  const struct {
    _JPEG_COLOR source, jpeg;
    Bytes pixel;
    std::vector<int> planes;
  } cases[] = {
      {JPEG_COLOR_RGB, JPEG_COLOR_YCBCR, {255, 0, 0, 0}, {76, 85, 255}},
      {JPEG_COLOR_BGR, JPEG_COLOR_YCBCR, {0, 0, 255, 0}, {76, 85, 255}},
      {JPEG_COLOR_RGB, JPEG_COLOR_GRAY, {255, 0, 0, 0}, {76}},
      {JPEG_COLOR_GRAY, JPEG_COLOR_GRAY, {17, 0, 0, 0}, {17}},
      {JPEG_COLOR_RGB, JPEG_COLOR_RGB, {1, 2, 3, 0}, {1, 2, 3}},
      {JPEG_COLOR_CMYK, JPEG_COLOR_CMYK, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, {0, 255, 255, 9}, {76, 85, 255, 9}},
  };
  for (const auto& c : cases) {
    EncoderJob job{c.pixel, {1, 1}, 4, c.source, c.jpeg, JPEG_SAMPLING_444};
    CJPEGEncoder encoder;
    setUp(encoder, job, nullptr);
    ASSERT_EQ(encoder.Init(), 0);
    ASSERT_EQ(encoder.ColorConvert(0), 0);
    for (std::size_t i = 0; i < c.planes.size(); ++i) {
      EXPECT_EQ(encoder.components[i]->cc_buffer[0], c.planes[i]) << job << " " << i;
    }
  }
}

TEST(ColourStage, RefusesUncolouredChannelsThatItCannotCopy) {
  EncoderJob job = colourJob(flatPicture({8, 8}, 1, 2, 3));
  job.source = job.jpeg = JPEG_COLOR_NONE;
  CJPEGEncoder encoder;
  setUp(encoder, job, nullptr);
  ASSERT_EQ(encoder.Init(), 0);
  EXPECT_EQ(encoder.ColorConvert(0), JPEG_NOT_SUPPORTED);  // no components
  EXPECT_EQ(encoder.ColorConvert(), JPEG_NOT_SUPPORTED);
}

}  // namespace
}  // namespace qrx::test
