// Options that several subcommands share.
#ifndef QRX_TOOLS_COMMANDS_OPTIONS_H_
#define QRX_TOOLS_COMMANDS_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "tools/commands/run.h"
#include "tools/host/picture.h"
#include "tools/host/session.h"
#include "tools/image/image_io.h"

namespace qrx::tool {

// Streams and exit codes, for --help.
inline constexpr char kConventions[] =
    "Results go to standard output, messages and progress to standard error.\n"
    "Exit codes: 0 done, 1 failed, 2 damaged input or partial result, 64 wrong usage.";

// -V, --version.
void addVersionFlag(CLI::App& command);

// Adds a subcommand whose parsed options live in a T that `run` gets: `define(command, options)`
// describes them. `text` stands in the list of subcommands, `details` at the end of its own help.
template <typename T, typename Action, typename Run>
CLI::App* addCommand(CLI::App& app, Action& action, const char* name, const char* text,
                     const std::string& details, void (*define)(CLI::App& command, T& options),
                     Run run) {
  CLI::App* command = app.add_subcommand(name, text);
  command->footer(details + "\n\n" + kConventions);
  addVersionFlag(*command);
  auto options = std::make_shared<T>();
  define(*command, *options);
  command->callback([&action, options, run] {
    action = [options, run] {
      bool json = false, strict = false;
      if constexpr (requires { options->json; }) json = options->json;
      if constexpr (requires { options->strict; }) strict = options->strict;
      return runGuarded([&] { return run(*options); }, json, strict);
    };
  });
  return command;
}

// How much a command says beside its result and its errors.
struct TalkOptions {
  bool quiet = false;    // nothing, not even the result line
  bool verbose = false;  // how it goes about its work

  // "qrx-jpeg: note: TEXT" on standard error, unless quiet.
  void note(const std::string& text) const;
  // "qrx-jpeg: TEXT" on standard error, if verbose.
  void detail(const std::string& text) const;
};

// --quiet and -v.
void addTalkOptions(CLI::App& command, TalkOptions& options);
// --library and --slot.
void addHostOptions(CLI::App& command, HostOptions& options);
// -q, --quality, 1 to 100.
void addQualityOption(CLI::App& command, unsigned& quality);
// The same without a default of its own.
void addQualityOption(CLI::App& command, std::optional<unsigned>& quality);
// What the library makes of a quality, with a note where that is another.
unsigned usedQuality(unsigned quality, const TalkOptions& talk = {});
// Warns where the environment holds a sampling that the library takes for its default.
void checkSamplingVariable(const TalkOptions& talk);
// --sampling 444|422|420.
void addSamplingOption(CLI::App& command, std::optional<Sampling>& sampling);
// --format png|ppm|pgm|pnm, for streams.
void addFormatOption(CLI::App& command, std::optional<ImageFormat>& format, const char* text);
// --size and --pixels, for raw input, and those of addDecodeOptions.
void addPictureOptions(CLI::App& command, PictureRequest& request);
// --pixels alone.
void addPixelsOption(CLI::App& command, std::optional<PixelOrder>& order);
// --no-orient and the limits alone.
void addDecodeOptions(CLI::App& command, DecodeRequest& request);
// --max-pixels, --max-memory and --max-scans.
void addLimitOptions(CLI::App& command, Limits& limits);
// Of these, the first two.
void addWindowLimitOptions(CLI::App& command, Limits& limits);

// Which metadata go from the input to the output.
struct MetadataChoice {
  bool exif = true, icc = true;
  bool any() const { return exif || icc; }
};
// --metadata all|exif|icc|none.
void addMetadataOption(CLI::App& command, MetadataChoice& choice);
// What of the metadata of `name` is chosen and fits the output's colours; notes tell what does not.
Metadata chooseMetadata(const std::string& name, Metadata metadata, const MetadataChoice& choice,
                        bool gray, const TalkOptions& talk);
// The note of a profile that is left out for its fault, if there is one.
void noteProfile(const std::string& name, const std::string& iccFault, const TalkOptions& talk);

// --size WxH.
void addSizeOption(CLI::App& command, Size& size);
// --key FILE, of both ends of a live session.
void addKeyOption(CLI::App& command, std::string& key);
// --strict.
void addStrictOption(CLI::App& command, bool& strict);
// --json.
void addJsonOption(CLI::App& command, bool& json);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_OPTIONS_H_
