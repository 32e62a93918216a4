// qrx-jpeg decode: JPEGs to pictures.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/jpeg/walk.h"
#include "tools/support/files.h"
#include "tools/support/json.h"
#include "tools/support/timing.h"

namespace qrx::tool {
namespace {

constexpr char kDamageHelp[] =
    "Damage is told from the markers (a missing end, cut segments, missing tables, lost restart\n"
    "markers) and from the library's messages. The picture is then written as far as it goes,\n"
    "gray where nothing came, with exit code 2; where nothing at all was decoded there is no\n"
    "picture, and the exit code is 1. What cannot be seen: wrong bits inside the compressed data\n"
    "of a baseline image, which the decoder conceals.";

struct DecodeOptions {
  OutputOptions files;
  std::optional<ImageFormat> format;
  bool gray = false;
  DecodeRequest decode;
  MetadataChoice metadata;
  bool json = false;
  bool strict = false;
  TalkOptions talk;
  HostOptions host;
};

void printReport(const DecodeOptions& options, const std::string& output, const JpegFrame& frame,
                 const Picture& picture, double ms) {
  const bool damaged = !picture.damage.empty();
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", output)
        .field("width", picture.image.size.width)
        .field("height", picture.image.size.height)
        .field("sampling", samplingText(frame))
        .field("damaged", damaged)
        .key("damage")
        .beginArray();
    for (const std::string& text : picture.damage) json.value(text);
    json.endArray().field("ms", ms).endObject().print();
    return;
  }
  if (options.talk.quiet) return;
  std::fprintf(isStream(output) ? stderr : stdout, "%s: %dx%d, %s, %.2f ms%s\n",
               displayName(output).c_str(), picture.image.size.width, picture.image.size.height,
               samplingText(frame).c_str(), ms, damaged ? ", damaged" : "");
}

int decodePair(const DecodeOptions& options, const FilePair& pair, PixelCount& pixels) {
  const ImageFormat format = outputFormat(pair.output, options.format);
  const std::vector<std::uint8_t> data = readFile(pair.input);
  const std::string name = displayName(pair.input);
  const JpegInfo info = walkJpeg(data);
  if (const JpegFrame* frame = info.frame()) {
    pixels.known += Size{frame->width, frame->height}.pixels();
  }
  Session session(options.host);
  options.talk.detail(name + ": slot " + std::to_string(session.slot()));
  const Stopwatch watch;
  Picture picture;
  try {
    picture = decodeJpeg(session, data, info, options.decode);
  } catch (const Error& error) {
    throw Error(name + ": " + error.what(), error.code());
  }
  const double ms = watch.elapsed().wall;
  for (const std::string& text : picture.damage) {
    std::fprintf(stderr, "qrx-jpeg: %s: damaged: %s\n", name.c_str(), text.c_str());
  }
  if (options.gray || format == ImageFormat::kPgm) makeGray(picture.image);
  const Metadata metadata = format == ImageFormat::kPng
                                ? chooseMetadata(name, picture.metadata, options.metadata,
                                                 picture.image.gray, options.talk)
                                : Metadata{};
  noteProfile(name,
              writeImage(pair.output, picture.image, format, options.files.noClobber, metadata),
              options.talk);
  pixels.done += picture.image.size.pixels();
  printReport(options, pair.output, *info.frame(), picture, ms);
  return picture.damage.empty() ? kDone : kDamaged;
}

// What the outputs are called: in a folder, and at all.
OutputKind outputKind(const std::optional<ImageFormat>& format) {
  if (!format) return {"PNG or PNM", {".png", ".ppm", ".pgm", ".pnm"}};
  if (*format == ImageFormat::kPng) return {"PNG", {".png"}};
  if (*format == ImageFormat::kPgm) return {"PGM", {".pgm", ".pnm"}};
  return {"PNM", {*format == ImageFormat::kPpm ? ".ppm" : ".pnm", ".ppm", ".pnm"}};
}

int runDecode(const DecodeOptions& options) {
  const std::vector<FilePair> pairs = planOutputs(options.files, outputKind(options.format));
  if (options.json && isStream(pairs.front().output)) {
    throw Error("--json and the picture cannot both go to standard output", kUsage);
  }
  for (const FilePair& pair : pairs) outputFormat(pair.output, options.format);
  return runPairs(
      pairs, options.files.jobs, options.talk, options.json,
      [&](const FilePair& pair, PixelCount& pixels) { return decodePair(options, pair, pixels); });
}

void define(CLI::App& command, DecodeOptions& options) {
  addOutputOptions(command, options.files, "JPEGs",
                   "Without -o: one input, one output, a PNG, PPM, PGM or PNM by its name");
  addFormatOption(command, options.format,
                  "Format of the output, where its name does not tell; - takes PNM: PPM, or PGM "
                  "without colour");
  command.add_flag("--gray", options.gray, "Without colour; pictures without it are gray anyway");
  addDecodeOptions(command, options.decode);
  addMetadataOption(command, options.metadata);
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
  addTalkOptions(command, options.talk);
  addHostOptions(command, options.host);
}

}  // namespace

void addDecode(CLI::App& app, Action& action) {
  addCommand<DecodeOptions>(app, action, "decode", "Decode JPEGs to pictures", kDamageHelp, define,
                            runDecode);
}

}  // namespace qrx::tool
