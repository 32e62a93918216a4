// Options that several subcommands share.
#ifndef QRX_TOOLS_COMMANDS_OPTIONS_H_
#define QRX_TOOLS_COMMANDS_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "tools/host/session.h"
#include "tools/image/image_io.h"

namespace qrx::tool {

// Streams and exit codes, for --help.
inline constexpr char kConventions[] =
    "Results go to standard output, messages and progress to standard error.\n"
    "Exit codes: 0 done, 1 failed, 2 damaged input or partial result, 64 wrong usage.";

// Adds a subcommand whose parsed options live in a T that `run` gets: `define(command, options)`
// describes them. `text` stands in the list of subcommands, `details` at the end of its own help.
template <typename T, typename Action, typename Define, typename Run>
CLI::App* addCommand(CLI::App& app, Action& action, const char* name, const char* text,
                     const std::string& details, Define define, Run run) {
  CLI::App* command = app.add_subcommand(name, text);
  command->footer(details + "\n\n" + kConventions);
  auto options = std::make_shared<T>();
  define(*command, *options);
  command->callback([&action, options, run] { action = [options, run] { return run(*options); }; });
  return command;
}

// --library and --slot.
void addHostOptions(CLI::App& command, HostOptions& options);
// --quality, 1 to 97.
void addQualityOption(CLI::App& command, unsigned& quality);
// --sampling 444|422|420.
void addSamplingOption(CLI::App& command, std::optional<Sampling>& sampling);
// --format png|ppm, for streams.
void addFormatOption(CLI::App& command, std::optional<ImageFormat>& format, const char* text);
// --size WxH.
void addSizeOption(CLI::App& command, Size& size);
// --json.
void addJsonOption(CLI::App& command, bool& json);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_OPTIONS_H_
