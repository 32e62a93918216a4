// The end of a command: its exit code, or the reason why there is none.
#ifndef QRX_TOOLS_COMMANDS_RUN_H_
#define QRX_TOOLS_COMMANDS_RUN_H_

#include <functional>
#include <string>

namespace qrx::tool {

// Tells an error on standard error, with `json` as an object on standard output too. Returns
// `code`.
int tellError(const std::string& text, int code, bool json);

// Runs `work`; what it throws is told, and becomes an exit code. `strict`: damage is a failure.
int runGuarded(const std::function<int()>& work, bool json, bool strict = false);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_RUN_H_
