// A writer of JSON values (RFC 8259), enough for flat reports.
#ifndef QRX_TOOLS_SUPPORT_JSON_H_
#define QRX_TOOLS_SUPPORT_JSON_H_

#include <concepts>
#include <string>
#include <string_view>

namespace qrx::tool {

class JsonWriter {
 public:
  JsonWriter& beginObject() { return open('{'); }
  JsonWriter& endObject() { return close('}'); }
  JsonWriter& beginArray() { return open('['); }
  JsonWriter& endArray() { return close(']'); }
  JsonWriter& key(std::string_view name);

  // Bytes that are not UTF-8 come out as U+FFFD.
  JsonWriter& value(std::string_view text);
  JsonWriter& value(const char* text) { return value(std::string_view(text)); }
  JsonWriter& value(bool flag) { return token(flag ? "true" : "false"); }
  // Numbers that JSON has no form for (infinity) come out as null.
  JsonWriter& value(double number, int decimals = 3);
  JsonWriter& value(std::integral auto number) { return token(std::to_string(number)); }

  template <typename... T>
  JsonWriter& field(std::string_view name, T... v) {
    return key(name).value(v...);
  }

  const std::string& text() const { return text_; }
  // Writes the text and a line feed to standard output.
  void print() const;

 private:
  JsonWriter& open(char bracket);
  JsonWriter& close(char bracket);
  JsonWriter& token(std::string_view text);
  void separate();
  void quote(std::string_view text);

  std::string text_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_JSON_H_
