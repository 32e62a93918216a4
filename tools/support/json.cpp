// JSON writing with correct strings whatever the bytes.
#include "tools/support/json.h"

#include <cmath>
#include <cstdio>

namespace qrx::tool {
namespace {

// Length of the UTF-8 sequence at the start of `text`, 0 if there is no valid one.
std::size_t utf8Length(std::string_view text) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates and values above U+10FFFF.
  const unsigned second = byte(1);
  const bool bad = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                   (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return bad ? 0 : length;
}

}  // namespace

JsonWriter& JsonWriter::key(std::string_view name) {
  separate();
  quote(name);
  text_ += ':';
  return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
  separate();
  quote(text);
  return *this;
}

JsonWriter& JsonWriter::value(double number, int decimals) {
  if (!std::isfinite(number)) return token("null");
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, number);
  return token(text);
}

void JsonWriter::print() const { std::printf("%s\n", text_.c_str()); }

JsonWriter& JsonWriter::open(char bracket) {
  separate();
  text_ += bracket;
  return *this;
}

JsonWriter& JsonWriter::close(char bracket) {
  text_ += bracket;
  return *this;
}

JsonWriter& JsonWriter::token(std::string_view text) {
  separate();
  text_ += text;
  return *this;
}

// A comma goes before everything but the first element and the value of a key.
void JsonWriter::separate() {
  if (!text_.empty() && text_.back() != '{' && text_.back() != '[' && text_.back() != ':') {
    text_ += ',';
  }
}

void JsonWriter::quote(std::string_view text) {
  text_ += '"';
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    const char c = text.front();
    if (length == 0) {
      text_ += "\\ufffd";
    } else if (c == '"' || c == '\\') {
      text_ += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      text_ += escape;
    } else {
      text_ += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  text_ += '"';
}

}  // namespace qrx::tool
