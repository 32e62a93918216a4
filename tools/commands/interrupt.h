// SIGINT and SIGTERM as a flag, for commands that run until they are told to end.
#ifndef QRX_TOOLS_COMMANDS_INTERRUPT_H_
#define QRX_TOOLS_COMMANDS_INTERRUPT_H_

#include <atomic>

namespace qrx::tool {

// From the first call on, the signals set the flag instead of ending the process.
const std::atomic<bool>& interruptFlag();

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_INTERRUPT_H_
