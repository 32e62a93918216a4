// Any text as a configuration file: reader and store tell the same, and what the store writes it
// reads again.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

#include "fuzz/kit.h"
#include "fuzz/scratch_file.h"
#include "qrx/ini_file.h"

// The store flushes all disks behind a file: nothing to try, and far too slow.
extern "C" void sync() noexcept {}

namespace {

using fuzz::require;

// Values by section and name in upper case.
using Entries = std::map<std::pair<std::string, std::string>, std::string>;

std::string upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

int collect(void* user, const char* section, const char* name, const char* value) {
  require(std::strlen(section) < 50 && std::strlen(name) + std::strlen(value) < 200);
  (*static_cast<Entries*>(user))[{upper(section), upper(name)}] = value;
  return 1;
}

void holdsAll(const qrx::IniFile& file, const Entries& entries) {
  for (const auto& [key, value] : entries) {
    const auto& [section, name] = key;
    const char* found = file.getValue(section.c_str(), name.c_str());
    if (section.empty() || name.empty()) {
      require(found == nullptr);
      continue;
    }
    // "A::" with "b" and "A" with "::b" are one key.
    const bool isShared = section.find(':') != std::string::npos || name[0] == ':';
    require(found != nullptr && (isShared || found == value));
  }
}

// Whether the store's lines hold the entries, with sections that keep their own names.
bool comesBack(const Entries& entries) {
  return std::all_of(entries.begin(), entries.end(), [](const auto& entry) {
    const auto& [section, name] = entry.first;
    return name.size() + entry.second.size() < 190 && section.find(':') == std::string::npos;
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::ScratchFile source, target;
  fuzz::Input input(data, size);
  const bool changes = input.oneIn(2);
  source.fill(input.rest());

  Entries entries;
  qrx::IniReader reader(source.path());
  const bool isRead = reader.parseIniFile(collect, &entries);
  require(isRead == (reader.getParserState() == nullptr));

  qrx::IniFile file(source.path(), true);
  require(isRead == (file.getParserState() == nullptr));
  if (!isRead) {
    require(file.getValue("a", "b") == nullptr);
    return 0;
  }
  holdsAll(file, entries);
  if (!comesBack(entries)) return 0;
  if (changes && !entries.empty()) {
    const auto [section, name] = entries.begin()->first;
    file.removeValue(section.c_str(), name.c_str());
    if (!section.empty() && !name.empty()) entries.erase({section, name});
    file.setValue("Section", "name", "first", false);
    file.setValue("SECTION", "Name", "second", true);
    entries[{"SECTION", "NAME"}] = "first";
  }
  holdsAll(file, entries);
  require(file.write(target.path()));
  const qrx::IniFile again(target.path(), true);
  require(again.getParserState() == nullptr);
  holdsAll(again, entries);
  return 0;
}
