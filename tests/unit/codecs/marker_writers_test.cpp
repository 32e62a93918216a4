// Every marker segment of the encoder, byte for byte, and the room that it asks for.
#include <gtest/gtest.h>

#include <functional>

#include "qrx/jpeg_encoder.h"
#include "tests/support/guarded_buffer.h"
#include "tests/unit/codecs/encoder_job.h"

namespace qrx::test {
namespace {

const std::string kBanner = "JPEG encoder based on veigri [7.1.37466] - Sep 24 2012";

std::string textAsHex(const std::string& text) { return hexText(Bytes(text.begin(), text.end())); }

struct SegmentCase {
  const char* name;
  std::function<int(CJPEGEncoder&)> write;
  int room;  // the value of the length word; 2 without one
  std::string bytes;
};

std::vector<SegmentCase> segmentCases() {
  static const int kPair[] = {2, 0};
  static CJPEGEncoderHuffmanTable table, emptyTable;
  table.id = 1;
  table.hclass = 1;
  table.bits[1] = 2;
  table.bits[4] = 1;
  for (int i = 0; i < 3; ++i) table.values[i] = static_cast<Ipp8u>(i + 5);
  static CJPEGEncoderQuantTable quant;
  quant.id = 1;
  std::string entries;
  for (int i = 0; i < 64; ++i) {
    quant.raw[i] = static_cast<Ipp8u>(i + 100);
    entries += hexText({quant.raw[i]});
  }
  return {
      {"SOI", [](auto& e) { return e.WriteSOI(); }, 2, "FFD8"},
      {"EOI", [](auto& e) { return e.WriteEOI(); }, 2, "FFD9"},
      {"RST", [](auto& e) { return e.WriteRST(7); }, 2, "FFD7"},
      {"APP0", [](auto& e) { return e.WriteAPP0(); }, 16,
       "FFE0 0010 4A46494600 0102 00 0001 0001 00 00"},
      {"APP14", [](auto& e) { return e.WriteAPP14(); }, 14,
       "FFEE 000E 41646F6265 0064 0000 0000 01"},
      {"COM", [](auto& e) { return e.WriteCOM(nullptr); }, 56, "FFFE 0038" + textAsHex(kBanner)},
      {"COM text", [](auto& e) { return e.WriteCOM("abc"); }, 6, "FFFE 0006 61626300"},
      {"COM empty", [](auto& e) { return e.WriteCOM(""); }, 3, "FFFE 0003 00"},
      {"DQT", [](auto& e) { return e.WriteDQT(&quant); }, 67, "FFDB 0043 01" + entries},
      {"SOF0", [](auto& e) { return e.WriteSOF0(); }, 17,
       "FFC0 0011 08 0102 0304 03 002200 011101 021101"},
      {"SOF1", [](auto& e) { return e.WriteSOF1(); }, 17,
       "FFC1 0011 08 0102 0304 03 002200 011101 021101"},
      {"SOF2", [](auto& e) { return e.WriteSOF2(); }, 17,
       "FFC2 0011 08 0102 0304 03 002200 011101 021101"},
      {"SOF3", [](auto& e) { return e.WriteSOF3(); }, 17,
       "FFC3 0011 08 0102 0304 03 002200 011101 021101"},
      {"DHT", [](auto& e) { return e.WriteDHT(&table); }, 22,
       "FFC4 0016 11 00020000 01000000 00000000 00000000 050607"},
      {"DHT empty", [](auto& e) { return e.WriteDHT(&emptyTable); }, 19,
       "FFC4 0013 00 00000000 00000000 00000000 00000000"},
      {"DRI", [](auto& e) { return e.WriteDRI(0x1234); }, 4, "FFDD 0004 1234"},
      {"SOS", [](auto& e) { return e.WriteSOS(); }, 12, "FFDA 000C 03 0000 0111 0211 00 3F 00"},
      {"SOS of some", [](auto& e) { return e.WriteSOS(2, kPair, 1, 5, 0x12, 0x21); }, 10,
       "FFDA 000A 02 0211 0000 01 05 21"},
  };
}

class MarkerWriters : public testing::Test {
 protected:
  // An encoder that writes behind `position` bytes of a buffer.
  void place(int position, int capacity) {
    EncoderJob job;
    job.size = {0x0304, 0x0102};
    job.capacity = capacity;
    job.restartInterval = 9;
    buffer.refill();
    setUp(encoder, job, buffer.data());
    ASSERT_EQ(encoder.Init(), 0);
    encoder.stream.position = position;
  }

  GuardedBuffer buffer{200};
  CJPEGEncoder encoder;
};

TEST_F(MarkerWriters, WriteTheirSegments) {
  for (const SegmentCase& c : segmentCases()) {
    place(3, buffer.size());
    EXPECT_EQ(c.write(encoder), 0) << c.name;
    const Bytes written(buffer.data() + 3, buffer.data() + encoder.stream.position);
    EXPECT_EQ(hexText(written), hexText(hex(c.bytes))) << c.name;
  }
}

// The room test asks for the length field and one byte more; what the marker then takes beyond the
// capacity is cut off.
TEST_F(MarkerWriters, AskForRoom) {
  for (const SegmentCase& c : segmentCases()) {
    place(3, 3 + c.room);
    EXPECT_EQ(c.write(encoder), JPEG_BUFFER_TOO_SMALL) << c.name;
    EXPECT_TRUE(buffer.isUntouched()) << c.name;
    EXPECT_EQ(encoder.stream.position, 3) << c.name;
    place(3, 3 + c.room + 1);
    EXPECT_EQ(c.write(encoder), 0) << c.name;
    EXPECT_LE(encoder.stream.position, 3 + c.room + 1) << c.name;
    EXPECT_EQ(buffer.data()[3 + c.room + 1], GuardedBuffer::kFill) << c.name;
  }
}

TEST_F(MarkerWriters, NameTheColourTransform) {
  for (int color = 0; color < 7; ++color) {
    place(0, buffer.size());
    encoder.jpeg_color = static_cast<_JPEG_COLOR>(color);
    EXPECT_EQ(encoder.WriteAPP14(), 0);
    EXPECT_EQ(buffer.data()[15], color == JPEG_COLOR_YCBCR ? 1 : color == JPEG_COLOR_YCCK ? 2 : 0);
  }
}

TEST_F(MarkerWriters, CountRestarts) {
  place(0, buffer.size());
  encoder.restarts_to_go = 1;
  encoder.next_restart = 5;
  EXPECT_EQ(encoder.WriteDRI(3), 0);
  EXPECT_EQ(encoder.restarts_to_go, 9);
  EXPECT_EQ(encoder.next_restart, 0);
  for (const auto& [number, next] : {std::pair{0, 1}, {6, 7}, {7, 0}}) {
    EXPECT_EQ(encoder.WriteRST(number), 0);
    EXPECT_EQ(encoder.next_restart, next);
  }
}

TEST_F(MarkerWriters, RefuseACommentThatItsLengthWordCannotCarry) {
  Bytes large(70000);
  EncoderJob job;
  job.capacity = 70000;
  setUp(encoder, job, large.data());
  EXPECT_EQ(encoder.WriteCOM(std::string(65533, 'x').c_str()), JPEG_BAD_SEGMENT_LENGTH);
  EXPECT_EQ(encoder.stream.position, 0);
  EXPECT_EQ(encoder.WriteCOM(std::string(65532, 'x').c_str()), 0);
  EXPECT_EQ(encoder.stream.position, 65537);
  EXPECT_EQ(hexText(Bytes(large.begin(), large.begin() + 4)), "FF FE FF FF ");
}

}  // namespace
}  // namespace qrx::test
