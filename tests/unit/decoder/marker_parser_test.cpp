// The walk over a stream's markers, on streams made by hand.
#include <gtest/gtest.h>

#include "tests/unit/decoder/stream_kit.h"

namespace qrx::test {
namespace {

const Bytes kJfif = segment(0xE0, text("JFIF\0\1\2\0\0\1\0\1\0\0", 14));
Bytes adobe(std::uint8_t transform) {
  return segment(0xEE, text("Adobe\0d\0\0\0\0", 11) + Bytes{transform});
}
const Bytes kFrame = frame(0xC0, 8, 24, 16, threeComponents());
const Bytes kScan = scan({0, 0x00, 1, 0x11, 2, 0x11});
const Bytes kGrayFrame = frame(0xC0, 8, 24, 16, {{7, 0x11, 0}});
const Bytes kGrayScan = scan({7, 0x00});
const Bytes kFourFrame =
    frame(0xC0, 8, 24, 16, {{0, 0x11, 0}, {1, 0x11, 0}, {2, 0x11, 0}, {3, 0x11, 0}});
const Bytes kFourScan = scan({0, 0, 1, 0, 2, 0, 3, 0});

TEST(MarkerParser, HeaderResults) {
  const Bytes twoFactors = frame(0xC0, 8, 24, 16, {{0, 0x22, 0}, {1, 0x21, 0}, {2, 0x21, 0}});
  const struct {
    const char* name;
    Bytes stream;
    int result;
    int width, channels;
  } cases[] = {
      {"empty", {}, 0, 0, 0},
      {"SOI and EOI only", kSOI + kEOI, 0, 0, 0},
      {"garbage, fill bytes and a stuffed byte in front of markers",
       Bytes{1, 2, 0xFF, 0x00, 3} + kSOI + Bytes{0xFF, 0xFF} + kFrame + Bytes{0xFF} + kScan, 0, 24,
       3},
      {"no SOI", kFrame + kScan, 0, 24, 3},
      {"stray bytes at the end", kSOI + Bytes{1, 2}, JPEG_BUFFER_TOO_SMALL, 0, 0},
      {"SOS before any frame", kSOI + kScan, JPEG_BAD_COMPONENT_ID, 0, 0},
      {"frame without components", kSOI + frame(0xC0, 8, 24, 16, {}) + kScan, JPEG_BAD_COMPONENT_ID,
       0, 0},
      {"five components", kSOI + frame(0xC0, 8, 24, 16, std::vector<Component>(5, {0, 0x11, 0})),
       JPEG_BAD_FRAME_SEGMENT, 0, 0},
      {"a scan of one of three components", kSOI + kFrame + scan({0, 0}), JPEG_NOT_SUPPORTED, 0, 0},
      {"the same in a progressive frame",
       kSOI + frame(0xC2, 8, 24, 16, threeComponents()) + scan({0, 0}), 0, 24, 3},
      {"12 bits", kSOI + frame(0xC1, 12, 24, 16, threeComponents()), JPEG_NOT_SUPPORTED, 0, 0},
      {"arithmetic coding", kSOI + frame(0xC9, 8, 24, 16, threeComponents()), JPEG_NOT_SUPPORTED, 0,
       0},
      {"lossless of three components", kSOI + frame(0xC3, 8, 24, 16, threeComponents()),
       JPEG_NOT_SUPPORTED, 0, 0},
      {"lossless of 17 bits", kSOI + frame(0xC3, 17, 24, 16, {{0, 0x11, 0}}),
       JPEG_BAD_FRAME_SEGMENT, 0, 0},
      {"lossless with a point transform of the precision",
       kSOI + frame(0xC3, 8, 24, 16, {{0, 0x11, 0}}) + scan({0, 0}, 1, 0, 8), JPEG_BAD_SCAN_SEGMENT,
       0, 0},
      {"factor 0", kSOI + frame(0xC0, 8, 24, 16, {{0, 0x10, 0}}), JPEG_BAD_FRAME_SEGMENT, 0, 0},
      {"quantisation selector 4", kSOI + frame(0xC0, 8, 24, 16, {{0, 0x11, 4}}),
       JPEG_BAD_FRAME_SEGMENT, 0, 0},
      {"gray with factors 2x2", kSOI + frame(0xC0, 8, 24, 16, {{0, 0x22, 0}}), JPEG_BAD_SAMPLING, 0,
       0},
      {"a layout of its own", kSOI + twoFactors + kScan, 0, 24, 3},
      {"Huffman selector 4", kSOI + kFrame + scan({0, 0x04, 1, 0x11, 2, 0x11}),
       JPEG_BAD_SCAN_SEGMENT, 0, 0},
      {"Huffman table 4", kSOI + segment(0xC4, Bytes{0x04} + Bytes(16)), JPEG_BAD_HUFFMAN_TABLE, 0,
       0},
      {"more codes than bytes", kSOI + segment(0xC4, Bytes{0x00, 9} + Bytes(15)),
       JPEG_BAD_HUFFMAN_TABLE, 0, 0},
      {"codes that do not fit in their length",
       kSOI + segment(0xC4, Bytes{0x00, 3} + Bytes(15) + Bytes{1, 2, 3}), JPEG_INTERNAL_ERROR, 0,
       0},
      {"bytes left over in DHT", kSOI + segment(0xC4, Bytes{0x00} + Bytes(16) + Bytes(5)),
       JPEG_BAD_SEGMENT_LENGTH, 0, 0},
      {"quantisation table 4", kSOI + segment(0xDB, Bytes{0x04} + Bytes(64)),
       JPEG_BAD_QUANT_SEGMENT, 0, 0},
      {"8-bit and 16-bit tables in one segment",
       kSOI + segment(0xDB, Bytes{0x00} + Bytes(64) + Bytes{0x11} + Bytes(128)) + kFrame + kScan, 0,
       24, 3},
      {"a precision that does not exist", kSOI + segment(0xDB, Bytes{0x20} + Bytes(128)),
       JPEG_BAD_SEGMENT_LENGTH, 0, 0},
      {"DRI of three bytes", kSOI + segment(0xDD, {0, 1, 2}), JPEG_BAD_SEGMENT_LENGTH, 0, 0},
      {"length word 0", kSOI + Bytes{0xFF, 0xE5, 0, 0, 9}, JPEG_BAD_SEGMENT_LENGTH, 0, 0},
      {"comment of length word 1", kSOI + Bytes{0xFF, 0xFE, 0, 1, 9}, JPEG_BAD_SEGMENT_LENGTH, 0,
       0},
      {"a length that ends the data", kSOI + Bytes{0xFF, 0xE5, 0, 2}, JPEG_BUFFER_TOO_SMALL, 0, 0},
      {"a segment that promises more than there is", kSOI + Bytes{0xFF, 0xE5, 0, 200, 1},
       JPEG_BUFFER_TOO_SMALL, 0, 0},
      {"JFIF cut off in its name", kSOI + Bytes{0xFF, 0xE0, 0, 16, 'J', 'F'}, JPEG_BUFFER_TOO_SMALL,
       0, 0},
      {"no components named in the scan", kSOI + kFrame + segment(0xDA, {0, 0, 63, 0}),
       JPEG_BAD_SCAN_SEGMENT, 0, 0},
      {"wrong scan length", kSOI + kGrayFrame + segment(0xDA, {1, 7, 0, 0, 63}),
       JPEG_BAD_SEGMENT_LENGTH, 0, 0},
      {"DAC, DNL, EXP and JPGn are passed over",
       kSOI + segment(0xCC, {1}) + segment(0xDC, {1}) + segment(0xDF, {1}) + segment(0xF3, {1}) +
           kGrayFrame + kGrayScan,
       0, 24, 1},
  };
  CJPEGDecoder decoder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded d = decode(decoder, c.stream);
    EXPECT_EQ(d.header, c.result);
    if (d.header == 0) {
      EXPECT_EQ(d.width, c.width);
      EXPECT_EQ(d.channels, c.channels);
    }
  }
}

TEST(MarkerParser, ColourSpace) {
  const struct {
    const char* name;
    Bytes stream;
    _JPEG_COLOR color;
  } cases[] = {
      {"three, nothing said", kFrame + kScan, JPEG_COLOR_YCBCR},
      {"three, JFIF", kJfif + kFrame + kScan, JPEG_COLOR_YCBCR},
      {"three, Adobe wins over JFIF", kJfif + adobe(0) + kFrame + kScan, JPEG_COLOR_RGB},
      {"three, Adobe 1", adobe(1) + kFrame + kScan, JPEG_COLOR_YCBCR},
      {"three, Adobe 2", adobe(2) + kFrame + kScan, JPEG_COLOR_YCCK},
      {"three, Adobe 3", adobe(3) + kFrame + kScan, JPEG_COLOR_NONE},
      {"one, nothing said", kGrayFrame + kGrayScan, JPEG_COLOR_GRAY},
      {"one, Adobe 0", adobe(0) + kGrayFrame + kGrayScan, JPEG_COLOR_GRAY},
      {"one, Adobe 1", adobe(1) + kGrayFrame + kGrayScan, JPEG_COLOR_GRAY},
      {"four, nothing said", kFourFrame + kFourScan, JPEG_COLOR_NONE},
      {"four, Adobe 0", adobe(0) + kFourFrame + kFourScan, JPEG_COLOR_CMYK},
      {"four, Adobe 2", adobe(2) + kFourFrame + kFourScan, JPEG_COLOR_YCCK},
      {"four, Adobe 1", adobe(1) + kFourFrame + kFourScan, JPEG_COLOR_YCBCR},
  };
  CJPEGDecoder decoder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded d = decode(decoder, kSOI + c.stream);
    EXPECT_EQ(d.header, 0);
    EXPECT_EQ(d.color, c.color);
    EXPECT_TRUE(d.guardsIntact);
  }
}

