// qrx-jpeg packets: pictures, each as one rectangle, to files of packets.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/live/packet_file.h"
#include "tools/live/pcap_file.h"
#include "tools/live/rectangle_encoder.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct PacketsOptions {
  OutputOptions files;
  std::optional<Sampling> sampling;
  RectangleJob job;
  std::string join;
  PictureRequest request;
  bool pcap = false;
  bool json = false;
  bool strict = false;
  TalkOptions talk;
  HostOptions host;
};

OutputKind outputKind(const PacketsOptions& options) {
  if (options.pcap) return {"a capture", {".pcap"}};
  return {"a file of packets", {".qpk"}};
}

std::vector<std::uint8_t> fileOf(const PacketsOptions& options,
                                 const std::vector<Packet>& packets) {
  return options.pcap ? captureOf(packets) : joinPackets(packets);
}

void printReport(const PacketsOptions& options, const std::string& output,
                 const EncodedRectangle& result) {
  std::size_t total = 0, shortest = result.packets[0].size(), longest = 0;
  for (const Packet& packet : result.packets) {
    total += packet.size();
    shortest = std::min(shortest, packet.size());
    longest = std::max(longest, packet.size());
  }
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", output)
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
  if (options.talk.quiet) return;
  std::fprintf(isStream(output) ? stderr : stdout,
               "%s: %zu packets of %zu to %zu bytes, %zu bytes in all, quality %u%s\n",
               displayName(output).c_str(), result.packets.size(), shortest, longest, total,
               result.quality, result.complete ? "" : ", incomplete");
}

EncodedRectangle pack(LazySession& lazy, const Picture& picture, const RectangleJob& job) {
  EncodedRectangle result =
      encodeRectangle(lazy.get().compressor(), picture.image, wholeImage(picture.image), job);
  if (result.packets.empty()) throw Error("the library gave no packets");
  return result;
}

// All inputs to one file, each a frame of its own.
int joinFrames(const PacketsOptions& options) {
  std::vector<std::string> inputs = options.files.files;
  if (!options.files.output.empty()) throw Error("give --join or -o, not both", kUsage);
  LazySession lazy(options.host);
  RectangleJob job = options.job;
  EncodedRectangle all;
  all.complete = true;
  bool sound = true;
  Size size;
  for (const std::string& input : inputs) {
    OutputOptions one = options.files;
    one.files = {input};
    one.output = options.join;
    planOutputs(one, outputKind(options));  // may this be the output of that input?
    const Picture read = readPicture(input, options.request, lazy);
    if (size != Size{} && read.image.size != size) {
      throw Error(input + ": not of the first picture's size");
    }
    size = read.image.size;
    EncodedRectangle frame = pack(lazy, read, job);
    std::move(frame.packets.begin(), frame.packets.end(), std::back_inserter(all.packets));
    all.quality = frame.quality;
    all.complete = all.complete && frame.complete;
    sound = sound && frame.complete && read.damage.empty();
    ++job.index;
    ++job.contextByte;
  }
  writeFile(options.join, fileOf(options, all.packets), options.files.noClobber);
  printReport(options, options.join, all);
  return sound ? kDone : kDamaged;
}

int packPair(const PacketsOptions& options, const FilePair& pair, PixelCount& pixels) {
  LazySession lazy(options.host);
  const Picture read = readPicture(pair.input, options.request, lazy);
  const Image& picture = read.image;
  pixels.known += picture.size.pixels();
  const EncodedRectangle result = pack(lazy, read, options.job);
  writeFile(pair.output, fileOf(options, result.packets), options.files.noClobber);
  pixels.done += picture.size.pixels();
  printReport(options, pair.output, result);
  return result.complete && read.damage.empty() ? kDone : kDamaged;
}

int runPackets(PacketsOptions options) {
  const bool joined = !options.join.empty();
  const std::vector<FilePair> pairs =
      joined ? std::vector<FilePair>{} : planOutputs(options.files, outputKind(options));
  if (options.json && isStream(joined ? options.join : pairs.front().output)) {
    throw Error("--json and the packets cannot both go to standard output", kUsage);
  }
  options.job.quality = usedQuality(options.job.quality, options.talk);
  if (options.sampling) {
    requestSampling(*options.sampling);
  } else {
    checkSamplingVariable(options.talk);
  }
  if (joined) return joinFrames(options);
  return runPairs(
      pairs, options.files.jobs, options.talk, options.json,
      [&](const FilePair& pair, PixelCount& pixels) { return packPair(options, pair, pixels); });
}

void define(CLI::App& command, PacketsOptions& options) {
  addOutputOptions(command, options.files, "PNG, PNM, PAM, JPEG or raw",
                   "Without -o: one input, one output");
  command
      .add_option("--join", options.join,
                  "All pictures, of one size, to this file, each a frame with the next index")
      ->type_name("FILE");
  command.add_flag("--pcap", options.pcap,
                   "Captures of datagrams instead, for Wireshark and the like");
  addQualityOption(command, options.job.quality);
  addSamplingOption(command, options.sampling);
  command.add_option("--window", options.job.window, "Window number in every packet")
      ->capture_default_str()
      ->type_name("N");
  command.add_option("--index", options.job.index, "Index in every packet")
      ->check(CLI::Range(1, 2147483647))
      ->capture_default_str()
      ->type_name("N");
  addPictureOptions(command, options.request);
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
  addTalkOptions(command, options.talk);
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
