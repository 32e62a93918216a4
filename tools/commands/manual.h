// The command line's own description in other forms: all from the options as they are parsed.
#ifndef QRX_TOOLS_COMMANDS_MANUAL_H_
#define QRX_TOOLS_COMMANDS_MANUAL_H_

#include <CLI/CLI.hpp>
#include <string>

namespace qrx::tool {

// A page for man(1) in section 1.
std::string manualPage(const CLI::App& app);

// A script that teaches a shell the commands and options: bash, zsh or fish.
std::string completion(const CLI::App& app, const std::string& shell);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_MANUAL_H_
