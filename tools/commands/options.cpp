// The shared options with their texts and checks.
#include "tools/commands/options.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "tools/commands/one_of.h"

namespace qrx::tool {
namespace {

constexpr char kQualityHelp[] =
    "JPEG quality, 1 to 100; the library's best is 97, and more counts as that";
constexpr char kSizeHelp[] = "give WxH with numbers from 1 to 65535";

// "640x480" with both from 1 to 65535.
bool parseSize(const std::string& text, Size& size) {
  const char* end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc{} || width.ptr == end || *width.ptr != 'x') return false;
  const auto height = std::from_chars(width.ptr + 1, end, size.height);
  constexpr int kLargest = 65535;
  return height.ec == std::errc{} && height.ptr == end && size.width >= 1 &&
         size.width <= kLargest && size.height >= 1 && size.height <= kLargest;
}

}  // namespace

void addVersionFlag(CLI::App& command) {
  command.set_version_flag("-V,--version", "qrx-jpeg " QRX_TOOL_VERSION,
                           "Print the version and exit");
}

void TalkOptions::note(const std::string& text) const {
  if (!quiet) std::fprintf(stderr, "qrx-jpeg: note: %s\n", text.c_str());
}

void TalkOptions::detail(const std::string& text) const {
  if (verbose) std::fprintf(stderr, "qrx-jpeg: %s\n", text.c_str());
}

void addTalkOptions(CLI::App& command, TalkOptions& options) {
  CLI::Option* quiet = command.add_flag("--quiet", options.quiet, "Print nothing but errors");
  command.add_flag("-v,--verbose", options.verbose, "Tell what is done, on standard error")
      ->excludes(quiet);
}

void addHostOptions(CLI::App& command, HostOptions& options) {
  command
      .add_option(
          "--library", options.library,
          "The codec library (default: libqrx_jpeg.so beside this program, or where there is "
          "none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)")
      ->type_name("PATH");
  command
      .add_option("--slot", options.slot,
                  "Force the processor forms of a slot: 0, 1 SSE2; 2 SSSE3; 3 SSSE3 and MOVBE; "
                  "4 SSE4.1; 5 AVX; 6 AVX2. Refused where the processor lacks them")
      ->check(CLI::Range(0, 6))
      ->type_name("N");
}

void addQualityOption(CLI::App& command, unsigned& quality) {
  command.add_option("-q,--quality", quality, kQualityHelp)
      ->check(CLI::Range(1, 100))
      ->capture_default_str()
      ->type_name("N");
}

void addQualityOption(CLI::App& command, std::optional<unsigned>& quality) {
  command.add_option("-q,--quality", quality, kQualityHelp)
      ->check(CLI::Range(1, 100))
      ->default_str("80")
      ->type_name("N");
}

unsigned usedQuality(unsigned quality, const TalkOptions& talk) {
  constexpr unsigned kBest = 97;
  if (quality <= kBest) return quality;
  talk.note("quality " + std::to_string(quality) + " becomes 97, the library's best");
  return kBest;
}

void checkSamplingVariable(const TalkOptions& talk) {
  const char* value = std::getenv("ZMT_SUBSAMPLING");
  if (value == nullptr || *value == '\0') return;
  const std::string text = value;
  if (text == "0" || text == "1" || text == "4") return;
  talk.note("ZMT_SUBSAMPLING=" + text + " counts as 0, which is 4:2:2: set 0, 1 (4:2:0) or 4 " +
            "(4:4:4), or give --sampling");
}

void addSamplingOption(CLI::App& command, std::optional<Sampling>& sampling) {
  const std::map<std::string, Sampling> names = {
      {"444", Sampling::k444}, {"422", Sampling::k422}, {"420", Sampling::k420}};
  command
      .add_option("--sampling", sampling,
                  "Colour sampling, through the setting that the library reads (ZMT_SUBSAMPLING). "
                  "Without it the library's settings decide; their default is 422")
      ->transform(oneOf(names))
      ->type_name("444|422|420");
}

void addFormatOption(CLI::App& command, std::optional<ImageFormat>& format, const char* text) {
  const std::map<std::string, ImageFormat> names = {{"png", ImageFormat::kPng},
                                                    {"ppm", ImageFormat::kPpm},
                                                    {"pgm", ImageFormat::kPgm},
                                                    {"pnm", ImageFormat::kPnm}};
  command.add_option("--format", format, text)
      ->transform(oneOf(names))
      ->type_name("png|ppm|pgm|pnm");
}

void addPixelsOption(CLI::App& command, std::optional<PixelOrder>& order) {
  const std::map<std::string, PixelOrder> names = {{"gray", PixelOrder::kGray},
                                                   {"rgb", PixelOrder::kRgb},
                                                   {"bgr", PixelOrder::kBgr},
                                                   {"rgba", PixelOrder::kRgba},
                                                   {"bgra", PixelOrder::kBgra}};
  command
      .add_option("--pixels", order,
                  "Bytes of a raw pixel (default: gray, rgb or rgba by the file's length)")
      ->transform(oneOf(names))
      ->type_name("gray|rgb|bgr|rgba|bgra");
}

