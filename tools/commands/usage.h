// What is wrong with a command line, in the form of all messages of the tool.
#ifndef QRX_TOOLS_COMMANDS_USAGE_H_
#define QRX_TOOLS_COMMANDS_USAGE_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace qrx::tool {

using Words = std::vector<std::string>;  // of the command line, without the program's name

// Whether --json is among the options, however wrong the others are.
bool asksForJson(const Words& words);

// "WHERE: what is wrong: what to do" for words that name no command, before the parser sees them;
// empty where the command is there.
std::string wrongCommand(const CLI::App& app, const Words& words);

// The same for what the parser refused.
std::string wrongUsage(const CLI::App& app, const Words& words, const CLI::ParseError& error);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_USAGE_H_
