// The subcommands: each file in this folder adds one to the command line.
#ifndef QRX_TOOLS_COMMANDS_COMMANDS_H_
#define QRX_TOOLS_COMMANDS_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <functional>

namespace qrx::tool {

// What the chosen subcommand does once the command line is parsed; the result is the exit code.
using Action = std::function<int()>;
using AddCommand = void (*)(CLI::App& app, Action& action);

void addEncode(CLI::App& app, Action& action);
void addDecode(CLI::App& app, Action& action);
void addInfo(CLI::App& app, Action& action);
void addPsnr(CLI::App& app, Action& action);
void addScene(CLI::App& app, Action& action);
void addPackets(CLI::App& app, Action& action);
void addUnpack(CLI::App& app, Action& action);
void addInspect(CLI::App& app, Action& action);
void addServe(CLI::App& app, Action& action);
void addView(CLI::App& app, Action& action);
void addRelay(CLI::App& app, Action& action);
void addBench(CLI::App& app, Action& action);
void addVersion(CLI::App& app, Action& action);
void addHelp(CLI::App& app, Action& action);

inline constexpr AddCommand kCommands[] = {addEncode,  addDecode, addInfo,    addPsnr,  addScene,
                                           addPackets, addUnpack, addInspect, addServe, addView,
                                           addRelay,   addBench,  addVersion, addHelp};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_COMMANDS_H_
