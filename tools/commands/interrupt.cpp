// The signal handler.
#include "tools/commands/interrupt.h"

#include <csignal>

namespace qrx::tool {
namespace {

std::atomic<bool> g_interrupted{false};

void onSignal(int) { g_interrupted = true; }

}  // namespace

const std::atomic<bool>& interruptFlag() {
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
  return g_interrupted;
}

}  // namespace qrx::tool
