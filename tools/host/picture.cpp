// From bytes of any kind to BGRA, upright.
#include "tools/host/picture.h"

#include <algorithm>
#include <cstdio>

#include "tools/host/frame.h"
#include "tools/jpeg/segments.h"
#include "tools/support/files.h"

namespace qrx::tool {
namespace {

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

void addLines(const std::string& text, std::vector<std::string>& lines) {
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    if (end > from) lines.push_back(text.substr(from, end - from));
    from = end + 1;
  }
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
    picture.image = decodeRaw(data, *request.rawSize, request.order);
    return picture;
  }
  const std::optional<ImageFormat> format = recogniseImage(data);
  if (!format && !request.format && data.size() >= 2 && data[0] == 0xFF && data[1] == 0xD8) {
    return decodeJpeg(session.get(), data, walkJpeg(data), request.decode);
  }
  if (!format) throw Error("not a PNG, PNM or JPEG picture");
  if (request.format && (*request.format == ImageFormat::kPng) != (*format == ImageFormat::kPng)) {
    throw Error("not in the format of --format");
  }
  picture.image =
      *format == ImageFormat::kPng ? decodePng(data, &picture.metadata) : decodePnm(data);
  if (request.decode.orient) turn(picture);
  return picture;
}

}  // namespace

Picture decodeJpeg(Session& session, std::span<const std::uint8_t> data, const JpegInfo& info,
                   const DecodeRequest& request) {
  Picture picture;
  picture.damage = info.damage;
  const JpegFrame* frame = info.frame();
  if (frame == nullptr || frame->width == 0 || frame->height == 0) {
    throw Error("no JPEG image of a known size");
  }
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
    std::string reasons;
    for (const std::string& text : picture.damage) reasons += (reasons.empty() ? "" : ", ") + text;
    throw Error("nothing could be decoded: " + reasons);
  }
  picture.image = std::move(decoded.image);
  picture.image.gray = frame->components.size() == 1;
  if (fourComponents) screenColours(picture.image, info.adobeTransform.has_value());
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
