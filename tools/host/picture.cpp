// From bytes of any kind to BGRA, upright.
#include "tools/host/picture.h"

#include <algorithm>
#include <cstdio>

#include "tools/host/frame.h"
#include "tools/jpeg/reasons.h"
#include "tools/jpeg/segments.h"
#include "tools/support/files.h"

namespace qrx::tool {
namespace {

constexpr std::uint8_t kMissing = 128;

std::uint8_t product(int a, int b) { return static_cast<std::uint8_t>((a * b + 127) / 255); }

// The library gives four components as they stand, the fourth in the alpha's place. Adobe's
// programs, and those that follow them, store how much light is left; others how much ink is on.
void screenColours(Image& image, bool inkIsInverted) {
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    std::uint8_t* p = &image.pixels[i];
    if (!inkIsInverted) {
      for (int c = 0; c < 4; ++c) p[c] = static_cast<std::uint8_t>(255 - p[c]);
    }
    const int cyan = p[0], magenta = p[1], yellow = p[2], black = p[3];
    p[0] = product(yellow, black);
    p[1] = product(magenta, black);
    p[2] = product(cyan, black);
    p[3] = 0xFF;
  }
}

// ": one, two", or nothing.
std::string listed(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? ": " : ", ") + text;
  return list;
}

void addLines(const std::string& text, std::vector<std::string>& lines) {
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    if (end > from) lines.push_back(text.substr(from, end - from));
    from = end + 1;
  }
}

// The place where two pictures of the same MCUs begin to differ: the row of MCUs and the one in it.
struct Place {
  int row, column;
};

Place firstDifference(const Image& a, const Image& b, Size mcu) {
  const auto differs = [&](int y, int fromX, int count) {
    const std::size_t from = static_cast<std::size_t>(fromX) * Image::kBytesPerPixel;
    const auto bytes = static_cast<std::ptrdiff_t>(count) * Image::kBytesPerPixel;
    return !std::equal(a.row(y) + from, a.row(y) + from + bytes, b.row(y) + from);
  };
  const Size size = a.size;
  int y = 0;
  while (y < size.height && !differs(y, 0, size.width)) ++y;
  // Chroma reaches a line up into the row of MCUs above.
  const int row = (y + (y % mcu.height == mcu.height - 1 ? 1 : 0)) / mcu.height;
  const int columns = (size.width + mcu.width - 1) / mcu.width;
  for (int column = 0; column < columns; ++column) {
    const int x = column * mcu.width, count = std::min(mcu.width, size.width - x);
    for (int line = row * mcu.height; line < std::min(size.height, (row + 1) * mcu.height);
         ++line) {
      if (differs(line, x, count)) return {row, column};
    }
  }
  return {row, columns};
}

// Sequential data that ends early: the decoder goes on as if something came. What the missing data
// would have changed is found by two guesses at it, and made gray.
void coverMissing(Session& session, std::span<const std::uint8_t> data, const JpegFrame& frame,
                  Picture& picture) {
  while (!data.empty() && data.back() == 0xFF) data = data.first(data.size() - 1);
  Image guesses[2];
  for (int i = 0; i < 2; ++i) {
    constexpr std::size_t kGuess = 256;
    std::vector<std::uint8_t> longer(data.begin(), data.end());
    longer.resize(data.size() + kGuess, i == 0 ? 0x00 : 0xB5);
    guesses[i] = decompressFrame(session.decompressor(), longer, picture.image.size).image;
  }
  Size mcu{8, 8};
  for (const JpegComponent& component : frame.components) {
    if (frame.components.size() == 1) break;
    mcu = {std::max(mcu.width, 8 * component.horizontal),
           std::max(mcu.height, 8 * component.vertical)};
  }
  const Place place = firstDifference(guesses[0], guesses[1], mcu);
  Image& image = picture.image;
  const int first = place.row * mcu.height;
  if (first >= image.size.height) return;
  for (int y = first; y < image.size.height; ++y) {
    const int x = y < first + mcu.height ? std::min(place.column * mcu.width, image.size.width) : 0;
    std::uint8_t* p = image.row(y);
    for (int i = x; i < image.size.width; ++i) {
      std::fill_n(p + std::ptrdiff_t{i} * Image::kBytesPerPixel, 3, kMissing);
    }
  }
  picture.damage.push_back("rows " + std::to_string(first) + " to " +
                           std::to_string(image.size.height - 1) +
                           " did not come, or not whole, and are gray");
}

bool endsEarly(std::span<const std::uint8_t> data, const JpegInfo& info) {
  return !info.scans.empty() && (info.frame()->marker & 3) < 2 &&
         info.scans.back().dataOffset + info.scans.back().dataSize == data.size();
}

