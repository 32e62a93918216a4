// qrx-jpeg inspect: one line for each packet of a file.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/live/stored_packets.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct InspectOptions {
  std::string input;
  bool json = false;
  bool strict = false;
  HostOptions host;
};

struct PacketLine {
  std::size_t offset = 0, bytes = 0;
  bool valid = false;
  udp_header head{};
  double coverage = 0;
};

PacketLine look(codec::Decompressor& decompressor, PacketFile::Entry& entry) {
  PacketLine line;
  line.offset = entry.offset;
  line.bytes = entry.bytes.size();
  Buffer buffer{nullptr, entry.bytes.data(), static_cast<std::uint32_t>(entry.bytes.size())};
  line.valid = decompressor.isValid(&buffer);
  if (!line.valid) return line;
  line.head = *readHead(entry.bytes);  // before the call below takes the last-packet mark away
  line.coverage = decompressor.percentCoverage(&buffer);
  return line;
}

void printText(const std::vector<PacketLine>& lines) {
  std::printf("%9s %6s %6s %6s %6s %6s %6s %9s  %s\n", "offset", "bytes", "x", "y", "width",
              "height", "MCUs", "coverage", "last");
  for (const PacketLine& line : lines) {
    const udp_header& h = line.head;
    if (line.valid) {
      std::printf("%9zu %6zu %6d %6d %6d %6d %6d %8.3f%%  %s\n", line.offset, line.bytes, h.x, h.y,
                  h.width, h.height, h.mcuCount, line.coverage, h.index < 0 ? "last" : "-");
    } else {
      std::printf("%9zu %6zu  not a packet\n", line.offset, line.bytes);
    }
  }
}

void printJson(const std::vector<PacketLine>& lines) {
  JsonWriter json;
  json.beginObject().key("packets").beginArray();
  for (const PacketLine& line : lines) {
    const udp_header& h = line.head;
    json.beginObject().field("offset", line.offset).field("bytes", line.bytes);
    json.field("valid", line.valid);
    if (line.valid) {
      json.field("window", h.window)
          .field("index", h.index < 0 ? 0u - static_cast<std::uint32_t>(h.index)
                                      : static_cast<std::uint32_t>(h.index))
          .field("x", h.x)
          .field("y", h.y)
          .field("width", h.width)
          .field("height", h.height)
          .field("frame_x", h.frameX)
          .field("frame_y", h.frameY)
          .field("frame_width", h.frameWidth)
          .field("frame_height", h.frameHeight)
          .field("mcus", h.mcuCount)
          .field("coverage", line.coverage)
          .field("last", h.index < 0);
    }
    json.endObject();
  }
  json.endArray().endObject().print();
}

int runInspect(const InspectOptions& options) {
  PacketFile file = readPacketFile(options.input);
  Session session(options.host);
  std::vector<PacketLine> lines;
  bool sound = !file.cutOff;
  for (PacketFile::Entry& entry : file.entries) {
    lines.push_back(look(session.decompressor(), entry));
    sound = sound && lines.back().valid;
  }
  if (options.json) {
    printJson(lines);
  } else {
    printText(lines);
  }
  if (file.cutOff) std::fprintf(stderr, "qrx-jpeg: damaged: the last packet is cut off\n");
  return sound ? kDone : kDamaged;
}

void define(CLI::App& command, InspectOptions& options) {
  command.add_option("input", options.input, "The file of packets; - for standard input")
      ->required();
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
  addHostOptions(command, options.host);
}

}  // namespace

void addInspect(CLI::App& app, Action& action) {
  addCommand<InspectOptions>(app, action, "inspect",
                             "Print one line for each packet of a file of packets",
                             "x and y are the packet's left and lower edge; y grows upwards. The "
                             "exit code is 2 where\nanything in the file is not a valid packet.",
                             define, runInspect);
}

}  // namespace qrx::tool
