// qrx-jpeg decode: one JPEG to one picture.
#include <chrono>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
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
  std::string input, output;
  std::optional<ImageFormat> format;
  bool json = false;
  HostOptions host;
};

void tellDamage(const JpegInfo& info, const std::string& libraryMessages) {
  for (const std::string& text : info.damage) {
    std::fprintf(stderr, "qrx-jpeg: damaged: %s\n", text.c_str());
  }
  std::fputs(libraryMessages.c_str(), stderr);
}

void printReport(const DecodeOptions& options, const JpegFrame& frame, double ms, bool damaged) {
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", options.output)
        .field("width", frame.width)
        .field("height", frame.height)
        .field("sampling", samplingText(frame))
        .field("damaged", damaged)
        .field("ms", ms)
        .endObject()
        .print();
    return;
  }
  std::fprintf(isStream(options.output) ? stderr : stdout, "%s: %dx%d, %s, %.2f ms%s\n",
               displayName(options.output).c_str(), frame.width, frame.height,
               samplingText(frame).c_str(), ms, damaged ? ", damaged" : "");
}

int runDecode(const DecodeOptions& options) {
  if (options.json && isStream(options.output)) {
    throw Error("--json and the picture cannot both go to standard output", kUsage);
  }
  const ImageFormat format = outputFormat(options.output, options.format);
  const std::vector<std::uint8_t> data = readFile(options.input);
  const JpegInfo info = walkJpeg(data);
  const JpegFrame* frame = info.frame();
  if (frame == nullptr || frame->width == 0 || frame->height == 0) {
    tellDamage(info, "");
    throw Error(displayName(options.input) + ": no JPEG image of a known size");
  }
  Session session(options.host);
  codec::Decompressor& decompressor = session.decompressor();
  const auto start = std::chrono::steady_clock::now();
  const DecodedFrame decoded = decompressFrame(decompressor, data, {frame->width, frame->height});
  const std::chrono::duration<double, std::milli> ms = std::chrono::steady_clock::now() - start;
  const bool damaged = !info.damage.empty() || !decoded.messages.empty();
  if (damaged) tellDamage(info, decoded.messages);
  if (damaged && !decoded.anyPixel) {
    throw Error(displayName(options.input) + ": nothing could be decoded");
  }
  writeImage(options.output, decoded.image, format);
  printReport(options, *frame, ms.count(), damaged);
  return damaged ? kDamaged : kDone;
}

void define(CLI::App& command, DecodeOptions& options) {
  command.add_option("input", options.input, "The JPEG to read; - for standard input")->required();
  command.add_option("output", options.output, "PNG or PPM; - for standard output")->required();
  addFormatOption(command, options.format,
                  "Format of the output; needed where its name does not tell, as for -");
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addDecode(CLI::App& app, Action& action) {
  addCommand<DecodeOptions>(app, action, "decode", "Decode a JPEG to a picture", kDamageHelp,
                            define, runDecode);
}

}  // namespace qrx::tool
