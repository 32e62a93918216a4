// The running process and the places that the environment names.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "qrx/env.h"
#include "qrx/utilities.h"

namespace {

constexpr char kDefaultRoot[] = "/opt/brel/qrx";
constexpr char kUnknownProcess[] = "Unknown";

// False if nothing could be read, or the first word is empty.
bool readFirstWord(char* buffer, int capacity) {
  std::FILE* file = std::fopen("/proc/self/cmdline", "r");
  if (file == nullptr) return false;
  const bool found = std::fgets(buffer, capacity, file) != nullptr && *buffer != '\0';
  std::fclose(file);
  return found;
}

}  // namespace

extern "C" {

int qrxGetCurrentProcessExe(char* buffer, int capacity) {
  if (buffer == nullptr || capacity <= 0) return -1;
  ssize_t length = readlink("/proc/self/exe", buffer, static_cast<size_t>(capacity));
  if (length < 1) return -1;
  if (length >= capacity) length = capacity - 1;
  buffer[length] = '\0';
  return static_cast<int>(length);
}

void qrxGetCurrentProcessName(char* buffer, int capacity) {
  if (buffer == nullptr || capacity <= 0) return;
  if (readFirstWord(buffer, capacity)) return;
  if (static_cast<size_t>(capacity) >= sizeof kUnknownProcess) {
    std::memcpy(buffer, kUnknownProcess, sizeof kUnknownProcess);
  }
}

void qrxGetHome(char* buffer, int capacity) {
  if (buffer == nullptr || capacity <= 0) return;
  const char* home = getenv("HOME");
  if (home == nullptr) home = "";
  const size_t length = std::strlen(home);
  if (length < static_cast<size_t>(capacity)) std::memcpy(buffer, home, length + 1);
}

void qrxGetRoot(char* buffer, int capacity) {
  qrx::Env::getString("QRX_ROOT", buffer, capacity, kDefaultRoot);
}

char* qrxGetLibDir() {
  char root[1024] = "";
  qrxGetRoot(root, sizeof root);
  return qrxBuildFilename(root, "lib", nullptr);
}

}  // extern "C"
