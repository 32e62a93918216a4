// PBM, PGM and PPM, plain and raw, and PAM, with values of up to 16 bits. Of a file with several
// pictures the first is read.
#include <algorithm>
#include <cstdio>
#include <string>

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

  // A digit of a plain bitmap, which needs no space around it.
  int bit() {
    skipSpace();
    if (atEnd()) throw Error("the file ends early");
    const std::uint8_t c = data_[position_++];
    if (c != '0' && c != '1') throw Error("a bitmap of other digits than 0 and 1");
    return c - '0';
  }

  // The word after white space and comments.
  std::string word() {
    skipSpace();
    std::string text;
    while (!atEnd() && !isSpace(data_[position_])) {
      text += static_cast<char>(data_[position_++]);
      if (text.size() > 32) throw Error("a word is too long");
    }
    return text;
  }

  void skipLine() {
    while (!atEnd() && data_[position_] != '\n') ++position_;
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

struct Header {
  Size size;
  int largest = 1;
  std::size_t channels = 1;
  bool plain = false, bitmap = false;

  bool wide() const { return largest > 255; }
  bool hasColour() const { return channels >= 3; }
  bool hasAlpha() const { return channels % 2 == 0; }
};

constexpr int kLargestSide = 1 << 24;

Header readPamHeader(Parser& parser) {
  Header header;
  int channels = 0;
  for (std::string word = parser.word(); word != "ENDHDR"; word = parser.word()) {
    if (word == "WIDTH") {
      header.size.width = parser.number(kLargestSide);
    } else if (word == "HEIGHT") {
      header.size.height = parser.number(kLargestSide);
    } else if (word == "DEPTH") {
      channels = parser.number(65535);
    } else if (word == "MAXVAL") {
      header.largest = parser.number(65535);
    } else if (word == "TUPLTYPE") {
      parser.skipLine();
    } else {
      throw Error("a PAM header that ends early or holds unknown words");
    }
  }
  if (channels < 1 || channels > 4) throw Error("a PAM of other than 1 to 4 channels");
  header.channels = static_cast<std::size_t>(channels);
  return header;
}

Header readHeader(Parser& parser, std::uint8_t kind) {
  if (kind == '7') return readPamHeader(parser);
  Header header;
  header.plain = kind <= '3';
  header.bitmap = kind == '1' || kind == '4';
  header.channels = kind == '3' || kind == '6' ? 3 : 1;
  header.size.width = parser.number(kLargestSide);
  header.size.height = parser.number(kLargestSide);
  if (!header.bitmap) header.largest = parser.number(65535);
  return header;
}

// Bytes that the samples need at least.
std::size_t neededBytes(const Header& header) {
  const std::size_t pixels = Image::byteCount(header.size) / Image::kBytesPerPixel;
  if (header.plain) return pixels * header.channels;
  if (header.bitmap) {
    const auto width = static_cast<std::size_t>(header.size.width);
    return (width + 7) / 8 * static_cast<std::size_t>(header.size.height);
  }
  return pixels * header.channels * (header.wide() ? 2 : 1);
}

// Ones are black.
void readBitmap(Parser& parser, const Header& header, Image& image) {
  int byte = 0;
  for (int y = 0; y < header.size.height; ++y) {
    std::uint8_t* p = image.row(y);
    for (int x = 0; x < header.size.width; ++x, p += Image::kBytesPerPixel) {
      if (!header.plain && x % 8 == 0) byte = parser.raw(false);
      const int bit = header.plain ? parser.bit() : byte >> (7 - x % 8) & 1;
      p[0] = p[1] = p[2] = bit != 0 ? 0 : 0xFF;
    }
  }
}

void readSamples(Parser& parser, const Header& header, Image& image) {
  const int largest = header.largest;
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    std::uint8_t values[4] = {};
    for (std::size_t c = 0; c < header.channels; ++c) {
      const int value =
          header.plain ? parser.number(largest) : std::min(parser.raw(header.wide()), largest);
      values[c] = static_cast<std::uint8_t>((value * 255 + largest / 2) / largest);
    }
    for (std::size_t c = 0; c < 3; ++c) {
      image.pixels[i + c] = header.hasColour() ? values[2 - c] : values[0];
    }
    if (header.hasAlpha()) image.pixels[i + 3] = values[header.channels - 1];
  }
}

template <typename AddPixel>
std::vector<std::uint8_t> encodeRows(const Image& image, char kind, AddPixel addPixel) {
  char head[64];
  const int length = std::snprintf(head, sizeof head, "P%c\n%d %d\n255\n", kind, image.size.width,
                                   image.size.height);
  std::vector<std::uint8_t> data(head, head + length);
  data.reserve(data.size() + image.pixels.size() / 4 * 3);
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    addPixel(data, &image.pixels[i]);
  }
  return data;
}

}  // namespace

Image decodePnm(std::span<const std::uint8_t> data, const Limits& limits) {
  Parser parser(data);
  parser.skip(2);
  const Header header = readHeader(parser, data[1]);
  if (header.largest < 1) throw Error("the largest value is 0");
  if (!header.plain && parser.left() > 0) parser.skip(1);  // the white space before the samples
  limits.checkSize(header.size.width, header.size.height);
  limits.checkMemory(Image::byteCount(header.size));
  if (parser.left() < neededBytes(header)) throw Error("the file ends early");
  Image image(header.size, 0xFF);
  image.gray = !header.hasColour();
  if (header.bitmap) {
    readBitmap(parser, header, image);
  } else {
    readSamples(parser, header, image);
  }
  return image;
}

std::vector<std::uint8_t> encodePpm(const Image& image) {
  return encodeRows(image, '6', [](std::vector<std::uint8_t>& data, const std::uint8_t* p) {
    data.push_back(p[2]);
    data.push_back(p[1]);
    data.push_back(p[0]);
  });
}

std::vector<std::uint8_t> encodePgm(const Image& image) {
  return encodeRows(image, '5', [](std::vector<std::uint8_t>& data, const std::uint8_t* p) {
    data.push_back(p[1]);
  });
}

}  // namespace qrx::tool
