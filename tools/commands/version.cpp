// qrx-jpeg version and help: what runs here, and how it is used.
#include <cstdio>
#include <filesystem>

#include "tools/commands/commands.h"
#include "tools/commands/manual.h"
#include "tools/commands/options.h"
#include "tools/commands/usage.h"
#include "tools/host/cpu_slots.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct VersionOptions {
  bool json = false;
  HostOptions host;
};

int runVersion(const VersionOptions& options) {
  const std::string library =
      options.host.library.empty() ? Library::defaultPath() : options.host.library;
  const Library loaded(library);
  const int abi = loaded.contractVersion();
  Session session(options.host);
  // The file behind the links carries the library's version in its name.
  std::error_code ignored;
  const std::string file = std::filesystem::canonical(library, ignored).string();
  constexpr char kBuild[] = QRX_TOOL_BUILD_TYPE ", compiler " __VERSION__;
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("version", QRX_TOOL_VERSION)
        .field("library", file)
        .field("abi", abi)
        .field("slot", session.slot())
        .field("slot_needs", slotNeeds(session.slot()))
        .field("build", kBuild)
        .endObject()
        .print();
    return kDone;
  }
  std::printf("qrx-jpeg %s\nlibrary  %s\nABI      %d\nslot     %d (%s)\nbuild    %s\n",
              QRX_TOOL_VERSION, file.c_str(), abi, session.slot(), slotNeeds(session.slot()),
              kBuild);
  return kDone;
}

void define(CLI::App& command, VersionOptions& options) {
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

struct HelpOptions {
  std::string command;
  std::string shell;  // whose completion
  bool man = false;
};

int runHelp(const CLI::App& app, const HelpOptions& options) {
  std::string text;
  if (options.man) {
    text = manualPage(app);
  } else if (!options.shell.empty()) {
    text = completion(app, options.shell);
  } else if (options.command.empty()) {
    // help() would be that of the command that was parsed, which is this one.
    text = app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
  } else {
    const std::string wrong = wrongCommand(app, {options.command});
    if (!wrong.empty()) throw Error(wrong, kUsage);
    text = app.get_subcommand(options.command)->help(app.get_name());
  }
  std::fputs(text.c_str(), stdout);
  return kDone;
}

}  // namespace

void addVersion(CLI::App& app, Action& action) {
  addCommand<VersionOptions>(app, action, "version",
                             "Print the versions of tool and library, and what the library runs",
                             "ABI is the version of the contract between library and host. slot "
                             "tells the processor\nforms that the library chose here.",
                             define, runVersion);
}

void addHelp(CLI::App& app, Action& action) {
  addCommand<HelpOptions>(
      app, action, "help", "Print the help of a command",
      "Without a command: the list of them. qrx-jpeg help --man | man -l - shows the page.",
      [](CLI::App& command, HelpOptions& options) {
        command.add_option("command", options.command, "The command");
        command.add_flag("--man", options.man, "Print all of it as a page for man");
        command
            .add_option("--completion", options.shell,
                        "Print a script that teaches a shell the commands and options")
            ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""))
            ->type_name("bash|zsh|fish");
      },
      [&app](const HelpOptions& options) { return runHelp(app, options); });
}

}  // namespace qrx::tool
