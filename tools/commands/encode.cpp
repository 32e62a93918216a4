// qrx-jpeg encode: pictures to JPEGs, with the time it took.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>

#include "tools/commands/commands.h"
#include "tools/commands/one_of.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/host/frame.h"
#include "tools/jpeg/segments.h"
#include "tools/modes/mode_encoder.h"
#include "tools/support/files.h"
#include "tools/support/json.h"
#include "tools/support/progress.h"

namespace qrx::tool {
namespace {

struct EncodeOptions {
  OutputOptions files;
  PictureRequest request;
  std::optional<unsigned> requestedQuality;
  unsigned quality = 80;
  std::optional<Sampling> sampling;
  Mode mode = Mode::kBaseline;
  bool gray = false;
  int restart = 0;
  std::size_t targetSize = 0;  // 0: none
  MetadataChoice metadata;
  int repeat = 1;
  bool json = false;
  bool strict = false;
  TalkOptions talk;
  HostOptions host;
};

struct EncodeReport {
  std::string output;
  Size size;
  unsigned quality = 0;
  std::size_t bytes = 0;
  std::string sampling;
  int slot = 0;
  double meanMs = 0, bestMs = 0;

  double bitsPerPixel() const {
    return 8.0 * static_cast<double>(bytes) / (static_cast<double>(size.width) * size.height);
  }
};

using Bytes = std::vector<std::uint8_t>;
using FrameEncoder = std::function<Bytes(unsigned quality)>;

// What the library's settings ask for, told by a small frame.
Sampling samplingOfSettings(Session& session) {
  const JpegInfo info = walkJpeg(compressFrame(session.compressor(), Image({16, 16}), 80));
  const std::string text = info.frame() == nullptr ? "" : samplingText(*info.frame());
  for (const Sampling sampling : {Sampling::k444, Sampling::k420}) {
    if (text == samplingName(sampling)) return sampling;
  }
  return Sampling::k422;
}

// Colour frames go through the host contract; all else through the encoder class.
FrameEncoder makeEncoder(Session& session, const Image& image, const EncodeOptions& options) {
  if (options.mode == Mode::kBaseline && !image.gray && options.restart == 0) {
    return [&](unsigned quality) { return compressFrame(session.compressor(), image, quality); };
  }
  ModeJob job{options.mode, 0, Sampling::k422, image.gray, options.restart};
  job.sampling = options.sampling ? *options.sampling : samplingOfSettings(session);
  return [&image, job, encoder = ModeEncoder()](unsigned quality) mutable {
    job.quality = quality;
    return encoder.encode(image, job);
  };
}

Bytes encodeTimed(const FrameEncoder& encode, const EncodeOptions& options, EncodeReport& report,
                  PixelCount& pixels) {
  using Clock = std::chrono::steady_clock;
  Progress progress("frame", options.repeat, options.talk.quiet, &pixels);
  Bytes data;
  double total = 0;
  for (int i = 0; i < options.repeat; ++i) {
    const Clock::time_point start = Clock::now();
    data = encode(report.quality);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    total += ms;
    report.bestMs = i == 0 ? ms : std::min(report.bestMs, ms);
    progress.update(i + 1);
    pixels.done += report.size.pixels();
    if (!isCompleteJpeg(data)) throw Error("the library gave no complete image");
  }
  report.meanMs = total / options.repeat;
  return data;
}

// The stream as it is to be written.
Bytes finish(const Bytes& data, const EncodeOptions& options, const Metadata& metadata) {
  if (!options.metadata.any()) return dropComments(data);
  return addMetadata(data, metadata);
}

// The best quality whose file has at most the wanted bytes.
unsigned qualityForSize(const EncodeOptions& options,
                        const std::function<std::size_t(unsigned)>& sizeAt) {
  unsigned good = 0, bad = options.quality + 1;
  while (bad - good > 1) {
    const unsigned middle = (good + bad) / 2;
    (sizeAt(middle) <= options.targetSize ? good : bad) = middle;
  }
  if (good == 0) {
    throw Error("more than " + std::to_string(options.targetSize) + " bytes even at quality 1 (" +
                std::to_string(sizeAt(1)) + "): make the picture smaller");
  }
  return good;
}

// The sampling that came out, and a warning where it is not what was asked for.
std::string checkSampling(std::span<const std::uint8_t> data, std::optional<Sampling> wanted) {
  const JpegInfo info = walkJpeg(data);
  if (info.frame() == nullptr) throw Error("the library's image has no frame header");
  std::string sampling = samplingText(*info.frame());
  if (wanted && sampling != "gray" && sampling != samplingName(*wanted)) {
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
    if (!lossless) json.field("quality", report.quality);
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
  const std::string quality = lossless ? "lossless" : "quality " + std::to_string(report.quality);
  // Where the image itself goes to standard output, the report is a message.
  std::fprintf(isStream(report.output) ? stderr : stdout,
               "%s: %dx%d, %s, %s: %zu bytes, %.3f bits per pixel, %.2f ms per frame "
               "(best of %d: %.2f)\n",
               displayName(report.output).c_str(), report.size.width, report.size.height,
               report.sampling.c_str(), quality.c_str(), report.bytes, report.bitsPerPixel(),
               report.meanMs, options.repeat, report.bestMs);
}

// The finished stream; errors with the name of the input.
Bytes encodeAsAsked(Session& session, const Image& image, const EncodeOptions& options,
                    const Metadata& metadata, const std::string& input, EncodeReport& report,
                    PixelCount& pixels) {
  try {
    const FrameEncoder encode = makeEncoder(session, image, options);
    if (options.targetSize > 0) {
      report.quality = qualityForSize(options, [&](unsigned quality) {
        return finish(encode(quality), options, metadata).size();
      });
    }
    return finish(encodeTimed(encode, options, report, pixels), options, metadata);
  } catch (const Error& error) {
    throw Error(displayName(input) + ": " + error.what(), error.code());
  }
}

void checkSides(const std::string& input, Size size) {
  constexpr int kLongest = 65535;
  if (size.width <= kLongest && size.height <= kLongest) return;
  throw Error(displayName(input) + ": " + size.text() +
              " is too large for a JPEG: at most 65535 a side");
}

int encodePair(const EncodeOptions& options, const FilePair& pair, PixelCount& pixels) {
  LazySession lazy(options.host);
  Picture picture = readPicture(pair.input, options.request, lazy);
  Image& image = picture.image;
  checkSides(pair.input, image.size);
  if (options.gray) makeGray(image);
  Session& session = lazy.get();
  options.talk.detail(displayName(pair.input) + ": slot " + std::to_string(session.slot()) +
                      (image.gray ? ", gray" : ""));
  const bool gray = image.gray || options.mode == Mode::kLossless;
  const std::string name = displayName(pair.input);
  const Metadata metadata =
      chooseMetadata(name, picture.metadata, options.metadata, gray, options.talk);
  const std::string tooLarge = tooLargeForSegments(metadata);
  if (!tooLarge.empty()) options.talk.note(name + ": too large for a JPEG, left out: " + tooLarge);
  EncodeReport report;
  report.output = pair.output;
  report.size = image.size;
  report.slot = session.slot();
  report.quality = options.quality;
  pixels.known += image.size.pixels() * static_cast<std::uint64_t>(options.repeat);
  const Bytes data = encodeAsAsked(session, image, options, metadata, pair.input, report, pixels);
  report.bytes = data.size();
  report.sampling = checkSampling(data, options.sampling);
  writeFile(pair.output, data, options.files.noClobber);
  printReport(options, report);
  return picture.damage.empty() ? kDone : kDamaged;
}

int runEncode(EncodeOptions options) {
  const std::vector<FilePair> pairs =
      planOutputs(options.files, {"a JPEG", {".jpg", ".jpeg", ".jpe", ".jfif"}});
  if (options.json && isStream(pairs.front().output)) {
    throw Error("--json and the image cannot both go to standard output", kUsage);
  }
  if (options.mode == Mode::kLossless) {
    if (options.targetSize > 0) throw Error("a lossless JPEG has no --target-size", kUsage);
    if (options.restart > 0) throw Error("a lossless JPEG has no --restart", kUsage);
    if (options.requestedQuality)
      options.talk.note("a lossless JPEG has no quality: -q is ignored");
  } else {
    const unsigned usual = options.targetSize > 0 ? 97 : 80;
    options.quality = usedQuality(options.requestedQuality.value_or(usual), options.talk);
  }
  if (options.sampling) {
    requestSampling(*options.sampling);
  } else if (options.mode != Mode::kLossless) {
    checkSamplingVariable(options.talk);
  }
  return runPairs(
      pairs, options.files.jobs, options.talk, options.json,
      [&](const FilePair& pair, PixelCount& pixels) { return encodePair(options, pair, pixels); });
}

void define(CLI::App& command, EncodeOptions& options) {
  addOutputOptions(command, options.files, "PNG, PNM, PAM, JPEG or raw",
                   "Without -o: one input, one output");
  addQualityOption(command, options.requestedQuality);
  addSamplingOption(command, options.sampling);
  command
      .add_option("--mode", options.mode,
                  "Kind of JPEG; lossless is for gray pictures (default: baseline)")
      ->transform(oneOf(std::map<std::string, Mode>{{"baseline", Mode::kBaseline},
                                                    {"progressive", Mode::kProgressive},
                                                    {"lossless", Mode::kLossless}}))
      ->type_name("baseline|progressive|lossless");
  command
      .add_flag_callback(
          "--progressive", [&options] { options.mode = Mode::kProgressive; },
          "Short for --mode progressive")
      ->excludes("--mode");
  command.add_flag("--gray", options.gray, "Without colour; pictures without it are gray anyway");
  command
      .add_option("--restart", options.restart,
                  "MCUs between restart markers, for transports that lose bytes")
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  command
      .add_option(
          "--target-size", options.targetSize,
          "The best quality, up to --quality or 97, that gives at most so many bytes; k and "
          "M count as 1000 and 1000000")
      ->transform(
          CLI::AsNumberWithUnit(std::map<std::string, std::size_t>{{"k", 1000}, {"m", 1000000}},
                                CLI::AsNumberWithUnit::CASE_INSENSITIVE, ""))
      ->type_name("BYTES");
  command
      .add_option("--repeat", options.repeat,
                  "Compress the frame this often, for a better time; the last one is written")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str()
      ->type_name("N");
  addFormatOption(command, options.request.format,
                  "Accept only this format, for a stream whose kind must be certain");
  addPictureOptions(command, options.request);
  addMetadataOption(command, options.metadata);
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
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
