// The end of a command: its exit code, or the reason why there is none.
#ifndef QRX_TOOLS_COMMANDS_RUN_H_
#define QRX_TOOLS_COMMANDS_RUN_H_

#include <functional>

namespace qrx::tool {

// Runs `work`; what it throws becomes a message and an exit code, with `json` an object on
// standard output too. A usage error is a message only. `strict`: damage is a failure.
int runGuarded(const std::function<int()>& work, bool json, bool strict = false);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_RUN_H_
