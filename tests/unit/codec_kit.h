// One image through CJPEGEncoder or CJPEGDecoder, and the bytes of streams.
#ifndef QRX_TESTS_UNIT_CODEC_KIT_H_
#define QRX_TESTS_UNIT_CODEC_KIT_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"
#include "tests/support/guarded_buffer.h"

namespace qrx::test {

inline Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
inline Bytes byte(int value) { return {static_cast<std::uint8_t>(value)}; }
inline Bytes word(int value) { return byte(value >> 8) + byte(value); }

inline Bytes prefix(const Bytes& bytes, std::size_t length) {
  return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
}

// A packet function whose context is a vector of packets.
inline void collect(std::uint8_t* packet, int length, void* list) {
  static_cast<std::vector<Bytes>*>(list)->emplace_back(packet, packet + length);
}

// Two digits for every byte.
inline std::string hexText(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t value : bytes) {
    text += {"0123456789ABCDEF"[value >> 4], "0123456789ABCDEF"[value & 15]};
  }
  return text;
}

// Bytes of a pixel.
inline int channelsOf(_JPEG_COLOR color) {
  return color == JPEG_COLOR_GRAY ? 1 : color == JPEG_COLOR_RGB || color == JPEG_COLOR_BGR ? 3 : 4;
}

struct EncoderJob {
  Bytes pixels;  // tightly packed
  Size size;
  _JPEG_COLOR source = JPEG_COLOR_BGR;
  _JPEG_COLOR jpeg = JPEG_COLOR_YCBCR;
  _JPEG_SAMPLING sampling = JPEG_SAMPLING_420;
  int quality = 75;
  _JPEG_MODE mode = JPEG_MODE_BASELINE;
  int restartInterval = 0;
  int capacity = 1 << 20;
};

// A job that codes a picture from BGR to YCbCr, or from its first channel to gray.
inline EncoderJob colourJob(const Image& image) { return {channelsOf(image, 3), image.size}; }
inline EncoderJob grayJob(const Image& image) {
  return {channelsOf(image, 1), image.size, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY};
}

inline std::ostream& operator<<(std::ostream& out, const EncoderJob& job) {
  return out << job.size.width << "x" << job.size.height << " colour " << job.source << " to "
             << job.jpeg << ", sampling " << job.sampling << ", quality " << job.quality
             << ", mode " << job.mode << ", interval " << job.restartInterval << ", capacity "
             << job.capacity;
}

// Clean, SetSource and SetDestination for a job, whose stream goes to `buffer`.
inline void setUp(CJPEGEncoder& encoder, const EncoderJob& job, std::uint8_t* buffer) {
  encoder.Clean();
  const int channels = channelsOf(job.source);
  encoder.SetSource(job.pixels.data(), static_cast<int>(std::int64_t{channels} * job.size.width),
                    {job.size.width, job.size.height}, channels, job.source);
  encoder.SetDestination(buffer, job.capacity, job.quality, job.sampling, job.jpeg, job.mode,
                         job.restartInterval);
}

inline int writeImage(CJPEGEncoder& encoder, _JPEG_MODE mode) {
  if (mode == JPEG_MODE_PROGRESSIVE) return encoder.WriteImageProgressive();
  return mode == JPEG_MODE_LOSSLESS ? encoder.WriteImageLossless() : encoder.WriteImageBaseline();
}

struct Coded {
  int result;
  Bytes bytes;  // what stands in the stream
};

// The whole job, which must stay within its capacity.
inline Coded encode(CJPEGEncoder& encoder, const EncoderJob& job) {
  GuardedBuffer buffer(static_cast<std::size_t>(job.capacity));
  setUp(encoder, job, buffer.data());
  const int result = writeImage(encoder, job.mode);
  EXPECT_TRUE(buffer.guardsIntact()) << job;
  EXPECT_LE(encoder.stream.position, job.capacity) << job;
  return {result, Bytes(buffer.data(), buffer.data() + encoder.stream.position)};
}
inline Coded encode(const EncoderJob& job) {
  CJPEGEncoder encoder;
  return encode(encoder, job);
}

// What came of a stream.
struct Decoded {
  int header = 0, data = 0;  // results of the two runs
  Size size;
  int channels = 0, precision = 0;
  _JPEG_COLOR color = JPEG_COLOR_NONE;
  int lines = 0;  // that were written, from the top
  Bytes pixels;   // GuardedBuffer::kFill where nothing was written
};

// One decoder, through which a test's streams go one after the other.
class DecoderTest : public testing::Test {
 protected:
  // Decodes into a destination that is larger than the picture by `extra`. Large frames, which
  // damage makes, are only looked at.
  Decoded decode(const Bytes& stream, _JPEG_COLOR destination = JPEG_COLOR_BGR, Size extra = {}) {
    const Bytes source(stream);  // of exactly the size, so that a sanitizer sees reads behind it
    Decoded d;
    decoder_.Clean();
    decoder_.Reset();
    decoder_.SetSource(source.data(), static_cast<int>(source.size()));
    _JPEG_SAMPLING sampling;
    d.header = decoder_.ReadHeader(&d.size.width, &d.size.height, &d.channels, &d.color, &sampling,
                                   &d.precision);
    if (d.header != 0 || std::int64_t{d.size.width} * d.size.height > 1 << 14) return d;

    const int width = d.size.width + extra.width, height = d.size.height + extra.height;
    const int channels = channelsOf(destination);
    GuardedBuffer buffer(static_cast<std::size_t>(width * height * channels));
    const auto into = [&](auto* target) {
      decoder_.SetDestination(target, width * channels, {width, height}, channels, destination, 8);
    };
    // The overload for wider samples gets bytes all the same.
    if (d.precision > 8) into(reinterpret_cast<Ipp16s*>(buffer.data()));
    if (d.precision <= 8) into(buffer.data());
    d.data = decoder_.ReadData();
    EXPECT_TRUE(buffer.guardsIntact());
    d.pixels = buffer.content();
    // Lossless lines are one packed channel.
    const int step = decoder_.mode == JPEG_MODE_LOSSLESS ? width : width * channels;
    const auto isUntouched = [](std::uint8_t byte) { return byte == GuardedBuffer::kFill; };
    const auto untouched = std::find_if_not(d.pixels.rbegin(), d.pixels.rend(), isUntouched);
    if (step > 0) d.lines = static_cast<int>((d.pixels.rend() - untouched + step - 1) / step);
    return d;
  }

  CJPEGDecoder decoder_;
};

// A marker with its length word and payload.
inline Bytes segment(int marker, const Bytes& payload) {
  return byte(0xFF) + byte(marker) + word(static_cast<int>(payload.size()) + 2) + payload;
}

// Three bytes for every component: name, factors, quantisation table.
inline Bytes frame(int marker, int precision, const Bytes& components, Size size = {24, 16}) {
  return segment(marker, byte(precision) + word(size.height) + word(size.width) +
                             byte(static_cast<int>(components.size() / 3)) + components);
}

// Two bytes for every component: name, Huffman tables.
inline Bytes scan(const Bytes& components, int ss = 0, int se = 63, int approximation = 0) {
  return segment(0xDA, byte(static_cast<int>(components.size() / 2)) + components + byte(ss) +
                           byte(se) + byte(approximation));
}

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_CODEC_KIT_H_
