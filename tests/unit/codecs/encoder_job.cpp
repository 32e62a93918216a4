// One image through CJPEGEncoder, for tests of its writers.
#include "tests/unit/codecs/encoder_job.h"

#include "tests/support/guarded_buffer.h"

namespace qrx::test {

void setUp(CJPEGEncoder& encoder, const EncoderJob& job, std::uint8_t* buffer) {
  encoder.Clean();
  const auto step = static_cast<int>(std::int64_t{job.channels} * job.size.width);
  encoder.SetSource(job.pixels.data(), step, {job.size.width, job.size.height}, job.channels,
                    job.source);
  encoder.SetDestination(buffer, job.capacity, job.quality, job.sampling, job.jpeg, job.mode,
                         job.restartInterval);
}

int writeImage(CJPEGEncoder& encoder, _JPEG_MODE mode) {
  switch (mode) {
    case JPEG_MODE_PROGRESSIVE: return encoder.WriteImageProgressive();
    case JPEG_MODE_LOSSLESS: return encoder.WriteImageLossless();
    default: return encoder.WriteImageBaseline();
  }
}

Coded encode(CJPEGEncoder& encoder, const EncoderJob& job) {
  GuardedBuffer buffer(static_cast<std::size_t>(job.capacity));
  setUp(encoder, job, buffer.data());
  Coded coded;
  coded.result = writeImage(encoder, job.mode);
  coded.bytes.assign(buffer.data(), buffer.data() + encoder.stream.position);
  coded.inBounds = buffer.guardsIntact() && encoder.stream.position <= job.capacity;
  return coded;
}

Coded encode(const EncoderJob& job) {
  CJPEGEncoder encoder;
  return encode(encoder, job);
}

Bytes hex(const std::string& digits) {
  Bytes bytes;
  int value = 0, count = 0;
  for (const char c : digits) {
    if (c == ' ') continue;
    value = value * 16 + (c <= '9' ? c - '0' : (c & ~32) - 'A' + 10);
    if (++count % 2 == 0) {
      bytes.push_back(static_cast<std::uint8_t>(value));
      value = 0;
    }
  }
  return bytes;
}

std::string hexText(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += "0123456789ABCDEF"[byte >> 4];
    text += "0123456789ABCDEF"[byte & 15];
    text += ' ';
  }
  return text;
}

}  // namespace qrx::test
