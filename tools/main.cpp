// qrx-jpeg: a sample host of libqrx_jpeg on the command line.
#include <csignal>
#include <cstdio>
#include <exception>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/run.h"
#include "tools/commands/usage.h"
#include "tools/support/error.h"

namespace {

using namespace qrx::tool;

// Usage errors in the form of all others; help and version go to standard output.
int tellParseError(const CLI::App& app, const Words& words, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) return app.exit(error) == 0 ? kDone : kFailed;
  return tellError(wrongUsage(app, words, error), kUsage, asksForJson(words));
}

int runTool(int argc, char** argv) {
  CLI::App app("Compresses, decodes and inspects JPEG images through libqrx_jpeg.", "qrx-jpeg");
  app.footer(kConventions);
  addVersionFlag(app);
  app.require_subcommand(1);
  Action action;
  for (const AddCommand add : kCommands) add(app, action);
  const Words words(argv + 1, argv + argc);
  const std::string wrong = wrongCommand(app, words);
  if (!wrong.empty()) return tellError(wrong, kUsage, asksForJson(words));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return tellParseError(app, words, error);
  }
  // A closed pipe and a file that may not grow are errors of the write.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  return action();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runTool(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qrx-jpeg: %s\n", error.what());
  }
  return kFailed;
}
