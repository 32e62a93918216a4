// qrx-jpeg packets: one picture, as one rectangle, to a file of packets.
#include <algorithm>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/live/packet_file.h"
#include "tools/live/rectangle_encoder.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct PacketsOptions {
  std::string input, output;
  std::optional<Sampling> sampling;
  RectangleJob job;
  bool json = false;
  HostOptions host;
};

void printReport(const PacketsOptions& options, const EncodedRectangle& result) {
  std::size_t total = 0, shortest = result.packets[0].size(), longest = 0;
  for (const Packet& packet : result.packets) {
    total += packet.size();
    shortest = std::min(shortest, packet.size());
    longest = std::max(longest, packet.size());
  }
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", options.output)
        .field("packets", result.packets.size())
        .field("bytes", total)
        .field("shortest", shortest)
        .field("longest", longest)
        .field("quality", result.quality)
        .field("complete", result.complete)
        .endObject()
        .print();
    return;
  }
  std::fprintf(isStream(options.output) ? stderr : stdout,
               "%s: %zu packets of %zu to %zu bytes, %zu bytes in all, quality %u%s\n",
               displayName(options.output).c_str(), result.packets.size(), shortest, longest, total,
               result.quality, result.complete ? "" : ", incomplete");
}

int runPackets(const PacketsOptions& options) {
  if (options.json && isStream(options.output)) {
    throw Error("--json and the packets cannot both go to standard output", kUsage);
  }
  const Image picture = readImage(options.input);
  if (options.sampling) requestSampling(*options.sampling);
  Session session(options.host);
  const EncodedRectangle result =
      encodeRectangle(session.compressor(), picture, wholeImage(picture), options.job);
  if (result.packets.empty()) throw Error("the library gave no packets");
  writeFile(options.output, joinPackets(result.packets));
  printReport(options, result);
  return result.complete ? kDone : kDamaged;
}

void define(CLI::App& command, PacketsOptions& options) {
  command.add_option("input", options.input, "PNG, PPM or PGM; - for standard input")->required();
  command.add_option("output", options.output, "The file of packets; - for standard output")
      ->required();
  addQualityOption(command, options.job.quality);
  addSamplingOption(command, options.sampling);
  command.add_option("--window", options.job.window, "Window number in every packet")
      ->capture_default_str()
      ->type_name("N");
  command.add_option("--index", options.job.index, "Index in every packet")
      ->check(CLI::Range(1, 2147483647))
      ->capture_default_str()
      ->type_name("N");
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addPackets(CLI::App& app, Action& action) {
  addCommand<PacketsOptions>(
      app, action, "packets", "Compress a picture to packets, each decodable alone",
      "The file holds the bytes QPK1 and then, for each packet, its length (32 bits,\n"
      "little-endian) and its bytes as they go on the wire.",
      define, runPackets);
}

}  // namespace qrx::tool
