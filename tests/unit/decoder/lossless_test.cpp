// Lossless streams that the encoder does not make, built here by the standard's own rules (T.81
// H.1.2): predictors 1 to 7, point transforms, precisions from 2 to 16 bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/unit/decoder/stream_kit.h"

namespace qrx::test {
namespace {

struct Line {
  int width, height;
  std::vector<int> samples;  // of `precision` bits
  int at(int x, int y) const { return samples[static_cast<std::size_t>(y * width + x)]; }
};

// Writes bits, most significant first, with stuffing.
class Bits {
 public:
  void put(int value, int length) {
    for (int i = length - 1; i >= 0; --i) {
      current_ = current_ << 1 | (value >> i & 1);
      if (++count_ == 8) flushByte();
    }
  }
  Bytes finish() {
    while (count_ != 0) put(1, 1);
    return bytes_;
  }

 private:
  void flushByte() {
    bytes_.push_back(static_cast<std::uint8_t>(current_));
    if ((current_ & 0xFF) == 0xFF) bytes_.push_back(0);
    current_ = count_ = 0;
  }
  Bytes bytes_;
  int current_ = 0, count_ = 0;
};

// Table H.1, on samples after the point transform.
int prediction(int predictor, int a, int b, int c) {
  switch (predictor) {
    case 1: return a;
    case 2: return b;
    case 3: return c;
    case 4: return a + b - c;
    case 5: return a + ((b - c) >> 1);
    case 6: return b + ((a - c) >> 1);
    default: return (a + b) >> 1;
  }
}

Bytes losslessStream(const Line& image, int precision, int predictor, int pointTransform) {
  // Seventeen categories, all of five bits: category s has the code s.
  Bytes table = {0x00, 0, 0, 0, 0, 17};
  table.resize(17);
  for (int s = 0; s <= 16; ++s) table.push_back(static_cast<std::uint8_t>(s));

  Bits bits;
  const auto sample = [&](int x, int y) { return image.at(x, y) >> pointTransform; };
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      int predicted;
      if (y == 0) {
        predicted = x == 0 ? 1 << (precision - pointTransform - 1) : sample(x - 1, 0);
      } else if (x == 0) {
        predicted = sample(0, y - 1);
      } else {
        predicted = prediction(predictor, sample(x - 1, y), sample(x, y - 1), sample(x - 1, y - 1));
      }
      const auto difference = static_cast<std::int16_t>(sample(x, y) - predicted);
      int category = 0;
      while (std::abs(int{difference}) >> category != 0) ++category;
      bits.put(category, 5);
      if (category > 0 && category < 16) {
        bits.put(difference < 0 ? difference - 1 : difference, category);
      }
    }
  }
  return kSOI + frame(0xC3, precision, image.width, image.height, {{0, 0x11, 0}}) +
         segment(0xC4, table) + scan({0, 0}, predictor, 0, pointTransform) + bits.finish() + kEOI;
}

Line randomImage(int width, int height, int precision, unsigned seed) {
  Line image = {width, height, {}};
  std::uint32_t noise = seed;
  for (int i = 0; i < width * height; ++i) {
    noise = noise * 1664525 + 1013904223;
    image.samples.push_back(static_cast<int>(noise >> (32 - precision)));
  }
  return image;
}

TEST(LosslessDecoding, PredictorsPointTransformsAndPrecisions) {
  CJPEGDecoder decoder;
  for (int predictor = 1; predictor <= 7; ++predictor) {
    for (const int precision : {2, 8, 12, 15, 16}) {
      // Lines are signed: from 32768 on the shifts of these predictors differ from the standard's.
      if (precision == 16 && predictor >= 5) continue;
      for (const int pointTransform : {0, 1, 3}) {
        if (pointTransform >= precision) continue;
        for (const auto [w, h] :
             {IppiSize{1, 1}, IppiSize{1, 7}, IppiSize{9, 1}, IppiSize{23, 11}}) {
          SCOPED_TRACE(testing::Message()
                       << "predictor " << predictor << " precision " << precision << " transform "
                       << pointTransform << " " << w << "x" << h);
          const Line image = randomImage(w, h, precision, 1u + static_cast<unsigned>(predictor));
          const Decoded d =
              decode(decoder, losslessStream(image, precision, predictor, pointTransform),
                     {JPEG_COLOR_GRAY, 1});
          ASSERT_EQ(d.header, 0);
          ASSERT_EQ(d.data, 0);
          Bytes expected;
          for (const int sample : image.samples) {
            const auto shown =
                static_cast<std::int16_t>(sample >> pointTransform << pointTransform);
            expected.push_back(static_cast<std::uint8_t>(std::clamp<int>(shown, 0, 255)));
          }
          EXPECT_EQ(d.pixels, expected);
        }
      }
    }
  }
}

TEST(LosslessDecoding, APredictorThatDoesNotExistFailsAtTheSecondLine) {
  CJPEGDecoder decoder;
  const Line image = randomImage(5, 3, 8, 3);
  Bytes stream = losslessStream(image, 8, 1, 0);
  for (std::size_t i = 0; i + 8 < stream.size(); ++i) {
    if (stream[i] == 0xFF && stream[i + 1] == 0xDA) stream[i + 7] = 8;
  }
  const Decoded d = decode(decoder, stream, {JPEG_COLOR_GRAY, 1});
  EXPECT_EQ(d.data, JPEG_INTERNAL_ERROR);
  EXPECT_EQ(d.lines, 1);
}

}  // namespace
}  // namespace qrx::test
