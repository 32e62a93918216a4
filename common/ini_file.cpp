// The store of a configuration file's entries.
#include "qrx/ini_file.h"

#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "common/ini_error.h"
#include "common/map.h"
#include "common/text.h"

namespace qrx {
namespace {

constexpr char kSeparator[] = "::";
constexpr size_t kSeparatorLength = sizeof kSeparator - 1;

bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

// "SECTION::NAME". Upper case makes look-ups independent of case.
OwnedText getKey(const char* section, const char* name) {
  const size_t length = std::strlen(section) + kSeparatorLength + std::strlen(name);
  OwnedText key(static_cast<char*>(std::calloc(length + 1, 1)));
  if (key == nullptr) throw std::bad_alloc();
  std::snprintf(key.get(), length + 1, "%s%s%s", section, kSeparator, name);
  for (char* c = key.get(); *c != '\0'; ++c) {
    *c = static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
  }
  return key;
}

// False, with a line that says why, if the arguments of a value operation can't be used.
bool mayAccess(const char* operation, const ErrorState* error, const char* section,
               const char* name) {
  const char* reason = nullptr;
  if (error != nullptr) {
    reason = "Parser is in error state";
  } else if (isEmpty(section)) {
    reason = "Section is empty";
  } else if (isEmpty(name)) {
    reason = "Name is empty";
  }
  if (reason != nullptr) std::fprintf(stderr, "Cannot %s value: %s\n", operation, reason);
  return reason == nullptr;
}

}  // namespace

struct __attribute__((visibility("hidden"))) IniFile::Private {
  using Map = MapBase<char*, char*, Hash<char*>, EqualTo<char*>>;

  OwnedText filename;
  Map entries;
  MallocPtr<ErrorState> error;  // null while all is well

  // Takes a copy of the name, which may be the present one.
  void rename(const char* name) { filename.reset(name == nullptr ? nullptr : copyText(name)); }

  // Always false, as the result of the load that fails.
  bool fail(const ErrorState& state) {
    if (error == nullptr) error.reset(static_cast<ErrorState*>(std::malloc(sizeof state)));
    if (error == nullptr) throw std::bad_alloc();
    *error = state;
    return false;
  }

  bool parse();
  bool write() const;
  bool writeSection(std::FILE* file, const std::string& section) const;
  std::vector<std::string> sections() const;
  void add(OwnedText key, const char* value, bool keep);
};

void IniFile::Private::add(OwnedText key, const char* value, bool keep) {
  Map::Node* node = entries.find(key.get());
  if (node != nullptr && keep) return;
  OwnedText copy(copyText(value));
  if (node != nullptr) {
    std::free(node->value);
    node->value = copy.release();
  } else {
    entries.insert(key.get(), copy.get());
    static_cast<void>(key.release());  // the map's from here on
    static_cast<void>(copy.release());
  }
}

bool IniFile::Private::parse() {
  if (isEmpty(filename.get())) return fail(makeErrorState(kIniNoSuchFile, 0));
  IniReader reader(filename.get());
  if (const ErrorState* state = reader.getParserState()) {
    std::fprintf(stderr, "Cannot open .ini file \"%s\": %s\n", filename.get(), state->message);
    return fail(*state);
  }
  reader.parseIniFile(
      [](void* user, const char* section, const char* name, const char* value) {
        static_cast<Private*>(user)->add(getKey(section, name), value, false);
        return 1;
      },
      this);
  if (const ErrorState* state = reader.getParserState()) {
    std::fprintf(stderr, "Cannot parse .ini file \"%s\": %s (line %d)\n", filename.get(),
                 state->message, state->line);
    return fail(*state);
  }
  return true;
}

// The names of all sections, in the order of their first entry in the map.
std::vector<std::string> IniFile::Private::sections() const {
  std::vector<std::string> names;
  for (const Map::Node& node : entries) {
    std::string name(node.key, std::strstr(node.key, kSeparator));
    bool known = false;
    for (const std::string& earlier : names) known = known || earlier == name;
    if (!known) names.push_back(std::move(name));
  }
  return names;
}

bool IniFile::Private::writeSection(std::FILE* file, const std::string& section) const {
  if (std::fprintf(file, "[%s]\n", section.c_str()) < 0) return false;
  const std::string prefix = section + kSeparator;
  for (const Map::Node& node : entries) {
    if (std::strncmp(node.key, prefix.c_str(), prefix.size()) != 0) continue;
    if (std::fprintf(file, "%s = %s\n", node.key + prefix.size(), node.value) < 0) return false;
  }
  return true;
}

bool IniFile::Private::write() const {
  const std::vector<std::string> names = sections();
  std::FILE* file = isEmpty(filename.get()) ? nullptr : std::fopen(filename.get(), "wt");
  if (file == nullptr) return false;
  bool written = true;
  for (size_t i = 0; i < names.size() && written; ++i) {
    if (i > 0) written = std::fputs("\n", file) >= 0;
    written = written && writeSection(file, names[i]);
  }
  // What is left in the stream's buffer is written by closing it.
  written = std::fclose(file) == 0 && written;
  sync();
  return written;
}

IniFile::IniFile() : d(new Private) {}

// The object is complete once IniFile() is done: the destructor runs if the load throws.
IniFile::IniFile(const char* filename, bool parse) : IniFile() {
  d->rename(filename);
  if (parse) d->parse();
}

IniFile::~IniFile() { delete d; }

const char* IniFile::getFilename() const { return d->filename.get(); }

const ErrorState* IniFile::getParserState() const { return d->error.get(); }

void IniFile::setFilename(const char* filename, bool parse) {
  const bool hadName = d->filename != nullptr;
  d->rename(filename);
  if (!parse) return;
  if (hadName) d->entries.clear();
  d->error.reset();
  d->parse();
}

bool IniFile::parse(const char* filename) {
  if (filename != nullptr) d->rename(filename);
  d->entries.clear();
  d->error.reset();
  if (isEmpty(d->filename.get())) std::fputs("Cannot parse file: Filename is empty\n", stderr);
  return d->parse();
}

const char* IniFile::getValue(const char* section, const char* name) const {
  if (!mayAccess("get", d->error.get(), section, name)) return nullptr;
  const Private::Map::Node* node = d->entries.find(getKey(section, name).get());
  return node == nullptr ? nullptr : node->value;
}

void IniFile::setValue(const char* section, const char* name, const char* value, bool keep) {
  if (!mayAccess("set", d->error.get(), section, name)) return;
  if (isEmpty(value)) {
    std::fputs("Cannot set value: Value is empty\n", stderr);
    return;
  }
  d->add(getKey(section, name), value, keep);
}

void IniFile::removeValue(const char* section, const char* name) {
  if (!mayAccess("remove", d->error.get(), section, name)) return;
  Private::Map::Node* node = d->entries.find(getKey(section, name).get());
  if (node != nullptr) d->entries.remove(node);
}

bool IniFile::write(const char* filename) {
  if (filename != nullptr) d->rename(filename);
  if (isEmpty(d->filename.get())) std::fputs("Cannot write file: Filename is empty\n", stderr);
  return d->write();
}

}  // namespace qrx
