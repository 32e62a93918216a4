// Environment variables with a default.
#include "qrx/env.h"

#include <stdlib.h>

#include <cstring>

#include "common/text.h"

namespace qrx {
namespace {

constexpr size_t kMaxValueLength = 255;

// The text of the variable, or null if it has no value.
const char* valueOf(const char* name) {
  if (name == nullptr) return nullptr;
  const char* text = getenv(name);
  if (isNoValue(text) || strnlen(text, kMaxValueLength + 1) > kMaxValueLength) return nullptr;
  return text;
}

template <typename T>
T numberOf(const char* name, T defaultValue, Number<T> (*read)(const char*)) {
  const char* text = valueOf(name);
  if (text == nullptr) return defaultValue;
  const Number<T> number = read(text);
  return number.rest != nullptr && number.inRange ? number.value : defaultValue;
}

}  // namespace

int Env::getInt(const char* name, int defaultValue) {
  return numberOf(name, defaultValue, readInt);
}

double Env::getDouble(const char* name, double defaultValue) {
  return numberOf(name, defaultValue, readDouble);
}

bool Env::getBool(const char* name, bool defaultValue) {
  const char* text = valueOf(name);
  if (text == nullptr) return defaultValue;
  const Number<int> number = readInt(text);
  if (number.rest == nullptr) return false;
  if (!number.inRange || (number.value != 0 && number.value != 1)) return defaultValue;
  return number.value == 1;
}

void Env::getString(const char* name, char* destination, int size, const char* defaultValue) {
  const size_t room = size > 0 ? static_cast<size_t>(size) : 0;
  const char* text = valueOf(name);
  if (text == nullptr || std::strlen(text) >= room) text = defaultValue;
  if (text == nullptr || destination == nullptr || room == 0) return;
  const size_t length = std::strlen(text);
  if (length < room) {
    std::memmove(destination, text, length + 1);  // the default may stand in the destination
  } else {
    *destination = '\0';
  }
}

bool Env::setDefault(const char* name, const char* value, bool overwrite) {
  static const bool disabled = getBool("QRX_DISABLE_SETENV", false);
  if (disabled) return true;
  if (name == nullptr || value == nullptr) return false;
  return setenv(name, value, overwrite ? 1 : 0) == 0;
}

}  // namespace qrx
