// qrx-jpeg info: what the markers of a JPEG tell.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/jpeg/reasons.h"
#include "tools/jpeg/segments.h"
#include "tools/jpeg/walk.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct InfoOptions {
  std::vector<std::string> inputs;
  bool json = false;
  bool strict = false;
};

void writeFrame(JsonWriter& json, const JpegFrame& frame) {
  json.field("mode", modeName(frame))
      .field("precision", frame.precision)
      .field("width", frame.width)
      .field("height", frame.height)
      .field("sampling", samplingText(frame));
  json.key("components").beginArray();
  for (const JpegComponent& component : frame.components) {
    json.beginObject()
        .field("id", component.id)
        .field("horizontal", component.horizontal)
        .field("vertical", component.vertical)
        .field("quant_table", component.quantTable)
        .endObject();
  }
  json.endArray();
}

void writeScans(JsonWriter& json, const JpegInfo& info) {
  json.key("scans").beginArray();
  for (const JpegScan& scan : info.scans) {
    json.beginObject().key("components").beginArray();
    for (const JpegScanComponent& component : scan.components) {
      json.beginObject()
          .field("id", component.id)
          .field("dc_table", component.dcTable)
          .field("ac_table", component.acTable)
          .endObject();
    }
    json.endArray()
        .field("spectral_start", scan.spectralStart)
        .field("spectral_end", scan.spectralEnd)
        .field("approximation_high", scan.approximationHigh)
        .field("approximation_low", scan.approximationLow)
        .field("data_offset", scan.dataOffset)
        .field("data_bytes", scan.dataSize)
        .field("restart_markers", scan.restarts)
        .endObject();
  }
  json.endArray();
}

void writeTables(JsonWriter& json, const JpegInfo& info) {
  json.key("quant_tables").beginArray();
  for (const JpegQuantTable& table : info.quantTables) {
    json.beginObject().field("id", table.id).field("bits", table.bits);
    json.key("zigzag").beginArray();
    for (const int value : table.values) json.value(value);
    json.endArray().endObject();
  }
  json.endArray().key("huffman_tables").beginArray();
  for (const JpegHuffmanTable& table : info.huffmanTables) {
    json.beginObject()
        .field("class", table.ac ? "AC" : "DC")
        .field("id", table.id)
        .field("symbols", table.symbols)
        .endObject();
  }
  json.endArray();
}

void writeTexts(JsonWriter& json, const char* name, const std::vector<std::string>& texts) {
  json.key(name).beginArray();
  for (const std::string& text : texts) json.value(text);
  json.endArray();
}

void printJson(const std::string& input, const JpegInfo& info, const Metadata& metadata) {
  JsonWriter json;
  json.beginObject().field("input", input).field("bytes", info.bytes);
  if (info.frame() != nullptr) writeFrame(json, *info.frame());
  json.field("restart_interval", info.restartInterval).field("jfif", info.jfif);
  if (info.adobeTransform) json.field("adobe_transform", *info.adobeTransform);
  json.field("exif_bytes", metadata.exif.size())
      .field("orientation", orientationOf(metadata.exif))
      .field("icc_bytes", metadata.icc.size());
  if (!metadata.iccFault.empty()) json.field("icc_fault", metadata.iccFault);
  json.key("segments").beginArray();
  for (const JpegSegment& segment : info.segments) {
    json.beginObject()
        .field("marker", markerName(segment.marker))
        .field("offset", segment.offset)
        .field("bytes", segment.size)
        .endObject();
  }
  json.endArray();
  writeScans(json, info);
  writeTables(json, info);
  writeTexts(json, "comments", info.comments);
  json.field("bytes_after_end", info.bytesAfterEnd);
  writeTexts(json, "damage", info.damage);
  json.endObject().print();
}

void printTables(const JpegInfo& info) {
  for (const JpegQuantTable& table : info.quantTables) {
    std::printf("quantisation table %d, %d bits, zigzag:", table.id, table.bits);
    for (std::size_t i = 0; i < table.values.size(); ++i) {
      std::printf("%s%4d", i % 16 == 0 ? "\n " : "", table.values[i]);
    }
    std::printf("\n");
  }
  for (const JpegHuffmanTable& table : info.huffmanTables) {
    std::printf("Huffman table %s %d, %d symbols\n", table.ac ? "AC" : "DC", table.id,
                table.symbols);
  }
}

