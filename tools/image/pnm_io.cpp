// PPM and PGM, plain and raw, with values of up to 16 bits. Of a file with several pictures the
// first is read.
#include <cstdio>
#include <cstring>

#include "tools/image/image_io.h"

namespace qrx::tool {
namespace {

class Parser {
 public:
  explicit Parser(std::span<const std::uint8_t> data) : data_(data) {}

  // A decimal number after white space and comments.
  int number(int largest) {
    skipSpace();
    if (atEnd() || !isDigit(data_[position_])) throw Error("a number is missing");
    int value = 0;
    while (!atEnd() && isDigit(data_[position_])) {
      value = value * 10 + (data_[position_++] - '0');
      if (value > largest) throw Error("a number is too large");
    }
    return value;
  }

  // One raw sample of one or two bytes; the caller has checked that it is there.
  int raw(bool wide) {
    const int high = data_[position_++];
    return wide ? high << 8 | data_[position_++] : high;
  }

  void skip(std::size_t count) { position_ += count; }
  std::size_t left() const { return data_.size() - position_; }

 private:
  static bool isDigit(std::uint8_t c) { return c >= '0' && c <= '9'; }
  static bool isSpace(std::uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  bool atEnd() const { return position_ == data_.size(); }

  void skipSpace() {
    while (!atEnd() && (isSpace(data_[position_]) || data_[position_] == '#')) {
      if (data_[position_] == '#') {
        while (!atEnd() && data_[position_] != '\n') ++position_;
      } else {
        ++position_;
      }
    }
  }

  std::span<const std::uint8_t> data_;
  std::size_t position_ = 0;
};

}  // namespace

Image decodePnm(std::span<const std::uint8_t> data) {
  Parser parser(data);
  const std::uint8_t kind = data[1];
  const bool plain = kind == '2' || kind == '3';
  const std::size_t channels = kind == '3' || kind == '6' ? 3 : 1;
  parser.skip(2);
  Size size;
  size.width = parser.number(1 << 24);
  size.height = parser.number(1 << 24);
  const int largest = parser.number(65535);
  if (largest < 1) throw Error("the largest value is 0");
  const bool wide = largest > 255;
  if (!plain) {
    if (parser.left() > 0) parser.skip(1);  // the one white space before the samples
    const std::size_t needed = Image::byteCount(size) / 4 * channels * (wide ? 2 : 1);
    if (parser.left() < needed) throw Error("the file ends early");
  } else if (parser.left() < Image::byteCount(size) / 4 * channels) {
    throw Error("the file ends early");
  }

  Image image(size, 0xFF);
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    std::uint8_t colours[3];
    for (std::size_t c = 0; c < channels; ++c) {
      const int value = plain ? parser.number(largest) : std::min(parser.raw(wide), largest);
      colours[c] = static_cast<std::uint8_t>((value * 255 + largest / 2) / largest);
    }
    for (std::size_t c = 0; c < 3; ++c) {
      image.pixels[i + c] = channels == 3 ? colours[2 - c] : colours[0];
    }
  }
  return image;
}

std::vector<std::uint8_t> encodePpm(const Image& image) {
  char head[64];
  const int length =
      std::snprintf(head, sizeof head, "P6\n%d %d\n255\n", image.size.width, image.size.height);
  std::vector<std::uint8_t> data(head, head + length);
  data.reserve(data.size() + image.pixels.size() / 4 * 3);
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    data.push_back(image.pixels[i + 2]);
    data.push_back(image.pixels[i + 1]);
    data.push_back(image.pixels[i]);
  }
  return data;
}

}  // namespace qrx::tool
