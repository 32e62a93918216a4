// What encoder and decoder share: error texts and the byte cursor.
#include "qrx/jpeg_types.h"

#include <gtest/gtest.h>

namespace {

TEST(JpegErrors, HaveTexts) {
  const char* const texts[] = {"no error",
                               "not supported",
                               "internal error",
                               "buffer too small",
                               "out of memory",
                               "bad segment length",
                               "bad huffman table",
                               "bad quant segment",
                               "bad scan segment",
                               "bad frame segment",
                               "bad component id",
                               "bad sampling factors",
                               "wrong restart marker"};
  for (int i = 0; i < 13; ++i) EXPECT_STREQ(GetErrorStr(static_cast<_JPEG_ERROR>(-i)), texts[i]);
  for (const int code : {1, -13, 15, -16}) {
    EXPECT_STREQ(GetErrorStr(static_cast<_JPEG_ERROR>(code)), "unknown code") << code;
  }
}

_bitstream over(std::uint8_t* data, int capacity) {
  _bitstream stream;
  stream.data = data;
  stream.capacity = capacity;
  return stream;
}

TEST(ByteStream, WritesBigEndianUpToItsCapacity) {
  std::uint8_t data[8] = {};
  _bitstream stream = over(data, 7);
  EXPECT_EQ(stream._WRITE_32BIT(static_cast<int>(0x89ABCDEF)), 0);
  EXPECT_EQ(stream._WRITE_WORD(0x12345), 0);
  EXPECT_EQ(stream._WRITE_WORD(0x6789), JPEG_BUFFER_TOO_SMALL);  // the high byte still fits
  EXPECT_EQ(stream.position, 7);
  EXPECT_EQ(stream._WRITE_BYTE(1), JPEG_BUFFER_TOO_SMALL);
  const std::uint8_t expected[8] = {0x89, 0xAB, 0xCD, 0xEF, 0x23, 0x45, 0x67, 0};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(data[i], expected[i]) << i;

  EXPECT_EQ(over(nullptr, 0)._WRITE_BYTE(1), JPEG_BUFFER_TOO_SMALL);
}

TEST(ByteStream, ReadsBigEndianAndLeavesTheTargetAtTheEnd) {
  std::uint8_t data[] = {0x89, 0xAB, 0xCD, 0xEF, 0x23, 0x45, 0x67};
  _bitstream stream = over(data, 7);
  int value = 0;
  EXPECT_EQ(stream._READ_32BIT(&value), 0);
  EXPECT_EQ(value, static_cast<int>(0x89ABCDEF));
  EXPECT_EQ(stream._READ_WORD(&value), 0);
  EXPECT_EQ(value, 0x2345);
  EXPECT_EQ(stream._READ_WORD(&value), JPEG_BUFFER_TOO_SMALL);
  EXPECT_EQ(value, 0x2345);
  EXPECT_EQ(stream.position, 7);
  EXPECT_EQ(stream._READ_BYTE(&value), JPEG_BUFFER_TOO_SMALL);
  EXPECT_EQ(stream._READ_32BIT(&value), JPEG_BUFFER_TOO_SMALL);
  EXPECT_EQ(value, 0x2345);
}

TEST(ByteStream, CopiesARecordAsItStands) {
  std::uint8_t data[5] = {};
  const std::uint8_t record[] = {1, 2, 3};
  _bitstream stream = over(data, 5);
  stream.position = 1;
  EXPECT_EQ(stream._REVERSE_WRITE_HEADER(record, 3), 0);
  EXPECT_EQ(stream.position, 4);
  const std::uint8_t expected[5] = {0, 1, 2, 3, 0};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(data[i], expected[i]) << i;
}

}  // namespace
