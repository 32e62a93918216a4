// Lossless streams: those of the encoder, and others by the standard's own rules (T.81 H.1.2) with
// predictors 1 to 7, point transforms, precisions from 2 to 16 bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <utility>

#include "tests/unit/codec_kit.h"

namespace qrx::test {
namespace {

using Lossless = DecoderTest;

struct Samples {
  Samples(Size imageSize, int bits) : size(imageSize), precision(bits) {
    std::mt19937 random(1);
    for (int i = 0; i < size.width * size.height; ++i) {
      values.push_back(static_cast<int>(random() >> (32 - precision)));
    }
  }
  int at(int x, int y) const {
    const int index = y * size.width + x;
    return values[static_cast<std::size_t>(index)];
  }

  Size size;
  int precision;
  std::vector<int> values;
};

// Table H.1, on samples after the point transform; 0 for a predictor that does not exist.
int prediction(int predictor, int a, int b, int c) {
  const int table[] = {0, a, b, c, a + b - c, a + ((b - c) >> 1), b + ((a - c) >> 1), (a + b) >> 1};
  return predictor < 8 ? table[predictor] : 0;
}

// Entropy-coded data: filled up with ones, a zero stuffed behind every 0xFF.
Bytes packed(std::vector<int> bits) {
  while (bits.size() % 8 != 0) bits.push_back(1);
  Bytes bytes;
  for (std::size_t i = 0; i < bits.size(); i += 8) {
    int value = 0;
    for (std::size_t j = i; j < i + 8; ++j) value = 2 * value + bits[j];
    bytes = bytes + byte(value);
    if (value == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

// With restarts the bits begin anew, but the predictions go on.
Bytes losslessStream(const Samples& image, int predictor, int pointTransform,
                     int restartInterval = 0) {
  // Seventeen categories, all of five bits: category s has the code s.
  Bytes table(17);
  table[5] = 17;
  for (int s = 0; s <= 16; ++s) table = table + byte(s);

  Bytes data;
  int samples = 0;
  std::vector<int> bits;
  const auto put = [&bits](int value, int length) {
    for (int i = length - 1; i >= 0; --i) bits.push_back(value >> i & 1);
  };
  const auto sample = [&](int x, int y) { return image.at(x, y) >> pointTransform; };
  for (int y = 0; y < image.size.height; ++y) {
    for (int x = 0; x < image.size.width; ++x, ++samples) {
      if (restartInterval != 0 && samples != 0 && samples % restartInterval == 0) {
        data = data + packed(std::exchange(bits, {})) + byte(0xFF) +
               byte(0xD0 + (samples / restartInterval - 1) % 8);
      }
      const int predicted = x == 0 && y == 0 ? 1 << (image.precision - pointTransform - 1)
                            : y == 0         ? sample(x - 1, 0)
                            : x == 0         ? sample(0, y - 1)
                                     : prediction(predictor, sample(x - 1, y), sample(x, y - 1),
                                                  sample(x - 1, y - 1));
      const auto difference = static_cast<std::int16_t>(sample(x, y) - predicted);
      int category = 0;
      while (std::abs(int{difference}) >> category != 0) ++category;
      put(category, 5);
      if (category < 16) put(difference < 0 ? difference - 1 : difference, category);
    }
  }
  return frame(0xC3, image.precision, {0, 0x11, 0}, image.size) + segment(0xC4, table) +
         segment(0xDD, word(restartInterval)) + scan({0, 0}, predictor, 0, pointTransform) + data +
         packed(bits) + Bytes{0xFF, 0xD9};
}

TEST_F(Lossless, PredictorsPointTransformsAndPrecisions) {
  for (int predictor = 1; predictor <= 7; ++predictor) {
    for (const int precision : {2, 8, 12, 15, 16}) {
      // Lines are signed: from 32768 on the shifts of these predictors differ from the standard's.
      if (precision == 16 && predictor >= 5) continue;
      for (const int pointTransform : {0, 1, 3}) {
        if (pointTransform >= precision) continue;
        for (const Size size : {Size{1, 1}, {1, 7}, {9, 1}, {23, 11}}) {
          SCOPED_TRACE(testing::Message()
                       << "predictor " << predictor << " precision " << precision << " transform "
                       << pointTransform << " " << size.width << "x" << size.height);
          const Samples image(size, precision);
          const Decoded d =
              decode(losslessStream(image, predictor, pointTransform), JPEG_COLOR_GRAY);
          EXPECT_EQ(d.data, 0);
          EXPECT_EQ(d.precision, precision);
          Bytes expected;
          for (const int value : image.values) {
            const auto shown = static_cast<std::int16_t>(value >> pointTransform << pointTransform);
            expected = expected + byte(std::clamp<int>(shown, 0, 255));
          }
          EXPECT_EQ(d.pixels, expected);
        }
      }
    }
  }
}

TEST_F(Lossless, APredictorThatDoesNotExistFailsAtTheSecondLine) {
  const Decoded d = decode(losslessStream(Samples({5, 3}, 8), 8, 0), JPEG_COLOR_GRAY);
  EXPECT_EQ(d.data, JPEG_INTERNAL_ERROR);
  EXPECT_EQ(d.lines, 1);
}

TEST_F(Lossless, RestartsKeepThePredictions) {
  const Samples image({23, 11}, 8);
  for (const int interval : {1, 5, 23, 46, 252, 253, 300}) {
    SCOPED_TRACE(interval);
    const Decoded d = decode(losslessStream(image, 4, 0, interval), JPEG_COLOR_GRAY);
    EXPECT_EQ(d.data, 0);
    EXPECT_EQ(d.pixels, Bytes(image.values.begin(), image.values.end()));
  }
}

TEST_F(Lossless, TheEncoderKeepsEveryBit) {
  for (const Size size : {Size{1, 1}, {7, 5}, {1, 9}, {9, 1}, {300, 21}}) {
    EncoderJob noise = grayJob(noisePicture(size, 5)), scene = grayJob(scenePicture(size));
    EncoderJob stripes = scene;  // the largest differences
    for (std::size_t i = 0; i < stripes.pixels.size(); ++i)
      stripes.pixels[i] = i % 2 == 0 ? 255 : 0;
    for (EncoderJob* job : {&noise, &scene, &stripes}) {
      job->mode = JPEG_MODE_LOSSLESS;
      const Decoded d = decode(encode(*job).bytes, JPEG_COLOR_GRAY);
      EXPECT_EQ(d.precision, 8);
      EXPECT_EQ(d.pixels, job->pixels) << *job;
      job->restartInterval = 4;
      EXPECT_EQ(encode(*job).result, JPEG_NOT_SUPPORTED);
    }
  }
}

}  // namespace
}  // namespace qrx::test
