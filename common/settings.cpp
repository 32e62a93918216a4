// Where settings come from, and in which order.
#include "qrx/settings.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "common/map.h"
#include "common/text.h"
#include "qrx/utilities.h"

namespace qrx {
namespace {

constexpr int kPathCapacity = 1024;
constexpr int kStringCapacity = 1024;
constexpr int kNumberCapacity = 32;
constexpr int kBoolCapacity = 8;

// The value of an environment variable without white space round it, or null. Lives in the buffer.
const char* readEnvironment(const char* name, char* buffer, int capacity) {
  const char* text = name == nullptr ? nullptr : std::getenv(name);
  if (text == nullptr) return nullptr;
  const size_t length = strnlen(text, static_cast<size_t>(capacity));
  if (length == static_cast<size_t>(capacity)) return nullptr;
  std::memcpy(buffer, text, length + 1);
  stripEnd(buffer);
  return skipSpace(buffer);
}

// Where the files would be; null where there is no place for one. A file must not count as absent
// because memory ran out.
template <typename... Parts>
OwnedText filePath(Parts... parts) {
  errno = 0;
  OwnedText path(qrxBuildFilename(parts..., nullptr));
  if (path == nullptr && errno == ENOMEM) throw std::bad_alloc();
  return path;
}

OwnedText rootFilePath(const char* name) {
  char root[kPathCapacity] = "";
  qrxGetRoot(root, sizeof root);
  return filePath(root, "conf", name);
}

OwnedText userFilePath(const char* name) {
  const char* folder = std::getenv("QRX_USER_CONFIG_DIR");
  if (!isNoValue(folder)) {
    const bool fits = strnlen(folder, kPathCapacity) < kPathCapacity;
    return filePath(fits ? folder : "", name);
  }
  char home[kPathCapacity] = "";
  qrxGetHome(home, sizeof home);
  if (home[0] != '/') return nullptr;  // never a path that depends on the working directory
  return filePath(home, ".qrx", "conf", name);
}

// The file at the path if there is one, else null.
std::unique_ptr<IniFile> openIfExists(const OwnedText& path) {
  if (path == nullptr || access(path.get(), F_OK) != 0) return nullptr;
  return std::make_unique<IniFile>(path.get(), false);
}

// Loads a file; one that fails is told about and dropped.
void load(std::unique_ptr<IniFile>& file) {
  if (file == nullptr) return;
  file->parse(nullptr);
  const ErrorState* error = file->getParserState();
  if (error == nullptr) return;
  std::fprintf(stderr, "Cannot parse .ini file \"%s\":<errnum %d> <linenum %d> <errstr %s>\n",
               file->getFilename(), error->code, error->line, error->message);
  file.reset();
}

template <typename T>
T wholeNumber(const char* text, bool* failed, T onFailure, Number<T> (*read)(const char*)) {
  const Number<T> number = isNoValue(text) ? Number<T>{} : read(text);
  *failed = !number.isWholeText();
  return *failed ? onFailure : number.value;
}

}  // namespace

Settings::Settings() = default;

// The object is complete once Settings() is done: the destructor runs if a file throws.
Settings::Settings(const char* name) : Settings() {
  if (name == nullptr) return;
  adminFile = openIfExists(rootFilePath((std::string(name) + ".admin").c_str()));
  userFile = openIfExists(userFilePath(name));
  systemFile = openIfExists(rootFilePath(name));
}

Settings::~Settings() { closeIniFiles(); }

void Settings::parse() {
  load(adminFile);
  load(userFile);
  load(systemFile);
}

void Settings::closeIniFiles() {
  adminFile.reset();
  userFile.reset();
  systemFile.reset();
}

char* Settings::toString(const char* text) { return isNoValue(text) ? nullptr : strdup(text); }

int Settings::toInt(const char* text, bool* failed) {
  return wholeNumber(text, failed, -1, readInt);
}

double Settings::toDouble(const char* text, bool* failed) {
  return wholeNumber(text, failed, 0.0, readDouble);
}

bool Settings::toBool(const char* text, bool* failed) {
  *failed = false;
  if (!isNoValue(text)) {
    if (equalsIgnoringCase(text, "false")) return false;
    if (equalsIgnoringCase(text, "true")) return true;
    const Number<int> number = readInt(text);
    if (number.isWholeText() && (number.value == 0 || number.value == 1)) return number.value == 1;
  }
  *failed = true;
  return false;
}

// Offers the texts of all sources to `use`, until it takes one. False if it takes none.
template <typename Use>
bool Settings::lookUp(const char* envName, const char* section, const char* key, char* buffer,
                      int capacity, Use use) const {
  const auto useFile = [&](const std::unique_ptr<IniFile>& file) {
    return file != nullptr && use(file->getValue(section, key));
  };
  return useFile(adminFile) || use(readEnvironment(envName, buffer, capacity)) ||
         useFile(userFile) || useFile(systemFile);
}

char* Settings::stringSetting(const char* envName, const char* section, const char* key,
                              const char* defaultValue) const {
  char buffer[kStringCapacity];
  char* value = nullptr;
  const bool found =
      lookUp(envName, section, key, buffer, sizeof buffer, [&value](const char* text) {
        if (!isNoValue(text)) value = copyText(text);
        return value != nullptr;
      });
  if (!found && defaultValue != nullptr) value = copyText(defaultValue);
  return value;
}

template <typename T>
T Settings::numberSetting(const char* envName, const char* section, const char* key, char* buffer,
                          int capacity, T defaultValue, T (*convert)(const char*, bool*)) const {
  T value = defaultValue;
  const bool found =
      lookUp(envName, section, key, buffer, capacity, [&value, convert](const char* text) {
        bool failed = false;
        value = convert(text, &failed);
        return !failed;
      });
  return found ? value : defaultValue;
}

int Settings::intSetting(const char* envName, const char* section, const char* key,
                         int defaultValue) const {
  char buffer[kNumberCapacity];
  return numberSetting(envName, section, key, buffer, sizeof buffer, defaultValue, toInt);
}

double Settings::doubleSetting(const char* envName, const char* section, const char* key,
                               double defaultValue) const {
  char buffer[kNumberCapacity];
  return numberSetting(envName, section, key, buffer, sizeof buffer, defaultValue, toDouble);
}

bool Settings::boolSetting(const char* envName, const char* section, const char* key,
                           bool defaultValue) const {
  char buffer[kBoolCapacity];
  return numberSetting(envName, section, key, buffer, sizeof buffer, defaultValue, toBool);
}

}  // namespace qrx
