// The walk over a stream's markers.
#include <gtest/gtest.h>

#include "tests/support/process.h"
#include "tests/unit/codec_kit.h"
#include "tools/jpeg/walk.h"

namespace qrx::test {
namespace {

const Bytes kOne = {0, 0x11, 0}, kThree = {0, 0x11, 0, 1, 0x11, 1, 2, 0x11, 1};
const Bytes kFrame = frame(0xC0, 8, kThree), kScan = scan({0, 0x00, 1, 0x11, 2, 0x11});
// Whole headers of one, three and four components.
const Bytes kGray = frame(0xC0, 8, {7, 0x11, 0}) + scan({7, 0x00}), kColour = kFrame + kScan,
            kFour = frame(0xC0, 8, kThree + Bytes{3, 0x11, 0}) + scan({0, 0, 1, 0, 2, 0, 3, 0});

using MarkerParser = DecoderTest;

TEST_F(MarkerParser, HeaderResults) {
  const struct {
    const char* name;
    Bytes stream;
    int result, channels = 0;
  } cases[] = {
      {"empty", {}, 0},
      {"SOI and EOI only", {0xFF, 0xD8, 0xFF, 0xD9}, 0},
      {"no SOI", kColour, 0, 3},
      {"garbage, fill bytes and a stuffed byte in front of markers",
       Bytes{1, 2, 0xFF, 0x00, 3, 0xFF, 0xD8, 0xFF, 0xFF} + kFrame + byte(0xFF) + kScan, 0, 3},
      {"restart markers in front of a frame", Bytes{0xFF, 0xD0, 0xFF, 0xD7} + kColour, 0, 3},
      {"stray bytes at the end", {0xFF, 0xD8, 1, 2}, JPEG_BUFFER_TOO_SMALL},
      {"SOS before any frame", kScan, JPEG_BAD_COMPONENT_ID},
      {"frame without components", frame(0xC0, 8, {}) + kScan, JPEG_BAD_COMPONENT_ID},
      {"five components", frame(0xC0, 8, kThree + kOne + kOne), JPEG_BAD_FRAME_SEGMENT},
      {"one of three components", kFrame + scan({0, 0}), JPEG_NOT_SUPPORTED},
      {"the same in a progressive frame", frame(0xC2, 8, kThree) + scan({0, 0}), 0, 3},
      {"12 bits", frame(0xC1, 12, kThree), JPEG_NOT_SUPPORTED},
      {"arithmetic coding", frame(0xC9, 8, kThree), JPEG_NOT_SUPPORTED},
      {"lossless of three components", frame(0xC3, 8, kThree), JPEG_NOT_SUPPORTED},
      {"lossless of 17 bits", frame(0xC3, 17, kOne), JPEG_BAD_FRAME_SEGMENT},
      {"point transform 8 of 8 bits", frame(0xC3, 8, kOne) + scan({0, 0}, 1, 0, 8),
       JPEG_BAD_SCAN_SEGMENT},
      {"factor 0", frame(0xC0, 8, {0, 0x10, 0}), JPEG_BAD_FRAME_SEGMENT},
      {"quantisation selector 4", frame(0xC0, 8, {0, 0x11, 4}), JPEG_BAD_FRAME_SEGMENT},
      {"gray with factors 2x2", frame(0xC0, 8, {0, 0x22, 0}), JPEG_BAD_SAMPLING},
      {"a layout of its own", frame(0xC0, 8, {0, 0x22, 0, 1, 0x21, 0, 2, 0x21, 0}) + kScan, 0, 3},
      {"Huffman selector 4", kFrame + scan({0, 0x04, 1, 0x11, 2, 0x11}), JPEG_BAD_SCAN_SEGMENT},
      {"Huffman table 4", segment(0xC4, byte(4) + Bytes(16)), JPEG_BAD_HUFFMAN_TABLE},
      {"more codes than bytes", segment(0xC4, Bytes{0, 9} + Bytes(15)), JPEG_BAD_HUFFMAN_TABLE},
      {"three codes of one bit", segment(0xC4, Bytes{0, 3} + Bytes(15) + Bytes{1, 2, 3}),
       JPEG_INTERNAL_ERROR},
      {"bytes left over in DHT", segment(0xC4, Bytes(17 + 5)), JPEG_BAD_SEGMENT_LENGTH},
      {"quantisation table 4", segment(0xDB, byte(4) + Bytes(64)), JPEG_BAD_QUANT_SEGMENT},
      {"8-bit and 16-bit entries", segment(0xDB, Bytes(65) + byte(0x11) + Bytes(128)) + kColour, 0,
       3},
      {"quantisation precision 2", segment(0xDB, byte(0x20) + Bytes(128)), JPEG_BAD_SEGMENT_LENGTH},
      {"DRI of three bytes", segment(0xDD, {0, 1, 2}), JPEG_BAD_SEGMENT_LENGTH},
      {"length word 0", {0xFF, 0xE5, 0, 0, 9}, JPEG_BAD_SEGMENT_LENGTH},
      {"comment of length word 1", {0xFF, 0xFE, 0, 1, 9}, JPEG_BAD_SEGMENT_LENGTH},
      {"a length that ends the data", {0xFF, 0xE5, 0, 2}, JPEG_BUFFER_TOO_SMALL},
      {"a segment beyond the end", {0xFF, 0xE5, 0, 200, 1}, JPEG_BUFFER_TOO_SMALL},
      {"JFIF cut off in its name", {0xFF, 0xE0, 0, 16, 'J', 'F'}, JPEG_BUFFER_TOO_SMALL},
      {"no components named in the scan", kFrame + scan({}), JPEG_BAD_SCAN_SEGMENT},
      {"wrong scan length", frame(0xC0, 8, kOne) + segment(0xDA, {1, 0, 0, 0, 63}),
       JPEG_BAD_SEGMENT_LENGTH},
      {"DAC, DNL, EXP and JPGn are passed over",
       segment(0xCC, {1}) + segment(0xDC, {1}) + segment(0xDF, {1}) + segment(0xF3, {1}) + kGray, 0,
       1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded d = decode(c.stream);
    EXPECT_EQ(d.header, c.result);
    EXPECT_EQ(d.channels, c.channels);
    EXPECT_EQ(d.size, (c.channels == 0 ? Size{} : Size{24, 16}));
  }
}

// By itself, and behind a picture.
TEST_F(MarkerParser, TellsOfABadQuantTable) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(errorsOf([this] { decode(segment(0xDB, byte(4) + Bytes(64))); }),
              "JPEG_BAD_QUANT_SEGMENT at codecs/jpeg/library/decoder:85\nParseDQT failed\n");
    EXPECT_EQ(decode(encode(colourJob(scenePicture({16, 16}))).bytes).lines, 16);
  }
}

TEST_F(MarkerParser, ColourSpace) {
  const Bytes jfif = segment(0xE0, Bytes{'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0});
  const auto adobe = [](int transform) {
    return segment(0xEE, Bytes{'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0} + byte(transform));
  };
  const std::pair<Bytes, _JPEG_COLOR> cases[] = {
      {kColour, JPEG_COLOR_YCBCR},
      {jfif + kColour, JPEG_COLOR_YCBCR},
      {jfif + adobe(0) + kColour, JPEG_COLOR_RGB},
      {adobe(1) + kColour, JPEG_COLOR_YCBCR},
      {adobe(2) + kColour, JPEG_COLOR_YCCK},
      {adobe(3) + kColour, JPEG_COLOR_NONE},
      {kGray, JPEG_COLOR_GRAY},
      {adobe(0) + kGray, JPEG_COLOR_GRAY},
      {adobe(1) + kGray, JPEG_COLOR_GRAY},
      {kFour, JPEG_COLOR_NONE},
      {adobe(0) + kFour, JPEG_COLOR_CMYK},
      {adobe(2) + kFour, JPEG_COLOR_YCCK},
      {adobe(1) + kFour, JPEG_COLOR_YCBCR},
  };
  for (const auto& c : cases) {
    const Decoded d = decode(c.first);
    EXPECT_EQ(d.header, 0) << &c - cases;
    EXPECT_EQ(d.color, c.second) << &c - cases;
  }
}

// What may not come in the data run, and how a run ends.
TEST_F(MarkerParser, DataRun) {
  EncoderJob job = colourJob(scenePicture({40, 40}));
  job.restartInterval = 2;
  const Bytes good = encode(job).bytes;
  const Bytes body = prefix(good, good.size() - 2), eoi = {0xFF, 0xD9};
  Bytes renumbered = body;
  for (std::size_t i = tool::walkJpeg(good).scans.at(0).dataOffset; i + 1 < body.size(); ++i) {
    if (body[i] == 0xFF && body[i + 1] != 0) renumbered[i + 1] = 0xD5;
  }
  EXPECT_NE(renumbered, body);
  const Bytes pixels = decode(good).pixels;
  const struct {
    const char* name;
    Bytes stream;
    int result;
  } cases[] = {
      {"whole", good, 0},
      {"no EOI", body, 0},
      {"restart markers of one number", renumbered, 0},
      {"another frame header", body + kFrame + eoi, JPEG_BAD_FRAME_SEGMENT},
      {"a packet segment", body + Bytes{0xFF, 0xDE} + Bytes(20), JPEG_BAD_FRAME_SEGMENT},
      {"an unsupported frame", body + frame(0xC5, 8, kOne), JPEG_NOT_SUPPORTED},
      {"an unknown segment", body + segment(0xEB, {1, 2, 3}) + eoi, 0},
  };
  for (const auto& c : cases) {
    const Decoded d = decode(c.stream);
    EXPECT_EQ(d.data, c.result) << c.name;
    EXPECT_EQ(d.pixels, pixels) << c.name;
  }
  // A frame of three components has at most three scans; the fourth ends the run.
  EXPECT_EQ(decode(body + kScan + kScan + kScan + kFrame).data, 0);
}

TEST_F(MarkerParser, CommentAndExtensionOfTheFileFormat) {
  const Bytes name = {'J', 'F', 'X', 'X', 0};
  EXPECT_EQ(decode(segment(0xE0, name) + kGray).header, 0);
  EXPECT_EQ(decoder_.jfxx_found, 0);
  EXPECT_EQ(decode(segment(0xE0, name + byte(0x13)) + segment(0xFE, {'h', 'i'}) + kGray).header, 0);
  EXPECT_EQ(decoder_.jfxx_found, 1);
  EXPECT_EQ(decoder_.jfxx_thumb_type, 0x13);
  EXPECT_EQ(decoder_.comment_length, 2);
  EXPECT_STREQ(reinterpret_cast<const char*>(decoder_.comment), "hi");
}

// Streams without tables are read with those of the image before on the same object.
TEST_F(MarkerParser, TablesCarryOver) {
  const Bytes good = encode(colourJob(scenePicture({40, 40}))).bytes;
  const auto segments = tool::walkJpeg(good).segments;
  Bytes abbreviated = good;
  for (auto s = segments.rbegin(); s != segments.rend(); ++s) {
    if (s->marker != 0xC4 && s->marker != 0xDB) continue;
    const auto begin = abbreviated.begin() + static_cast<std::ptrdiff_t>(s->offset);
    abbreviated.erase(begin, begin + static_cast<std::ptrdiff_t>(s->size));
  }
  // There are none yet: every row fails, and the picture is one flat colour.
  const Decoded bare = decode(abbreviated);
  EXPECT_EQ(bare.data, 0);
  EXPECT_EQ(bare.lines, 40);
  EXPECT_EQ(bare.pixels, Bytes(bare.pixels.size(), 128));
  const Bytes pixels = decode(good).pixels;
  EXPECT_NE(pixels, bare.pixels);
  EXPECT_EQ(decode(abbreviated).pixels, pixels);
}

}  // namespace
}  // namespace qrx::test
