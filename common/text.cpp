// Numbers and comparisons that do not depend on the locale of the host.
#include "common/text.h"

#include <locale.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

namespace qrx {
namespace {

char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

void stripEnd(char* text) {
  size_t length = std::strlen(text);
  while (length > 0 && isSpace(text[length - 1])) --length;
  text[length] = '\0';
}

bool equalsIgnoringCase(const char* a, const char* b) {
  while (*a != '\0' && toLower(*a) == toLower(*b)) {
    ++a;
    ++b;
  }
  return toLower(*a) == toLower(*b);
}

Number<int> readInt(const char* text) {
  while (isSpace(*text)) ++text;
  if (*text == '+') {
    ++text;
    if (*text == '-') return {};
  }
  int value = 0;
  const auto [rest, error] = std::from_chars(text, text + std::strlen(text), value);
  if (error == std::errc::invalid_argument) return {};
  return {rest, error == std::errc(), value};
}

Number<double> readDouble(const char* text) {
  // The C library keeps this locale ready: no memory is taken.
  const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  if (cLocale == nullptr) return {};
  const int savedErrno = errno;
  errno = 0;
  char* rest = nullptr;
  const double value = strtod_l(text, &rest, cLocale);
  const bool outOfRange = errno == ERANGE && (std::isinf(value) || value == 0);
  errno = savedErrno;
  freelocale(cLocale);

  if (rest == text) return {};
  if (outOfRange) return {rest, false, 0};
  if (!std::isfinite(value)) return {};  // the words for infinity and NaN hold no digit
  return {rest, true, value};
}

}  // namespace qrx
