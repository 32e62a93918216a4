// Hand-made JPEG streams and one decode of them.
#ifndef QRX_TESTS_UNIT_DECODER_STREAM_KIT_H_
#define QRX_TESTS_UNIT_DECODER_STREAM_KIT_H_

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "qrx/jpeg_decoder.h"

namespace qrx::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

inline Bytes word(int value) {
  return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

// A marker with its length word and payload.
inline Bytes segment(int marker, const Bytes& payload) {
  return Bytes{0xFF, static_cast<std::uint8_t>(marker)} +
         word(static_cast<int>(payload.size()) + 2) + payload;
}

inline Bytes text(const char* chars, std::size_t length) { return Bytes(chars, chars + length); }

const Bytes kSOI = {0xFF, 0xD8};
const Bytes kEOI = {0xFF, 0xD9};

struct Component {
  std::uint8_t id, factors, table;
};

inline Bytes frame(int marker, int precision, int width, int height,
                   const std::vector<Component>& components) {
  Bytes payload = Bytes{static_cast<std::uint8_t>(precision)} + word(height) + word(width) +
                  Bytes{static_cast<std::uint8_t>(components.size())};
  for (const Component& c : components) payload = payload + Bytes{c.id, c.factors, c.table};
  return segment(marker, payload);
}

inline Bytes scan(const Bytes& idsAndTables, int ss = 0, int se = 63, int approximation = 0) {
  return segment(0xDA, Bytes{static_cast<std::uint8_t>(idsAndTables.size() / 2)} + idsAndTables +
                           Bytes{static_cast<std::uint8_t>(ss), static_cast<std::uint8_t>(se),
                                 static_cast<std::uint8_t>(approximation)});
}

inline const std::vector<Component>& threeComponents() {
  static const auto* const components =
      new std::vector<Component>{{0, 0x11, 0}, {1, 0x11, 1}, {2, 0x11, 1}};
  return *components;
}

// What a decoder made of a stream. The destination has guard bytes behind it.
struct Decoded {
  int header = 0, data = 0;
  int width = 0, height = 0, channels = 0, precision = 0;
  _JPEG_COLOR color = JPEG_COLOR_NONE;
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_OTHER;
  int lines = 0;
  Bytes pixels;
  bool guardsIntact = true;
};

struct DecodeOptions {
  _JPEG_COLOR destination = JPEG_COLOR_BGR;
  int channels = 3;
  int extraWidth = 0, extraHeight = 0;  // on the destination's size
  int maxPixels = 1 << 20;              // larger frames are only looked at
};

Decoded decode(CJPEGDecoder& decoder, const Bytes& stream, const DecodeOptions& options = {});

// Streams of our own encoder.
struct EncodeOptions {
  int width = 40, height = 40;
  _JPEG_COLOR source = JPEG_COLOR_BGR, jpeg = JPEG_COLOR_YCBCR;
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_420;
  _JPEG_MODE mode = JPEG_MODE_BASELINE;
  int restartInterval = 0;
};
Bytes encode(const EncodeOptions& options);
// The pixels that encode() compresses, tightly packed in the source's channels.
Bytes sourcePixels(const EncodeOptions& options);

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_DECODER_STREAM_KIT_H_
