// qrx-jpeg encode: one picture to one JPEG, with the time it took.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/host/frame.h"
#include "tools/jpeg/walk.h"
#include "tools/modes/mode_encoder.h"
#include "tools/support/files.h"
#include "tools/support/json.h"
#include "tools/support/progress.h"

namespace qrx::tool {
namespace {

struct EncodeOptions {
  std::string input, output;
  std::optional<ImageFormat> format;
  unsigned quality = 80;
  std::optional<Sampling> sampling;
  Mode mode = Mode::kBaseline;
  int repeat = 1;
  bool json = false;
  HostOptions host;
};

struct EncodeReport {
  Size size;
  std::size_t bytes = 0;
  std::string sampling;
  int slot = 0;
  double meanMs = 0, bestMs = 0;

  double bitsPerPixel() const {
    return 8.0 * static_cast<double>(bytes) / (static_cast<double>(size.width) * size.height);
  }
};

using FrameEncoder = std::function<std::vector<std::uint8_t>()>;

// Frames go through the host contract; other modes through the encoder class.
FrameEncoder makeEncoder(Session& session, const Image& image, const EncodeOptions& options) {
  if (options.mode == Mode::kBaseline) {
    return [&] { return compressFrame(session.compressor(), image, options.quality); };
  }
  const Sampling sampling = options.sampling.value_or(Sampling::k422);
  return [&image, &options, sampling, encoder = ModeEncoder()] {
    return encoder.encode(image, options.mode, options.quality, sampling);
  };
}

std::vector<std::uint8_t> encodeTimed(const FrameEncoder& encode, const EncodeOptions& options,
                                      EncodeReport& report) {
  using Clock = std::chrono::steady_clock;
  Progress progress("frame", options.repeat);
  std::vector<std::uint8_t> data;
  double total = 0;
  for (int i = 0; i < options.repeat; ++i) {
    const Clock::time_point start = Clock::now();
    data = encode();
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    total += ms;
    report.bestMs = i == 0 ? ms : std::min(report.bestMs, ms);
    progress.update(i + 1);
    if (!isCompleteJpeg(data)) throw Error("the library gave no complete image");
  }
  report.meanMs = total / options.repeat;
  return data;
}

// The sampling that came out, and a warning where it is not what was asked for.
std::string checkSampling(std::span<const std::uint8_t> data, std::optional<Sampling> wanted) {
  const JpegInfo info = walkJpeg(data);
  if (info.frame() == nullptr) throw Error("the library's image has no frame header");
  std::string sampling = samplingText(*info.frame());
  if (wanted && sampling != samplingName(*wanted)) {
    std::fprintf(stderr,
                 "qrx-jpeg: warning: the image is %s, not %s: a configuration file of the "
                 "administrator outranks the environment\n",
                 sampling.c_str(), samplingName(*wanted));
  }
  return sampling;
}

void printReport(const EncodeOptions& options, const EncodeReport& report) {
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", options.output)
        .field("width", report.size.width)
        .field("height", report.size.height)
        .field("quality", options.quality)
        .field("sampling", report.sampling)
        .field("slot", report.slot)
        .field("bytes", report.bytes)
        .field("bits_per_pixel", report.bitsPerPixel(), 4)
        .field("repeat", options.repeat)
        .field("ms_per_frame", report.meanMs)
        .field("ms_best", report.bestMs)
        .endObject()
        .print();
    return;
  }
  // Where the image itself goes to standard output, the report is a message.
  std::fprintf(isStream(options.output) ? stderr : stdout,
               "%s: %dx%d, %s, quality %u: %zu bytes, %.3f bits per pixel, %.2f ms per frame "
               "(best of %d: %.2f)\n",
               displayName(options.output).c_str(), report.size.width, report.size.height,
               report.sampling.c_str(), options.quality, report.bytes, report.bitsPerPixel(),
               report.meanMs, options.repeat, report.bestMs);
}

int runEncode(const EncodeOptions& options) {
  if (options.json && isStream(options.output)) {
    throw Error("--json and the image cannot both go to standard output", kUsage);
  }
  const Image image = readImage(options.input, options.format);
  if (options.sampling) requestSampling(*options.sampling);
  Session session(options.host);
  EncodeReport report;
  report.size = image.size;
  report.slot = session.slot();
  const std::vector<std::uint8_t> data =
      encodeTimed(makeEncoder(session, image, options), options, report);
  report.bytes = data.size();
  const bool gray = options.mode == Mode::kLossless;
  report.sampling = checkSampling(data, gray ? std::nullopt : options.sampling);
  writeFile(options.output, data);
  printReport(options, report);
  return kDone;
}

void define(CLI::App& command, EncodeOptions& options) {
  command.add_option("input", options.input, "PNG, PPM or PGM; - for standard input")->required();
  command.add_option("output", options.output, "The JPEG to write; - for standard output")
      ->required();
  addQualityOption(command, options.quality);
  addSamplingOption(command, options.sampling);
  command
      .add_option("--mode", options.mode,
                  "baseline (default), progressive, or lossless for gray pictures")
      ->transform(
          CLI::CheckedTransformer(std::map<std::string, Mode>{{"baseline", Mode::kBaseline},
                                                              {"progressive", Mode::kProgressive},
                                                              {"lossless", Mode::kLossless}}))
      ->type_name("MODE");
  command
      .add_option("--repeat", options.repeat,
                  "Compress the frame this often, for a better time; the last one is written")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str()
      ->type_name("N");
  addFormatOption(command, options.format,
                  "Accept only this format, for a stream whose kind must be certain");
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addEncode(CLI::App& app, Action& action) {
  addCommand<EncodeOptions>(
      app, action, "encode",
      "Compress a picture to a JPEG; print bytes, bits per pixel, milliseconds per frame",
      kMappingHelp, define, runEncode);
}

}  // namespace qrx::tool
