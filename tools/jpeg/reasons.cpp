// Kinds of files by their first bytes, and the limits of the decoder.
#include "tools/jpeg/reasons.h"

#include <algorithm>
#include <string_view>

namespace qrx::tool {
namespace {

using View = std::span<const std::uint8_t>;

bool holds(View data, std::size_t at, std::string_view text) {
  return data.size() >= at + text.size() &&
         std::equal(text.begin(), text.end(), data.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; });
}

bool isText(View data) {
  constexpr std::size_t kEnough = 512;
  const View start = data.first(std::min(data.size(), kEnough));
  return std::none_of(start.begin(), start.end(), [](std::uint8_t c) {
    return c < 0x20 && c != '\n' && c != '\r' && c != '\t' && c != '\f' && c != 0x1B;
  });
}

constexpr char kConvert[] = "convert it to PNG or PPM first";

}  // namespace

std::string kindOfFile(View data) {
  struct Kind {
    std::size_t at;
    std::string_view bytes;
    const char* name;
  };
  constexpr Kind kKinds[] = {{0, "\xFF\xD8", "a JPEG"},
                             {0, "\x89PNG\r\n\x1A\n", "a PNG"},
                             {0, "QPK1", "a file of packets"},
                             {0, "GIF8", "a GIF picture"},
                             {0, "BM", "a BMP picture"},
                             {8, "WEBP", "a WebP picture"},
                             {0, std::string_view("II*\0", 4), "a TIFF picture"},
                             {0, std::string_view("MM\0*", 4), "a TIFF picture"},
                             {4, "ftypavif", "an AVIF picture"},
                             {4, "ftypheic", "a HEIC picture"},
                             {4, "jP  \r\n", "a JPEG 2000 picture"},
                             {0, "\xFF\x0A", "a JPEG XL picture"},
                             {4, "JXL ", "a JPEG XL picture"},
                             {0, "%PDF", "a PDF document"},
                             {0, "\x1F\x8B", "a gzip file"},
                             {0, "PK\3\4", "a zip file"}};
  if (data.empty()) return "an empty file";
  for (const Kind& kind : kKinds) {
    if (holds(data, kind.at, kind.bytes)) return kind.name;
  }
  if (data.size() > 2 && data[0] == 'P' && data[1] >= '1' && data[1] <= '7' && data[2] <= ' ') {
    return "a PNM picture";
  }
  return isText(data) ? "a text" : "";
}

std::string notWanted(View data, const std::string& wanted) {
  const std::string kind = kindOfFile(data);
  if (kind.empty()) return wanted + ": check the file";
  if (data.empty()) return "an empty file: check what was to write it";
  if (kind == "a text") return "a text, " + wanted + ": check the file";
  if (kind == "a file of packets") return kind + ", " + wanted + ": qrx-jpeg unpack reads it";
  if (kind == "a PNG" || kind == "a PNM picture") {
    return kind + ", " + wanted + ": qrx-jpeg encode reads it";
  }
  if (kind == "a JPEG") return kind + ", " + wanted + ": qrx-jpeg decode reads it";
  return kind + ", " + wanted + ": " + kConvert;
}

std::string outsideOfSubset(const JpegInfo& info) {
  const JpegFrame& frame = *info.frame();
  const auto& c = frame.components;
  const std::string redo = ": recode it with another program as baseline 4:4:4, 4:2:2 or 4:2:0";
  const int process = frame.marker & 3;
  if ((frame.marker & 8) != 0) return "arithmetic coding is not supported" + redo;
  if ((frame.marker & 4) != 0) return "the hierarchical mode is not supported" + redo;
  if (process != 3 && frame.precision != 8) {
    return std::to_string(frame.precision) + " bits a sample are not supported, only 8" + redo;
  }
  if (process == 3 && c.size() != 1) {
    return "lossless images of more than one component are not supported" + redo;
  }
  if (c.size() != 1 && c.size() != 3 && c.size() != 4) {
    return std::to_string(c.size()) + " components are not supported, only 1, 3 and 4" + redo;
  }
  const auto is = [](const JpegComponent& x, int h, int v) {
    return x.horizontal == h && x.vertical == v;
  };
  const auto layout = [&](int h, int v) {
    return is(c[0], h, v) && is(c[1], 1, 1) && is(c[2], 1, 1) && (c.size() == 3 || is(c[3], h, v));
  };
  if (c.size() > 1 && !layout(1, 1) && !layout(2, 1) && !layout(2, 2)) {
    const bool three = c.size() == 3 && is(c[1], 1, 1) && is(c[2], 1, 1);
    const std::string name = three && is(c[0], 1, 2)   ? "4:4:0"
                             : three && is(c[0], 4, 1) ? "4:1:1"
                             : three && is(c[0], 4, 2) ? "4:1:0"
                                                       : samplingText(frame);
    return "sampling " + name + " is not supported" + redo;
  }
  if (process < 2 && !info.scans.empty() && info.scans[0].components.size() != c.size()) {
    return "components in scans of their own (not interleaved) are not supported" + redo;
  }
  return {};
}

bool hasPartialDcScan(const JpegInfo& info) {
  const JpegFrame* frame = info.frame();
  if (frame == nullptr || (frame->marker & 3) != 2) return false;
  return std::any_of(info.scans.begin(), info.scans.end(), [frame](const JpegScan& scan) {
    return scan.spectralStart == 0 && scan.components.size() < frame->components.size();
  });
}

}  // namespace qrx::tool
