// qrx-jpeg encode: pictures to JPEGs, with the time it took.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/host/frame.h"
#include "tools/jpeg/walk.h"
#include "tools/modes/mode_encoder.h"
#include "tools/support/files.h"
#include "tools/support/json.h"
#include "tools/support/progress.h"

namespace qrx::tool {
namespace {

struct EncodeOptions {
  OutputOptions files;
  std::optional<ImageFormat> format;
  unsigned quality = 80;
  std::optional<Sampling> sampling;
  Mode mode = Mode::kBaseline;
  int repeat = 1;
  bool json = false;
  TalkOptions talk;
  HostOptions host;
};

struct EncodeReport {
  std::string output;
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
  Progress progress("frame", options.repeat, options.talk.quiet);
  progress.setPixels(static_cast<std::uint64_t>(report.size.width) *
                     static_cast<std::uint64_t>(report.size.height));
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
  const bool lossless = options.mode == Mode::kLossless;
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("output", report.output)
        .field("width", report.size.width)
        .field("height", report.size.height);
    if (!lossless) json.field("quality", options.quality);
    json.field("sampling", report.sampling)
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
  if (options.talk.quiet) return;
  const std::string quality = lossless ? "lossless" : "quality " + std::to_string(options.quality);
  // Where the image itself goes to standard output, the report is a message.
  std::fprintf(isStream(report.output) ? stderr : stdout,
               "%s: %dx%d, %s, %s: %zu bytes, %.3f bits per pixel, %.2f ms per frame "
               "(best of %d: %.2f)\n",
               displayName(report.output).c_str(), report.size.width, report.size.height,
               report.sampling.c_str(), quality.c_str(), report.bytes, report.bitsPerPixel(),
               report.meanMs, options.repeat, report.bestMs);
}

int encodePair(const EncodeOptions& options, const FilePair& pair, PixelCount& pixels) {
  const Image image = readImage(pair.input, options.format);
  Session session(options.host);
  options.talk.detail(pair.input + ": slot " + std::to_string(session.slot()));
  EncodeReport report;
  report.output = pair.output;
  report.size = image.size;
  report.slot = session.slot();
  const std::vector<std::uint8_t> data =
      encodeTimed(makeEncoder(session, image, options), options, report);
  report.bytes = data.size();
  const bool gray = options.mode == Mode::kLossless;
  report.sampling = checkSampling(data, gray ? std::nullopt : options.sampling);
  writeFile(pair.output, data, options.files.noClobber);
  pixels += image.pixels.size() / Image::kBytesPerPixel;
  printReport(options, report);
  return kDone;
}

int runEncode(EncodeOptions options) {
  const std::vector<FilePair> pairs =
      planOutputs(options.files, {"a JPEG", {".jpg", ".jpeg", ".jpe", ".jfif"}});
  if (options.json && isStream(pairs.front().output)) {
    throw Error("--json and the image cannot both go to standard output", kUsage);
  }
  if (options.mode != Mode::kLossless) {
    options.quality = usedQuality(options.quality, options.talk);
  }
  if (options.sampling) {
    requestSampling(*options.sampling);
  } else if (options.mode == Mode::kBaseline) {
    checkSamplingVariable(options.talk);
  }
  return runPairs(
      pairs, options.files.jobs, options.talk, options.json,
      [&](const FilePair& pair, PixelCount& pixels) { return encodePair(options, pair, pixels); });
}

void define(CLI::App& command, EncodeOptions& options) {
  addOutputOptions(command, options.files, "PNG, PPM or PGM", "Without -o: one input, one output");
  addQualityOption(command, options.quality);
  addSamplingOption(command, options.sampling);
  command
      .add_option("--mode", options.mode,
                  "Kind of JPEG; lossless is for gray pictures (default: baseline)")
      ->transform(
          CLI::CheckedTransformer(std::map<std::string, Mode>{{"baseline", Mode::kBaseline},
                                                              {"progressive", Mode::kProgressive},
                                                              {"lossless", Mode::kLossless}})
              .description(""))
      ->type_name("baseline|progressive|lossless");
  command
      .add_option("--repeat", options.repeat,
                  "Compress the frame this often, for a better time; the last one is written")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str()
      ->type_name("N");
  addFormatOption(command, options.format,
                  "Accept only this format, for a stream whose kind must be certain");
  addJsonOption(command, options.json);
  addTalkOptions(command, options.talk);
  addHostOptions(command, options.host);
}

}  // namespace

void addEncode(CLI::App& app, Action& action) {
  addCommand<EncodeOptions>(
      app, action, "encode",
      "Compress pictures to JPEGs; print bytes, bits per pixel, milliseconds per frame",
      kMappingHelp, define, runEncode);
}

}  // namespace qrx::tool