// What may not come in the data run, and how a run ends.
TEST(MarkerParser, DataRun) {
  CJPEGDecoder decoder;
  const Bytes good = encode({});
  const Bytes body(good.begin(), good.end() - 2);
  const Bytes lastScan = scan({0, 0x00, 1, 0x11, 2, 0x11});
  const Decoded reference = decode(decoder, good);
  ASSERT_EQ(reference.data, 0);
  const struct {
    const char* name;
    Bytes stream;
    int result;
  } cases[] = {
      {"no EOI", body, 0},
      {"another frame header", body + kFrame + kEOI, JPEG_BAD_FRAME_SEGMENT},
      {"a packet segment", body + Bytes{0xFF, 0xDE} + Bytes(20), JPEG_BAD_FRAME_SEGMENT},
      {"an unsupported frame", body + frame(0xC5, 8, 1, 1, {{0, 0x11, 0}}), JPEG_NOT_SUPPORTED},
      {"an unknown segment", body + segment(0xEB, {1, 2, 3}) + kEOI, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded d = decode(decoder, c.stream);
    EXPECT_EQ(d.data, c.result);
    EXPECT_EQ(d.pixels, reference.pixels);
  }
  // Three more scans: a frame of three components has at most three; the fourth ends the run.
  const Decoded more = decode(decoder, body + lastScan + lastScan + lastScan + kFrame);
  EXPECT_EQ(more.data, 0);
}

// Streams without tables are read with those of the image before on the same object.
TEST(MarkerParser, TablesCarryOver) {
  CJPEGDecoder decoder;
  const Bytes good = encode({});
  const Decoded reference = decode(decoder, good);
  Bytes abbreviated;
  for (std::size_t i = 0; i + 3 < good.size();) {
    const bool table = good[i] == 0xFF && (good[i + 1] == 0xC4 || good[i + 1] == 0xDB);
    const auto length = static_cast<std::size_t>(good[i + 2] << 8 | good[i + 3]);
    if (good[i + 1] == 0xDA) {
      abbreviated.insert(abbreviated.end(), good.begin() + static_cast<std::ptrdiff_t>(i),
                         good.end());
      break;
    }
    const std::size_t next = i + 2 + (good[i + 1] == 0xD8 ? 0 : length);
    if (!table) {
      abbreviated.insert(abbreviated.end(), good.begin() + static_cast<std::ptrdiff_t>(i),
                         good.begin() + static_cast<std::ptrdiff_t>(next));
    }
    i = next;
  }
  ASSERT_LT(abbreviated.size(), good.size() - 400);
  EXPECT_EQ(decode(decoder, abbreviated).pixels, reference.pixels);
  // On a new object there are none: every row fails, and the picture is one flat colour.
  CJPEGDecoder fresh;
  const Decoded bare = decode(fresh, abbreviated);
  EXPECT_EQ(bare.data, 0);
  EXPECT_EQ(bare.pixels, Bytes(bare.pixels.size(), 128));
}

}  // namespace
}  // namespace qrx::test
