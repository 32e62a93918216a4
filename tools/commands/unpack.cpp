// qrx-jpeg unpack: pictures out of files of packets, with as much loss as is asked for.
#include <algorithm>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/network_options.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/live/stored_packets.h"
#include "tools/live/unpacking.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct UnpackOptions {
  OutputOptions files;
  UnpackRequest request;
  std::optional<ImageFormat> format;
  bool json = false;
  bool strict = false;
  TalkOptions talk;
  HostOptions host;
};

void printJson(const Unpacked& result, const std::string& output) {
  const AssemblerStatistics& s = result.statistics;
  JsonWriter json;
  json.beginObject()
      .field("output", output)
      .field("width", result.picture.size.width)
      .field("height", result.picture.size.height)
      .field("frames", result.frames)
      .field("packets", result.network.taken)
      .field("packets_lost", result.network.lost)
      .field("packets_reordered", result.network.reordered);
  for (std::size_t i = 0; i < kVerdictCount; ++i) {
    json.field(std::string("packets_") + verdictName(static_cast<Verdict>(i)), s.verdicts[i]);
  }
  json.field("coverage", s.coverage).field("right", result.right).endObject().print();
}

void printText(const Unpacked& result, const std::string& output) {
  const auto number = [](std::uint64_t n) { return static_cast<unsigned long long>(n); };
  std::fprintf(isStream(output) ? stderr : stdout,
               "%s: %dx%d after %u frames, %llu packets, %llu lost, %llu refused, "
               "%.2f%% up to date, %.2f%% of the pixels right\n",
               displayName(output).c_str(), result.picture.size.width, result.picture.size.height,
               result.frames, number(result.network.taken), number(result.network.lost),
               number(result.statistics.refused()), result.statistics.coverage, result.right);
}

int unpackPair(const UnpackOptions& options, const FilePair& pair, PixelCount& pixels) {
  PacketFile file = readPacketFile(pair.input);
  std::vector<Packet> packets;
  packets.reserve(file.entries.size());
  for (PacketFile::Entry& entry : file.entries) packets.push_back(std::move(entry.bytes));
  Session session(options.host);
  Unpacked result;
  try {
    result = unpackPackets(session.decompressor(), packets, options.request);
  } catch (const Error& error) {
    throw Error(displayName(pair.input) + ": " + error.what());
  }
  if (file.cutOff) options.talk.note(displayName(pair.input) + ": the last packet is cut off");
  writeImage(pair.output, result.picture, outputFormat(pair.output, options.format),
             options.files.noClobber);
  pixels.known += result.picture.size.pixels();
  pixels.done += result.picture.size.pixels();
  if (options.json) {
    printJson(result, pair.output);
  } else if (!options.talk.quiet) {
    printText(result, pair.output);
  }
  const AssemblerStatistics& s = result.statistics;
  return s.coverage >= 100 && s.refused() == 0 && !file.cutOff ? kDone : kDamaged;
}

int runUnpack(const UnpackOptions& options) {
  const std::vector<FilePair> pairs =
      planOutputs(options.files, {"a picture", {".png", ".ppm", ".pgm", ".pnm"}});
  if (options.json && isStream(pairs.front().output)) {
    throw Error("--json and the picture cannot both go to standard output", kUsage);
  }
  return runPairs(
      pairs, options.files.jobs, options.talk, options.json,
      [&](const FilePair& pair, PixelCount& pixels) { return unpackPair(options, pair, pixels); });
}

void define(CLI::App& command, UnpackOptions& options) {
  addOutputOptions(command, options.files, "Files of packets", "Without -o: one input, one output");
  addNetworkOptions(command, options.request.network);
  command.add_flag("--tint", options.request.tint,
                   "Colour what is out of date, the stronger the longer it has been");
  command
      .add_flag(
          "--packets", options.request.packets,
          "Lay a colour over what each packet of the last frame brought; the rest becomes dark "
          "gray")
      ->excludes("--tint");
  command
      .add_option("--after", options.request.after, "Stop after so many frames; 0: none left out")
      ->check(CLI::Range(0, 1000000))
      ->capture_default_str()
      ->type_name("FRAME");
  addLimitOptions(command, options.request.limits);
  addFormatOption(command, options.format, "Format of an output that has no telling name");
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
  addTalkOptions(command, options.talk);
  addHostOptions(command, options.host);
}

}  // namespace

void addUnpack(CLI::App& app, Action& action) {
  addCommand<UnpackOptions>(
      app, action, "unpack", "Decode files of packets to pictures, with loss if asked for",
      "Packets of one index are a frame; later ones lie over earlier ones. The report says which\n"
      "share of the pixels is what all packets together give. The exit code is 2 where packets\n"
      "were lost or refused, so that the picture is not up to date.",
      define, runUnpack);
}

}  // namespace qrx::tool
