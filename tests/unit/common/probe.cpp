// Prints the application checks' answers about itself: blacklisted, rendering server in use.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "qrx/application_checks.h"

// Takes the place of the system's function, so that a process can hide its executable.
extern "C" __attribute__((visibility("default"))) ssize_t readlink(const char* path, char* buffer,
                                                                   size_t size) noexcept {
  if (std::getenv("QRX_PROBE_HIDDEN") == nullptr) return readlinkat(AT_FDCWD, path, buffer, size);
  errno = EACCES;
  return -1;
}

int main() {
  std::printf("%d %d\n", qrxIsBlacklisted() ? 1 : 0, qrxIsJolEnabled() ? 1 : 0);
  return 0;
}
