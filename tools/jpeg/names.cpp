// Names of markers, modes and samplings.
#include "tools/jpeg/walk.h"

namespace qrx::tool {
namespace {

std::string hex(std::uint8_t value) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  return {'F', 'F', kDigits[value >> 4], kDigits[value & 15]};
}

std::string numbered(const char* name, int number) {
  std::string text(name);
  text += std::to_string(number);
  return text;
}

}  // namespace

std::string markerName(std::uint8_t marker) {
  constexpr const char* kFromD8[] = {"SOI", "EOI", "SOS", "DQT", "DNL", "DRI", "DHP", "EXP"};
  if (marker == 0xC4) return "DHT";
  if (marker == 0xC8) return "JPG";
  if (marker == 0xCC) return "DAC";
  if (marker >= 0xC0 && marker <= 0xCF) return numbered("SOF", marker - 0xC0);
  if (marker >= 0xD0 && marker <= 0xD7) return numbered("RST", marker - 0xD0);
  if (marker >= 0xD8 && marker <= 0xDF) return kFromD8[marker - 0xD8];
  if (marker >= 0xE0 && marker <= 0xEF) return numbered("APP", marker - 0xE0);
  if (marker == 0xFE) return "COM";
  return hex(marker);
}

std::string modeName(const JpegFrame& frame) {
  constexpr const char* kModes[] = {"baseline", "extended sequential", "progressive", "lossless"};
  std::string name = (frame.marker & 4) != 0 ? "differential " : "";
  name += kModes[frame.marker & 3];
  if ((frame.marker & 8) != 0) name += ", arithmetic coding";
  return name;
}

std::string samplingText(const JpegFrame& frame) {
  const auto& c = frame.components;
  if (c.size() == 1) return "gray";
  const auto plain = [](const JpegComponent& x) { return x.horizontal == 1 && x.vertical == 1; };
  if (c.size() == 3 && plain(c[1]) && plain(c[2])) {
    if (plain(c[0])) return "4:4:4";
    if (c[0].horizontal == 2 && c[0].vertical == 1) return "4:2:2";
    if (c[0].horizontal == 2 && c[0].vertical == 2) return "4:2:0";
  }
  std::string text;
  for (const JpegComponent& x : c) {
    if (!text.empty()) text += ' ';
    text += std::to_string(x.horizontal) + 'x' + std::to_string(x.vertical);
  }
  return text;
}

}  // namespace qrx::tool
