// Quantisation and Huffman tables of the encoder.
#include <gtest/gtest.h>

#include <map>

#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"
#include "tests/support/allocation_hooks.h"
#include "tests/support/peer_codec.h"
#include "tests/unit/codecs/encoder_job.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

// Worked values: entry 16 by quality.
TEST(EncoderQuantTable, ScalesByQuality) {
  Ipp8u source[64];
  for (int i = 0; i < 64; ++i) source[i] = static_cast<Ipp8u>(i == 0 ? 16 : i);
  const struct {
    int quality, entry;
  } cases[] = {{1, 255}, {2, 255}, {10, 80}, {25, 32}, {49, 16}, {50, 16},
               {51, 16}, {75, 8},  {97, 1},  {100, 1}, {101, 1}, {1000000, 1}};
  for (const auto& c : cases) {
    CJPEGEncoderQuantTable table;
    EXPECT_EQ(table.ready, 0);
    ASSERT_EQ(table.Init(0x1F, c.quality, source), 0) << c.quality;
    EXPECT_EQ(table.raw[0], c.entry) << c.quality;
    EXPECT_EQ(table.id, 15);
    EXPECT_EQ(table.precision, 1);
    EXPECT_EQ(table.ready, 1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table.raw) % 32, 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table.fwd_table) % 32, 0u);
  }
  for (const int quality : {0, -1, INT_MIN}) {
    CJPEGEncoderQuantTable table;
    EXPECT_EQ(table.Init(0, quality, source), JPEG_INTERNAL_ERROR);
    EXPECT_EQ(table.ready, 0);
  }
}

// DQT and DHT segments by the byte behind their length word.
std::map<std::pair<int, int>, Bytes> tableSegments(const Bytes& stream) {
  std::map<std::pair<int, int>, Bytes> segments;
  for (const tool::JpegSegment& segment : tool::walkJpeg(stream).segments) {
    if (segment.marker != 0xDB && segment.marker != 0xC4) continue;
    const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(segment.offset);
    segments[{segment.marker, begin[4]}] =
        Bytes(begin, begin + static_cast<std::ptrdiff_t>(segment.size));
  }
  return segments;
}

// The tables of Annex K, and their scaling, are those of an independent encoder byte for byte.
TEST(EncoderTables, AreTheStandardsTables) {
  const Image image = flatPicture({8, 8}, 10, 20, 30);
  for (const int quality : {1, 2, 25, 49, 50, 51, 75, 97, 100}) {
    EncoderJob job = colourJob(image);
    job.quality = quality;
    const Bytes peer = runCjpeg(image, "-baseline -quality " + std::to_string(quality));
    const auto expected = tableSegments(peer);
    ASSERT_EQ(expected.size(), 6u);
    EXPECT_EQ(tableSegments(encode(job).bytes), expected) << quality;
  }
}

TEST(EncoderHuffmanTable, RebuildsAndDestroysItsRecord) {
  AllocationHooks hooks(&i_malloc, &i_free);
  {
    CJPEGEncoderHuffmanTable table;
    EXPECT_EQ(table.Destroy(), 0);
    Ipp8u bits[16] = {0, 2, 1};
    const Ipp8u values[] = {7, 8, 9};
    EXPECT_EQ(table.Init(0, 0, bits, values), JPEG_INTERNAL_ERROR);  // nothing was created
    EXPECT_EQ(table.Create(), 0);
    EXPECT_EQ(table.Create(), 0);
    EXPECT_EQ(hooks.live(), 1);
    EXPECT_EQ(table.Init(0x12, 0x11, bits, values), 0);
    EXPECT_EQ(table.id, 2);
    EXPECT_EQ(table.hclass, 1);
    EXPECT_EQ(table.values[2], 9);
    EXPECT_EQ(table.values[3], 0);

    Ipp8u overfull[16] = {3};
    EXPECT_EQ(table.Init(0, 0, overfull, values), JPEG_INTERNAL_ERROR);
    Ipp8u complete[16] = {2};  // would use the code of all ones
    EXPECT_EQ(table.Init(0, 0, complete, values), JPEG_INTERNAL_ERROR);
    Ipp8u tooMany[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255};
    EXPECT_EQ(table.Init(0, 0, tooMany, values), JPEG_INTERNAL_ERROR);

    hooks.failAfter(0);
    EXPECT_EQ(table.Create(), JPEG_OUT_OF_MEMORY);
    EXPECT_EQ(table.spec, nullptr);
    EXPECT_EQ(hooks.live(), 0);
    CJPEGEncoderHuffmanState state;
    EXPECT_EQ(state.Create(), JPEG_OUT_OF_MEMORY);
    EXPECT_EQ(state.Init(), JPEG_INTERNAL_ERROR);
    hooks.stopFailing();
    EXPECT_EQ(state.Create(), 0);
    EXPECT_EQ(state.Create(), 0);
    EXPECT_EQ(state.Init(), 0);
    EXPECT_EQ(hooks.live(), 1);
  }
  EXPECT_EQ(hooks.live(), 0);
}

}  // namespace
}  // namespace qrx::test
