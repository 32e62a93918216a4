// Prints the application checks' answers about itself: blacklisted, rendering server in use.
#include <cstdio>

#include "qrx/application_checks.h"

int main() {
  std::printf("%d %d\n", qrxIsBlacklisted() ? 1 : 0, qrxIsJolEnabled() ? 1 : 0);
  return 0;
}
