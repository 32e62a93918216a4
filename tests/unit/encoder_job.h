// One image through CJPEGEncoder.
#ifndef QRX_TESTS_UNIT_ENCODER_JOB_H_
#define QRX_TESTS_UNIT_ENCODER_JOB_H_

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "qrx/jpeg_encoder.h"
#include "tests/support/guarded_buffer.h"

namespace qrx::test {

struct EncoderJob {
  Bytes pixels;  // tightly packed
  Size size;
  int channels = 3;
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
  return {channelsOf(image, 1), image.size, 1, JPEG_COLOR_GRAY, JPEG_COLOR_GRAY};
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
  const auto step = static_cast<int>(std::int64_t{job.channels} * job.size.width);
  encoder.SetSource(job.pixels.data(), step, {job.size.width, job.size.height}, job.channels,
                    job.source);
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

// Two digits for every byte.
inline std::string hexText(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
  }
  return text;
}

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_ENCODER_JOB_H_
