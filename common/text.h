// Small tests on texts, and reading numbers from them, the same in every locale of the host.
#ifndef QRX_COMMON_TEXT_H_
#define QRX_COMMON_TEXT_H_

#include <cctype>
#include <cstring>

#include "common/malloc_ptr.h"

namespace qrx {

using OwnedText = MallocPtr<char>;

inline bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// A null pointer, an empty text and "<null>" stand for "not set" wherever a value is looked for.
inline bool isNoValue(const char* text) {
  return text == nullptr || *text == '\0' || std::strcmp(text, "<null>") == 0;
}

inline char* skipSpace(char* text) {
  while (isSpace(*text)) ++text;
  return text;
}

// Cuts white space off the end of the text, in place.
void stripEnd(char* text);

// Compares without regard to the case of the letters A to Z.
bool equalsIgnoringCase(const char* a, const char* b);

// A number at the start of a text.
template <typename T>
struct Number {
  const char* rest;  // what follows the number; null if no digit was read
  bool inRange;      // the type holds the number; if not, value is 0
  T value;

  // The number is all that the text holds, and can be used.
  bool isWholeText() const { return rest != nullptr && *rest == '\0' && inRange; }
};

// Both skip white space at the start and allow a sign.
Number<int> readInt(const char* text);
Number<double> readDouble(const char* text);

}  // namespace qrx

#endif  // QRX_COMMON_TEXT_H_
