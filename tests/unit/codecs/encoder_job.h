// One image through CJPEGEncoder, for tests of its writers.
#ifndef QRX_TESTS_UNIT_CODECS_ENCODER_JOB_H_
#define QRX_TESTS_UNIT_CODECS_ENCODER_JOB_H_

#include <ostream>
#include <string>

#include "qrx/jpeg_encoder.h"
#include "tests/support/pictures.h"

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
inline EncoderJob colourJob(const Image& image) { return {threeChannels(image), image.size}; }
inline EncoderJob grayJob(const Image& image) {
  EncoderJob job{oneChannel(image), image.size, 1};
  job.source = job.jpeg = JPEG_COLOR_GRAY;
  return job;
}

struct Coded {
  int result = JPEG_NO_ERROR;
  Bytes bytes;  // what stands in the stream
  bool inBounds = true;
};

// Clean, SetSource and SetDestination for a job, whose stream goes to `buffer`.
void setUp(CJPEGEncoder& encoder, const EncoderJob& job, std::uint8_t* buffer);
int writeImage(CJPEGEncoder& encoder, _JPEG_MODE mode);
// The whole job.
Coded encode(CJPEGEncoder& encoder, const EncoderJob& job);
Coded encode(const EncoderJob& job);

// The bytes that a text of hexadecimal digits and spaces stands for.
Bytes hex(const std::string& digits);
std::string hexText(const Bytes& bytes);

inline std::ostream& operator<<(std::ostream& out, const EncoderJob& job) {
  return out << job.size.width << "x" << job.size.height << " colour " << job.source << " to "
             << job.jpeg << ", sampling " << job.sampling << ", quality " << job.quality
             << ", mode " << job.mode << ", interval " << job.restartInterval << ", capacity "
             << job.capacity;
}

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_CODECS_ENCODER_JOB_H_