// Comments are anybody's bytes: what a terminal might obey is not printed.
std::string printable(std::string text) {
  while (!text.empty() && text.back() == '\0') text.pop_back();
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return text;
}

void printMetadata(const Metadata& metadata) {
  if (!metadata.exif.empty()) {
    std::printf("Exif data, %zu bytes, orientation %d\n", metadata.exif.size(),
                orientationOf(metadata.exif));
  }
  if (!metadata.icc.empty()) {
    const char* kind = profileFits(metadata.icc, false)  ? "RGB"
                       : profileFits(metadata.icc, true) ? "gray"
                                                         : "other colours";
    std::printf("colour profile, %zu bytes, for %s\n", metadata.icc.size(), kind);
  }
  if (!metadata.iccFault.empty()) {
    std::printf("colour profile, broken: %s\n", metadata.iccFault.c_str());
  }
}

void printText(const std::string& input, const JpegInfo& info, const Metadata& metadata) {
  std::printf("%s: %zu bytes\n", displayName(input).c_str(), info.bytes);
  if (const JpegFrame* frame = info.frame()) {
    std::printf("%dx%d, %d bits, %zu components, %s, %s\n", frame->width, frame->height,
                frame->precision, frame->components.size(), samplingText(*frame).c_str(),
                modeName(*frame).c_str());
  }
  if (info.jfif) std::printf("JFIF\n");
  if (info.adobeTransform) std::printf("Adobe, colour transform %d\n", *info.adobeTransform);
  printMetadata(metadata);
  if (info.restartInterval > 0) std::printf("restart interval %d MCUs\n", info.restartInterval);
  std::printf("%10s %10s  segment\n", "offset", "bytes");
  std::size_t scan = 0;
  for (const JpegSegment& segment : info.segments) {
    std::printf("%10zu %10zu  %s", segment.offset, segment.size,
                markerName(segment.marker).c_str());
    if (segment.marker == 0xDA && scan < info.scans.size()) {
      const JpegScan& s = info.scans[scan++];
      std::printf(", then %zu bytes of data, %zu restart markers", s.dataSize, s.restarts);
    }
    std::printf("\n");
  }
  printTables(info);
  for (const std::string& text : info.comments)
    std::printf("comment: %s\n", printable(text).c_str());
  if (info.bytesAfterEnd > 0) std::printf("%zu bytes after EOI\n", info.bytesAfterEnd);
  for (const std::string& text : info.damage) std::printf("damaged: %s\n", text.c_str());
}

int tellOne(const std::string& input, const InfoOptions& options) {
  const std::vector<std::uint8_t> data = readFile(input);
  if (data.size() < 2 || data[0] != 0xFF || data[1] != 0xD8) {
    throw Error(displayName(input) + ": " + notWanted(data, "not a JPEG"));
  }
  const JpegInfo info = walkJpeg(data);
  const Metadata metadata = readMetadata(data, info);
  if (options.json) {
    printJson(input, info, metadata);
  } else {
    printText(input, info, metadata);
    if (options.inputs.size() > 1) std::printf("\n");
  }
  return info.damage.empty() ? kDone : kDamaged;
}

int runInfo(const InfoOptions& options) {
  std::vector<FilePair> pairs;
  pairs.reserve(options.inputs.size());
  for (const std::string& input : options.inputs) pairs.push_back({input, "-"});
  return runPairs(pairs, 0, {}, options.json,
                  [&](const FilePair& pair, PixelCount&) { return tellOne(pair.input, options); });
}

void define(CLI::App& command, InfoOptions& options) {
  command.add_option("input", options.inputs, "The JPEGs to read; - for standard input")
      ->required()
      ->type_name("");
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
}

}  // namespace

void addInfo(CLI::App& app, Action& action) {
  addCommand<InfoOptions>(app, action, "info",
                          "Print the segments, size, sampling, tables and mode of JPEGs",
                          "The markers are read without the library; the exit code is 2 where they "
                          "show damage.",
                          define, runInfo);
}

}  // namespace qrx::tool
