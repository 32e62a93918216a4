// The coder classes, used directly: a picture goes out as a progressive and as a lossless JPEG and
// comes back. docs/coder_classes.md walks through this program.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

namespace {

struct Picture {
  int width;
  int height;
  int channels;  // 1 for gray, 3 for blue, green, red
  std::vector<std::uint8_t> pixels;

  int step() const { return width * channels; }
};

Picture gradient(int width, int height, int channels) {
  Picture picture = {width, height, channels, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        picture.pixels.push_back(static_cast<std::uint8_t>(x + 2 * y + 80 * c));
      }
    }
  }
  return picture;
}

// [encode]
// Compresses `picture` in `mode`. An empty stream tells that the encoder failed.
std::vector<std::uint8_t> encode(CJPEGEncoder& encoder, const Picture& picture, _JPEG_MODE mode) {
  const bool gray = picture.channels == 1;
  // Room for the raw picture and the headers; a stream that needs more is an error.
  std::vector<std::uint8_t> stream(picture.pixels.size() * 2 + 4096);

  encoder.Clean();
  encoder.SetSource(picture.pixels.data(), picture.step(), {picture.width, picture.height},
                    picture.channels, gray ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR);
  encoder.SetDestination(stream.data(), static_cast<int>(stream.size()), 90, JPEG_SAMPLING_420,
                         gray ? JPEG_COLOR_GRAY : JPEG_COLOR_YCBCR, mode, 0);
  const int result = mode == JPEG_MODE_PROGRESSIVE ? encoder.WriteImageProgressive()
                     : mode == JPEG_MODE_LOSSLESS  ? encoder.WriteImageLossless()
                                                   : encoder.WriteImageBaseline();
  if (result != JPEG_NO_ERROR) {
    std::fprintf(stderr, "encode: %s\n", GetErrorStr(static_cast<_JPEG_ERROR>(result)));
    return {};
  }
  stream.resize(static_cast<std::size_t>(encoder.stream.position));
  return stream;
}
// [encode]

// [decode]
// Decodes a stream into a picture of one or three channels; no pixels on failure.
Picture decode(CJPEGDecoder& decoder, const std::vector<std::uint8_t>& stream) {
  decoder.Clean();
  decoder.Reset();
  decoder.SetSource(stream.data(), static_cast<int>(stream.size()));
  Picture picture = {};
  _JPEG_COLOR color;
  _JPEG_SAMPLING sampling;
  int precision;
  int result = decoder.ReadHeader(&picture.width, &picture.height, &picture.channels, &color,
                                  &sampling, &precision);
  // A frame is at most 65535 pixels wide and high: decide what you are ready to allocate.
  if (result != JPEG_NO_ERROR || picture.width > 4096 || picture.height > 4096) return {};

  const _JPEG_COLOR wanted = picture.channels == 1 ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR;
  picture.pixels.resize(static_cast<std::size_t>(picture.step()) *
                        static_cast<std::size_t>(picture.height));
  decoder.SetDestination(picture.pixels.data(), picture.step(), {picture.width, picture.height},
                         picture.channels, wanted, 8);
  result = decoder.ReadData();
  if (result != JPEG_NO_ERROR) {
    std::fprintf(stderr, "decode: %s\n", GetErrorStr(static_cast<_JPEG_ERROR>(result)));
    return {};
  }
  return picture;
}
// [decode]

int largestDifference(const Picture& a, const Picture& b) {
  if (a.pixels.size() != b.pixels.size()) return 256;
  int largest = 0;
  for (std::size_t i = 0; i < a.pixels.size(); ++i) {
    const int difference = std::abs(a.pixels[i] - b.pixels[i]);
    if (difference > largest) largest = difference;
  }
  return largest;
}

}  // namespace

int main() {
  ippInit();  // chooses the primitives' forms; without it the slowest run
  CJPEGEncoder encoder;
  CJPEGDecoder decoder;

  const Picture gray = gradient(100, 60, 1);
  const std::vector<std::uint8_t> lossless = encode(encoder, gray, JPEG_MODE_LOSSLESS);
  const int losslessDifference = largestDifference(gray, decode(decoder, lossless));
  std::printf("lossless: %zu bytes, largest difference %d\n", lossless.size(), losslessDifference);

  // The same objects serve any mode, in any order.
  const Picture smooth = gradient(100, 60, 3);
  const std::vector<std::uint8_t> progressive = encode(encoder, smooth, JPEG_MODE_PROGRESSIVE);
  const std::vector<std::uint8_t> baseline = encode(encoder, smooth, JPEG_MODE_BASELINE);
  const Picture shown = decode(decoder, progressive);
  std::printf("progressive: %zu bytes (baseline %zu), %d x %d pixels back\n", progressive.size(),
              baseline.size(), shown.width, shown.height);

  const bool fine = losslessDifference == 0 && shown.pixels.size() == smooth.pixels.size() &&
                    progressive.size() < baseline.size();
  return fine ? EXIT_SUCCESS : EXIT_FAILURE;
}