namespace {

// "200M" or "4Gi": k, M and G count in thousands, Ki, Mi and Gi in 1024.
bool parseCount(const std::string& text, std::uint64_t& count) {
  struct Unit {
    const char* name;
    std::uint64_t factor;
  };
  constexpr Unit kUnits[] = {{"", 1},         {"k", 1000},     {"M", 1000000}, {"G", 1000000000},
                             {"Ki", 1 << 10}, {"Mi", 1 << 20}, {"Gi", 1 << 30}};
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, count);
  if (read.ec != std::errc{}) return false;
  for (const Unit& unit : kUnits) {
    if (unit.name != std::string(read.ptr, end)) continue;
    const bool fits = count <= UINT64_MAX / unit.factor;
    count *= unit.factor;
    return fits;
  }
  return false;
}

void addCountOption(CLI::App& command, const char* name, std::uint64_t& count, const char* standard,
                    const char* text) {
  command
      .add_option_function<std::string>(
          name,
          [name, &count](const std::string& value) {
            if (!parseCount(value, count)) {
              throw CLI::ValidationError(name, "give a number, as in 200, 30k, 200M or 4Gi");
            }
          },
          text)
      ->default_str(standard)
      ->type_name("N");
}

}  // namespace

void addWindowLimitOptions(CLI::App& command, Limits& limits) {
  addCountOption(command, "--max-pixels", limits.maxPixels, "200M", "Pixels of a picture, at most");
  addCountOption(command, "--max-memory", limits.maxMemory, "4Gi",
                 "Bytes that decoding a picture may take");
}

void addLimitOptions(CLI::App& command, Limits& limits) {
  addWindowLimitOptions(command, limits);
  addCountOption(command, "--max-scans", limits.maxScans, "500", "Scans of a JPEG, at most");
}

void addDecodeOptions(CLI::App& command, DecodeRequest& request) {
  command.add_flag_callback(
      "--no-orient", [&request] { request.orient = false; },
      "Leave the picture as it is stored, whatever its Exif data says of its orientation");
  addLimitOptions(command, request.limits);
}

void addPictureOptions(CLI::App& command, PictureRequest& request) {
  CLI::Option* size = command.add_option_function<std::string>(
      "--size",
      [&request](const std::string& text) {
        Size parsed;
        if (!parseSize(text, parsed)) throw CLI::ValidationError("--size", kSizeHelp);
        request.rawSize = parsed;
      },
      "The input is raw pixels, this many, without a header");
  size->type_name("WxH");
  addPixelsOption(command, request.order);
  command.get_option("--pixels")->needs(size);
  addDecodeOptions(command, request.decode);
}

void addMetadataOption(CLI::App& command, MetadataChoice& choice) {
  command
      .add_option_function<std::string>(
          "--metadata",
          [&choice](const std::string& text) {
            choice.exif = text == "all" || text == "exif";
            choice.icc = text == "all" || text == "icc";
          },
          "What of the input's Exif data and colour profile goes to the output; with none a JPEG "
          "has no comment either (default: all)")
      ->check(CLI::IsMember({"all", "exif", "icc", "none"}).description(""))
      ->type_name("all|exif|icc|none");
}

void noteProfile(const std::string& name, const std::string& iccFault, const TalkOptions& talk) {
  if (iccFault.empty()) return;
  talk.note(name + ": the colour profile is broken and left out: " + iccFault);
}

Metadata chooseMetadata(const std::string& name, Metadata metadata, const MetadataChoice& choice,
                        bool gray, const TalkOptions& talk) {
  if (!choice.exif) metadata.exif.clear();
  if (!choice.icc) metadata.icc.clear();
  if (choice.icc) noteProfile(name, metadata.iccFault, talk);
  if (!metadata.icc.empty() && !profileFits(metadata.icc, gray)) {
    talk.note(name + ": the colour profile is left out: it is for other colours than the output's");
    metadata.icc.clear();
  }
  return metadata;
}

void addSizeOption(CLI::App& command, Size& size) {
  command
      .add_option_function<std::string>(
          "--size",
          [&size](const std::string& text) {
            if (!parseSize(text, size)) {
              throw CLI::ValidationError("--size", kSizeHelp);
            }
          },
          "Width and height in pixels")
      ->default_str(std::to_string(size.width) + "x" + std::to_string(size.height))
      ->type_name("WxH");
}

void addKeyOption(CLI::App& command, std::string& key) {
  command
      .add_option("--key", key,
                  "A secret file that both ends have: it tells who is who, and hides nothing")
      ->type_name("FILE");
}

void addStrictOption(CLI::App& command, bool& strict) {
  command.add_flag("--strict", strict, "Exit with 1 instead of 2 for damage and partial results");
}

void addJsonOption(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "Print the result, or the error, as one JSON object");
}

}  // namespace qrx::tool
