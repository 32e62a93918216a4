// qrx-jpeg: a sample host of libqrx_jpeg on the command line.
#include <cstdio>
#include <exception>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/support/error.h"

namespace {

using namespace qrx::tool;

int runChosen(const Action& action) {
  try {
    const int code = action();
    if (std::fflush(stdout) != 0) throw Error("cannot write to standard output");
    return code;
  } catch (const Error& error) {
    std::fprintf(stderr, "qrx-jpeg: %s\n", error.what());
    return error.code();
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "qrx-jpeg: out of memory\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qrx-jpeg: %s\n", error.what());
  }
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Compresses, decodes and inspects JPEG images through libqrx_jpeg.", "qrx-jpeg");
  app.footer(kConventions);
  app.require_subcommand(1);
  Action action;
  for (const AddCommand add : kCommands) add(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  return runChosen(action);
}
