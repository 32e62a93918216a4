// JPEG streams made by hand, and their way through a decoder.
#ifndef QRX_TESTS_UNIT_DECODER_STREAM_KIT_H_
#define QRX_TESTS_UNIT_DECODER_STREAM_KIT_H_

#include <gtest/gtest.h>

#include <vector>

#include "qrx/jpeg_decoder.h"
#include "tests/support/guarded_buffer.h"

namespace qrx::test {

inline Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

inline Bytes byte(int value) { return {static_cast<std::uint8_t>(value)}; }
inline Bytes word(int value) { return byte(value >> 8) + byte(value); }

// A marker with its length word and payload.
inline Bytes segment(int marker, const Bytes& payload) {
  return byte(0xFF) + byte(marker) + word(static_cast<int>(payload.size()) + 2) + payload;
}

struct Component {
  std::uint8_t id, factors, table;
};

inline Bytes frame(int marker, int precision, const std::vector<Component>& components,
                   Size size = {24, 16}) {
  Bytes payload = byte(precision) + word(size.height) + word(size.width) +
                  byte(static_cast<int>(components.size()));
  for (const Component& c : components) payload = payload + Bytes{c.id, c.factors, c.table};
  return segment(marker, payload);
}

inline Bytes scan(const Bytes& idsAndTables, int ss = 0, int se = 63, int approximation = 0) {
  return segment(0xDA, byte(static_cast<int>(idsAndTables.size() / 2)) + idsAndTables + byte(ss) +
                           byte(se) + byte(approximation));
}

inline Bytes prefix(const Bytes& stream, std::size_t length) {
  return Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length));
}

// What came of a stream.
struct Decoded {
  int header = 0, data = 0;  // results of the two runs
  Size size;
  int channels = 0, precision = 0;
  _JPEG_COLOR color = JPEG_COLOR_NONE;
  int lines = 0;
  Bytes pixels;  // GuardedBuffer::kFill where nothing was written
};

// One decoder, through which a test's streams go one after the other.
class DecoderTest : public testing::Test {
 protected:
  // Decodes into a destination that is larger than the picture by `extra`. Large frames are only
  // looked at.
  Decoded decode(const Bytes& stream, _JPEG_COLOR destination = JPEG_COLOR_BGR, Size extra = {});

 private:
  CJPEGDecoder decoder_;
};

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_DECODER_STREAM_KIT_H_
