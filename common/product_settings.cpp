// Fills the product's settings from their table, and makes the process's one object.
#include "qrx/product_settings.h"

#include <cstdlib>

namespace qrx {

template class Singleton<conf::Settings>;

namespace conf {
namespace {

void release(char*& text) {
  std::free(text);
  text = nullptr;
}
void release(int) {}  // numbers and switches own nothing

}  // namespace

Settings::Settings(const char* name) : qrx::Settings(name) {}

// The object is complete once the base and the fields are: the destructor runs if a file throws.
Settings::Settings() : Settings("qrx.conf") { Settings::parse(); }

Settings::~Settings() {
  freeSettings();
  closeIniFiles();
}

void Settings::init() { Singleton<Settings>::init(); }

void Settings::reload() {
  init();
  s_instance->parse();
}

void Settings::parse() {
  qrx::Settings::parse();
  freeSettings();
#define QRX_SETTING(variable, section, key, type, default_value, field) \
  field = type##Setting(variable, section, key, default_value);
#include "qrx/product_settings.def"
}

void Settings::freeSettings() {
#define QRX_SETTING(variable, section, key, type, default_value, field) release(field);
#include "qrx/product_settings.def"
}

}  // namespace conf
}  // namespace qrx
