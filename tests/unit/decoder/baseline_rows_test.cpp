// A sequential scan decoded row by row with the stated operations, as a program does that wants the
// coefficients, against the whole run by whatever route that takes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "tests/unit/codec_kit.h"

namespace qrx::test {
namespace {

using Rows = DecoderTest;

// Up to where the data of the scan begins.
void startScan(CJPEGDecoder& d, const Bytes& stream, const EncoderJob& job, std::uint8_t* pixels) {
  const int channels = channelsOf(job.source), width = job.size.width;
  int w, h, components, precision;
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  _JPEG_MARKER marker = JPEG_MARKER_NONE;
  d.Reset();
  d.SetSource(stream.data(), static_cast<int>(stream.size()));
  EXPECT_EQ(d.ReadHeader(&w, &h, &components, &color, &sampling, &precision), 0);
  d.SetDestination(pixels, width * channels, {width, job.size.height}, channels, job.source, 8);
  EXPECT_EQ(d.NextMarker(&marker), 0);
  EXPECT_EQ(d.ParseSOS(), 0);
  EXPECT_EQ(d.Init(), 0);
  EXPECT_EQ(d.huffman_state.Init(), 0);
}

TEST_F(Rows, OneAfterAnotherMakeTheImage) {
  constexpr auto kYcc = JPEG_COLOR_YCBCR;
  const Image image = noisePicture({75, 41}, 1);
  const Bytes rgb = channelsOf(image, 3);
  const EncoderJob cases[] = {
      {rgb, {75, 41}, JPEG_COLOR_BGR, kYcc, JPEG_SAMPLING_444},
      {rgb, {75, 41}, JPEG_COLOR_RGB, kYcc, JPEG_SAMPLING_422, 75, JPEG_MODE_BASELINE, 3},
      {rgb, {75, 41}, JPEG_COLOR_BGR, kYcc, JPEG_SAMPLING_420, 30, JPEG_MODE_BASELINE, 7},
      {rgb, {75, 41}, JPEG_COLOR_RGB, JPEG_COLOR_RGB, JPEG_SAMPLING_420},
      {channelsOf(image, 1), {75, 41}, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY},
      {image.pixels, {50, 20}, JPEG_COLOR_CMYK, JPEG_COLOR_YCCK, JPEG_SAMPLING_422},
  };
  for (const EncoderJob& job : cases) {
    SCOPED_TRACE(job);
    const Bytes stream = encode(job).bytes, whole = decode(stream, job.source).pixels;
    Bytes pixels(whole.size(), GuardedBuffer::kFill);
    CJPEGDecoder d;
    startScan(d, stream, job, pixels.data());
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{d.dest_step} * d.mcu_height;
    std::vector<Ipp16s> coefficients(static_cast<std::size_t>(64 * d.mcus_across * d.mcu_blocks));
    for (int row = 0; row < d.mcus_down; ++row) {
      SCOPED_TRACE(row);
      ASSERT_EQ(d.DecodeHuffmanMCURowBL(coefficients.data()), 0);
      ASSERT_EQ(d.DCT_QNT_SSCC_MCURowBL(coefficients.data(), 0, row), 0);
      // Its own lines and no others; the conversion by itself writes them again.
      const Bytes shown = pixels;
      const auto begin = pixels.begin() + row * rowBytes;
      const auto end = pixels.end() - begin < rowBytes ? pixels.end() : begin + rowBytes;
      EXPECT_EQ(std::count(end, pixels.end(), GuardedBuffer::kFill), pixels.end() - end);
      std::fill(begin, end, 1);
      ASSERT_EQ(d.ColorConvert(row, 0), 0);
      EXPECT_EQ(pixels, shown);
    }
    EXPECT_EQ(pixels, whole);
  }
}

}  // namespace
}  // namespace qrx::test
