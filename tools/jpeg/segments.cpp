// Cutting and splicing at the offsets that a walk gives.
#include "tools/jpeg/segments.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>

namespace qrx::tool {
namespace {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

constexpr std::uint8_t kApp0 = 0xE0, kApp1 = 0xE1, kApp2 = 0xE2, kApp14 = 0xEE, kCom = 0xFE;
constexpr std::string_view kExif("Exif\0\0", 6), kIcc("ICC_PROFILE\0", 12);
constexpr std::size_t kHead = 4;  // marker and length
constexpr std::size_t kLargestBody = 65533;
constexpr std::size_t kLargestExif = kLargestBody - kExif.size();
constexpr std::size_t kProfilePart = kLargestBody - kIcc.size() - 2, kMostParts = 255;

bool startsWith(View data, std::string_view text) {
  return data.size() >= text.size() && std::equal(text.begin(), text.end(), data.begin());
}

void append(Bytes& target, View data) { target.insert(target.end(), data.begin(), data.end()); }

void appendSegment(Bytes& target, std::uint8_t marker, std::string_view name, View body) {
  const std::size_t length = 2 + name.size() + body.size();
  target.insert(target.end(), {0xFF, marker, static_cast<std::uint8_t>(length >> 8),
                               static_cast<std::uint8_t>(length)});
  target.insert(target.end(), name.begin(), name.end());
  append(target, body);
}

void appendProfile(Bytes& target, View icc) {
  const std::size_t count = (icc.size() + kProfilePart - 1) / kProfilePart;
  if (count > kMostParts) return;
  for (std::size_t i = 0; i < count; ++i) {
    std::string name(kIcc);
    name += static_cast<char>(i + 1);
    name += static_cast<char>(count);
    appendSegment(
        target, kApp2, name,
        icc.subspan(i * kProfilePart, std::min(kProfilePart, icc.size() - i * kProfilePart)));
  }
}

// Its parts, by number, in order.
void joinProfile(const std::map<int, View>& parts, int count, Metadata& metadata) {
  const std::string all = " of " + std::to_string(count);
  int next = 1;
  for (const auto& [number, part] : parts) {
    if (number != next) break;
    append(metadata.icc, part);
    ++next;
  }
  if (next - 1 < count) metadata.iccFault = "part " + std::to_string(next) + all + " is missing";
  if (!parts.empty() && parts.rbegin()->first > count) {
    metadata.iccFault = "it has a part " + std::to_string(parts.rbegin()->first) + all;
  }
  if (!metadata.iccFault.empty()) metadata.icc.clear();
}

Bytes insertAt(View data, std::size_t offset, const Bytes& inserted) {
  Bytes result(data.size() + inserted.size());
  auto at = std::copy_n(data.begin(), offset, result.begin());
  at = std::copy(inserted.begin(), inserted.end(), at);
  std::copy(data.begin() + static_cast<std::ptrdiff_t>(offset), data.end(), at);
  return result;
}

}  // namespace

Metadata readMetadata(View data, const JpegInfo& info) {
  Metadata metadata;
  std::map<int, View> parts;
  int count = 0;
  for (const JpegSegment& segment : info.segments) {
    if (segment.size < kHead || segment.offset + segment.size > data.size()) continue;
    const View body = data.subspan(segment.offset + kHead, segment.size - kHead);
    if (segment.marker == kApp1 && startsWith(body, kExif) && metadata.exif.empty()) {
      append(metadata.exif, body.subspan(kExif.size()));
    }
    if (segment.marker == kApp2 && startsWith(body, kIcc) && body.size() >= kIcc.size() + 2) {
      parts.emplace(body[kIcc.size()], body.subspan(kIcc.size() + 2));
      count = body[kIcc.size() + 1];
    }
  }
  joinProfile(parts, count, metadata);
  return metadata;
}

Bytes addMetadata(View data, const Metadata& metadata) {
  Bytes segments;
  if (!metadata.exif.empty() && metadata.exif.size() <= kLargestExif) {
    appendSegment(segments, kApp1, kExif, metadata.exif);
  }
  appendProfile(segments, metadata.icc);
  const JpegInfo info = walkJpeg(data);
  const bool jfif = info.segments.size() > 1 && info.segments[1].marker == kApp0;
  return insertAt(data, jfif ? info.segments[1].offset + info.segments[1].size : 2, segments);
}

std::string tooLargeForSegments(const Metadata& metadata) {
  if (metadata.exif.size() > kLargestExif) return "the Exif data";
  return metadata.icc.size() > kProfilePart * kMostParts ? "the colour profile" : "";
}

Bytes dropComments(View data) {
  Bytes result;
  std::size_t from = 0;
  for (const JpegSegment& segment : walkJpeg(data).segments) {
    if (segment.marker != kCom) continue;
    append(result, data.subspan(from, segment.offset - from));
    from = segment.offset + segment.size;
  }
  append(result, data.subspan(from));
  return result;
}

Bytes addAdobe(View data, int transform) {
  const std::uint8_t fields[] = {0, 100, 0, 0, 0, 0, static_cast<std::uint8_t>(transform)};
  Bytes segment;
  appendSegment(segment, kApp14, "Adobe", fields);
  return insertAt(data, 2, segment);
}

}  // namespace qrx::tool
