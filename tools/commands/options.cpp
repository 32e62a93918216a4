// The shared options with their texts and checks.
#include "tools/commands/options.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace qrx::tool {
namespace {

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
      .add_option("--library", options.library,
                  "The codec library (default: libqrx_jpeg.so beside this program)")
      ->type_name("PATH");
  command
      .add_option("--slot", options.slot,
                  "Force the processor forms of a slot: 0, 1 SSE2; 2 SSSE3; 3 SSSE3 and MOVBE; "
                  "4 SSE4.1; 5 AVX; 6 AVX2. Refused where the processor lacks them")
      ->check(CLI::Range(0, 6))
      ->type_name("N");
}

void addQualityOption(CLI::App& command, unsigned& quality) {
  command
      .add_option("-q,--quality", quality,
                  "JPEG quality, 1 to 100; the library's best is 97, and more counts as that")
      ->check(CLI::Range(1, 100))
      ->capture_default_str()
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
      ->transform(CLI::CheckedTransformer(names).description(""))
      ->type_name("444|422|420");
}

void addFormatOption(CLI::App& command, std::optional<ImageFormat>& format, const char* text) {
  const std::map<std::string, ImageFormat> names = {{"png", ImageFormat::kPng},
                                                    {"ppm", ImageFormat::kPpm}};
  command.add_option("--format", format, text)
      ->transform(CLI::CheckedTransformer(names).description(""))
      ->type_name("png|ppm");
}

void addSizeOption(CLI::App& command, Size& size) {
  command
      .add_option_function<std::string>(
          "--size",
          [&size](const std::string& text) {
            if (!parseSize(text, size)) {
              throw CLI::ValidationError("--size", "give WxH with numbers from 1 to 65535");
            }
          },
          "Width and height in pixels")
      ->default_str(std::to_string(size.width) + "x" + std::to_string(size.height))
      ->type_name("WxH");
}

void addJsonOption(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "Print the result as one JSON object");
}

}  // namespace qrx::tool
