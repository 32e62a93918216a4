// qrx-jpeg decode: JPEGs to pictures.
#include <chrono>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/host/frame.h"
#include "tools/jpeg/walk.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

constexpr char kDamageHelp[] =
    "Damage is told from the markers (a missing end, cut segments, missing tables, lost restart\n"
    "  "
    "markers) and from the library's messages. The picture is then written as far as it goes,\n"
    "gray where nothing came, with exit code 2; where nothing at all was decoded there is no\n"
    "picture, and the exit code is 1. What cannot be seen: wrong bits inside the compressed data\n"
    "   "
    "of a baseline image, which the decoder conceals.";

struct DecodeOptions {
  OutputOptions files;
  std::optional<ImageFormat> format;
  bool json = false;
  TalkOptions talk;
  HostOptions host;
};

void tellDamage(const JpegInfo& info, const std::string& libraryMessages) {
  for (const std::string& text : info.damage) {
    std::fprintf(stderr, "qrx-jpeg: damaged: %s\n", text.c_str());
  }
  std::fputs(libraryMessages.c_str(), stderr);
}

void printReport(const DecodeOptions& options, const std::string& output, const JpegFrame& frame,
                 double ms, bool damaged) {
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", output)
        .field("width", frame.width)
        .field("height", frame.height)
        .field("sampling", samplingText(frame))
        .field("damaged", damaged)
        .field("ms", ms)
        .endObject()
        .print();
    return;
  }
  if (options.talk.quiet) return;
  std::fprintf(isStream(output) ? stderr : stdout, "%s: %dx%d, %s, %.2f ms%s\n",
               displayName(output).c_str(), frame.width, frame.height, samplingText(frame).c_str(),
               ms, damaged ? ", damaged" : "");
}

int decodePair(const DecodeOptions& options, const FilePair& pair, PixelCount& pixels) {
  const ImageFormat format = outputFormat(pair.output, options.format);
  const std::vector<std::uint8_t> data = readFile(pair.input);
  const JpegInfo info = walkJpeg(data);
  const JpegFrame* frame = info.frame();
  if (frame == nullptr || frame->width == 0 || frame->height == 0) {
    tellDamage(info, "");
    throw Error(displayName(pair.input) + ": no JPEG image of a known size");
  }
  Session session(options.host);
  options.talk.detail(pair.input + ": slot " + std::to_string(session.slot()));
  codec::Decompressor& decompressor = session.decompressor();
  const auto start = std::chrono::steady_clock::now();
  const DecodedFrame decoded = decompressFrame(decompressor, data, {frame->width, frame->height});
  const std::chrono::duration<double, std::milli> ms = std::chrono::steady_clock::now() - start;
  const bool damaged = !info.damage.empty() || !decoded.messages.empty();
  if (damaged) tellDamage(info, decoded.messages);
  if (damaged && !decoded.anyPixel) {
    throw Error(displayName(pair.input) + ": nothing could be decoded");
  }
  writeImage(pair.output, decoded.image, format, options.files.noClobber);
  pixels += decoded.image.pixels.size() / Image::kBytesPerPixel;
  printReport(options, pair.output, *frame, ms.count(), damaged);
  return damaged ? kDamaged : kDone;
}

// What the outputs are called: in a folder, and at all.
OutputKind outputKind(const std::optional<ImageFormat>& format) {
  if (!format) return {"PNG or PPM", {".png", ".ppm", ".pnm"}};
  if (*format == ImageFormat::kPng) return {"PNG", {".png"}};
  return {"PPM", {".ppm", ".pnm"}};
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
                   "Without -o: one input, one output, a PNG or PPM by its name");
  addFormatOption(command, options.format,
                  "Format of the output; needed where its name does not tell, as for -");
  addJsonOption(command, options.json);
  addTalkOptions(command, options.talk);
  addHostOptions(command, options.host);
}

}  // namespace

void addDecode(CLI::App& app, Action& action) {
  addCommand<DecodeOptions>(app, action, "decode", "Decode JPEGs to pictures", kDamageHelp, define,
                            runDecode);
}

}  // namespace qrx::tool
