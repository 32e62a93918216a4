// Formatting, splitting, joining and matching of texts.
#include "qrx/utilities.h"

#include <stdlib.h>
#include <string.h>

#include <cstdarg>
#include <cstdio>

namespace {

// A path under construction: each part is followed by a '/', its own or one that is put there.
class PathBuffer {
 public:
  // False if the part and a '/' behind it don't fit.
  bool append(const char* part) {
    const size_t partLength = strnlen(part, kAvailable);
    if (partLength == 0) return true;
    if (partLength + 1 > kAvailable - length) return false;
    memcpy(text + length, part, partLength);
    length += partLength;
    const char last = text[length - 1];
    if (last != '/' && last != '\\') text[length++] = '/';
    return true;
  }

  char* copyWithoutLast() {
    text[length > 0 ? length - 1 : 0] = '\0';
    return strdup(text);
  }

 private:
  static constexpr size_t kAvailable = 4095;
  char text[kAvailable + 1];
  size_t length = 0;
};

}  // namespace

extern "C" {

int qrxSprintf(char* buffer, int capacity, const char* format, ...) {
  if (buffer == nullptr || capacity <= 0 || format == nullptr) return -1;
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(buffer, static_cast<size_t>(capacity), format, arguments);
  va_end(arguments);
  return length < capacity ? length : capacity - 1;
}

const char* qrxBasename(const char* path) {
  if (path == nullptr) return nullptr;
  const char* slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

char* qrxFormatSize(uint64_t size) {
  constexpr uint64_t kKiB = 1024, kMiB = kKiB * 1024, kGiB = kMiB * 1024;
  const auto bytes = static_cast<double>(size);
  char text[1024];
  if (size < kKiB) {
    qrxSprintf(text, sizeof text, "%u bytes", static_cast<unsigned>(size));
  } else if (size < kMiB) {
    qrxSprintf(text, sizeof text, "%.1f KiB", bytes * (1.0 / kKiB));
  } else if (size < kGiB) {
    qrxSprintf(text, sizeof text, "%.1f MiB", bytes * (1.0 / kMiB));
  } else {
    qrxSprintf(text, sizeof text, "%.1f GiB", bytes * (1.0 / kGiB));
  }
  return strdup(text);
}

unsigned qrxStrsplit(const char* text, char** entries, unsigned capacity, const char* delimiters) {
  if (text == nullptr || *text == '\0' || entries == nullptr || capacity == 0) return 0;
  char* copy = strdup(text);
  if (copy == nullptr) return 0;
  if (delimiters == nullptr) delimiters = "";
  unsigned count = 0;
  char* position = nullptr;
  char* token = strtok_r(copy, delimiters, &position);
  do {
    entries[count++] = token == nullptr ? nullptr : strdup(token);
    if (token != nullptr) token = strtok_r(nullptr, delimiters, &position);
  } while (token != nullptr && count < capacity);
  free(copy);
  return count;
}

char* qrxBuildFilename(const char* first, ...) {
  if (first == nullptr) return nullptr;
  PathBuffer path;
  bool fits = true;
  va_list parts;
  va_start(parts, first);
  for (const char* part = first; part != nullptr && fits; part = va_arg(parts, const char*)) {
    fits = path.append(part);
  }
  va_end(parts);
  return fits ? path.copyWithoutLast() : nullptr;
}

bool qrxMatchExtension(const char* list, const char* word) {
  if (list == nullptr || word == nullptr || *word == '\0' || strchr(word, ' ') != nullptr) {
    return false;
  }
  const size_t length = strlen(word);
  const char* start = list;
  while (const char* hit = strstr(start, word)) {
    const char* end = hit + length;
    const bool startsWord = hit == start || hit[-1] == ' ';
    if (startsWord && (*end == ' ' || *end == '\0')) return true;
    start = end;
  }
  return false;
}

bool qrxMatchAppName(const char* name, const char* path) {
  if (name == nullptr || path == nullptr) return false;
  const size_t nameLength = strlen(name);
  const size_t pathLength = strlen(path);
  return nameLength <= pathLength && strcmp(path + (pathLength - nameLength), name) == 0;
}

}  // extern "C"