// Of the picture, of what the library keeps of a progressive one, and of a second and third picture
// where data is missing.
std::uint64_t memoryOf(std::span<const std::uint8_t> data, const JpegInfo& info) {
  const JpegFrame& frame = *info.frame();
  const std::uint64_t pixels =
      static_cast<std::uint64_t>(frame.width) * static_cast<std::uint64_t>(frame.height);
  const std::uint64_t pictures = endsEarly(data, info) ? 3 : 1;
  std::uint64_t coefficients = 0;
  if ((frame.marker & 3) == 2) {
    std::uint64_t widest = 1, tallest = 1;
    for (const JpegComponent& c : frame.components) {
      widest = std::max(widest, static_cast<std::uint64_t>(c.horizontal));
      tallest = std::max(tallest, static_cast<std::uint64_t>(c.vertical));
    }
    for (const JpegComponent& c : frame.components) {
      coefficients += pixels * static_cast<std::uint64_t>(c.horizontal) *
                      static_cast<std::uint64_t>(c.vertical) / (widest * tallest);
    }
  }
  return data.size() + pixels * Image::kBytesPerPixel * pictures + coefficients * 2;
}

void turn(Picture& picture) {
  const int orientation = orientationOf(picture.metadata.exif);
  if (orientation == 1) return;
  picture.image = upright(picture.image, orientation);
  setUpright(picture.metadata.exif);
}

Picture decodeAny(std::span<const std::uint8_t> data, const PictureRequest& request,
                  LazySession& session) {
  Picture picture;
  if (request.rawSize) {
    request.decode.limits.checkSize(request.rawSize->width, request.rawSize->height);
    picture.image = decodeRaw(data, *request.rawSize, request.order);
    return picture;
  }
  const std::optional<ImageFormat> format = recogniseImage(data);
  if (!format && !request.format && data.size() >= 2 && data[0] == 0xFF && data[1] == 0xD8) {
    return decodeJpeg(session.get(), data, walkJpeg(data), request.decode);
  }
  if (!format) throw Error(notWanted(data, "not a PNG, PNM or JPEG picture"));
  if (request.format && (*request.format == ImageFormat::kPng) != (*format == ImageFormat::kPng)) {
    throw Error("not in the format of --format");
  }
  const Limits& limits = request.decode.limits;
  picture.image = *format == ImageFormat::kPng ? decodePng(data, &picture.metadata, limits)
                                               : decodePnm(data, limits);
  if (request.decode.orient) turn(picture);
  return picture;
}

}  // namespace

Picture decodeJpeg(Session& session, std::span<const std::uint8_t> data, const JpegInfo& info,
                   const DecodeRequest& request) {
  Picture picture;
  picture.damage = info.damage;
  const JpegFrame* frame = info.frame();
  if (data.size() < 2 || data[0] != 0xFF || data[1] != 0xD8) {
    throw Error(notWanted(data, "not a JPEG"));
  }
  if (frame == nullptr || frame->width == 0 || frame->height == 0) {
    throw Error("no JPEG image of a known size" + listed(info.damage));
  }
  const std::string refusal = outsideOfSubset(info);
  if (!refusal.empty()) throw Error(refusal);
  request.limits.checkSize(frame->width, frame->height);
  request.limits.checkScans(info.scans.size());
  request.limits.checkMemory(memoryOf(data, info));
  const bool fourComponents = frame->components.size() == 4;
  std::vector<std::uint8_t> marked;  // the library does not guess what four components are
  if (fourComponents && !info.adobeTransform) {
    marked = addAdobe(data, 0);
    data = marked;
  }
  DecodedFrame decoded =
      decompressFrame(session.decompressor(), data, {frame->width, frame->height});
  addLines(decoded.messages, picture.damage);
  if (!picture.damage.empty() && !decoded.anyPixel) {
    throw Error("nothing could be decoded" + listed(picture.damage));
  }
  picture.image = std::move(decoded.image);
  picture.image.gray = frame->components.size() == 1;
  if (fourComponents) screenColours(picture.image, info.adobeTransform.has_value());
  if (hasPartialDcScan(info)) {
    picture.damage.push_back(
        "a scan leaves the DC of some components to another one, which this decoder shows as "
        "nonsense");
  }
  if (marked.empty() && endsEarly(data, info)) coverMissing(session, data, *frame, picture);
  picture.metadata = readMetadata(data, info);
  if (request.orient) turn(picture);
  return picture;
}

Picture readPicture(const std::string& path, const PictureRequest& request, LazySession& session) {
  const std::vector<std::uint8_t> data = readFile(path);
  const std::string name = displayName(path);
  try {
    Picture picture = decodeAny(data, request, session);
    for (const std::string& text : picture.damage) {
      std::fprintf(stderr, "qrx-jpeg: %s: damaged: %s\n", name.c_str(), text.c_str());
    }
    return picture;
  } catch (const Error& error) {
    throw Error(name + ": " + error.what(), error.code());
  }
}

}  // namespace qrx::tool
