// Questions about the running application, answered from the product's settings.
#include "qrx/application_checks.h"

#include <string.h>

#include "common/text.h"
#include "qrx/log.h"
#include "qrx/product_settings.h"
#include "qrx/utilities.h"

namespace {

constexpr const char* kBuiltInBlacklist[] = {"/usr/bin/nvidia-settings", "firefox"};
constexpr char kDelimiters[] = ": \t\n";
constexpr char kWhere[] = "bool qrxIsBlacklisted()";

const qrx::conf::Settings& settings() {
  qrx::conf::Settings::init();
  return *qrx::Singleton<qrx::conf::Settings>::s_instance;
}

bool matchesBuiltIn(const char* path) {
  for (const char* name : kBuiltInBlacklist) {
    if (qrxMatchAppName(name, path)) return true;
  }
  return false;
}

bool matchesList(const char* list, const char* path) {
  const qrx::OwnedText copy(list == nullptr ? nullptr : strdup(list));
  if (copy == nullptr) return false;
  char* position = nullptr;
  const char* name = strtok_r(copy.get(), kDelimiters, &position);
  while (name != nullptr && !qrxMatchAppName(name, path)) {
    name = strtok_r(nullptr, kDelimiters, &position);
  }
  return name != nullptr;
}

}  // namespace

extern "C" {

bool qrxIsBlacklisted() {
  char path[1024] = "";
  if (qrxGetCurrentProcessExe(path, sizeof path) < 0) {
    qrx_printlog("QRX", 2, "WARNING", kWhere, false, "QRX WRAPPER: Could not obtain process name");
    return false;
  }
  if (!matchesBuiltIn(path) && !matchesList(settings().blacklist, path)) return false;
  qrx_printlog("QRX", 3, "INFO", kWhere, false, "QRX WRAPPER: %s is blacklisted, QRX disabled.",
               path);
  return true;
}

bool qrxIsJolEnabled() {
  if (settings().force_local_rendering) return false;
  const char* server = settings().external_rendering_server;
  return server != nullptr && *server != '\0';
}

}  // extern "C"
