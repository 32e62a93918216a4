// qrx-jpeg serve: a live window as packets over UDP.
#include <algorithm>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/interrupt.h"
#include "tools/commands/options.h"
#include "tools/live/server.h"
#include "tools/scene/scene_renderer.h"
#include "tools/scene/wandering_box.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct ServeOptions {
  std::vector<std::string> pictures;
  std::string listen = "127.0.0.1:5600";
  std::string to;
  std::string key;
  Size size{1280, 720};
  bool sizeGiven = false;
  double framesPerSecond = 25;
  int frames = 0;
  double waitSeconds = 0;
  double rate = 0;      // Mbit/s; 0: no limit
  double changing = 0;  // per cent of the pixels; 0: the scene as it is
  WindowSenderOptions sender;
  std::optional<Sampling> sampling;
  std::optional<PixelOrder> order;
  DecodeRequest decode;
  bool json = false;
  HostOptions host;
};

// The scene, or the given pictures over and over.
FrameSource makeSource(const ServeOptions& options, LazySession& session, Size& size) {
  if (options.pictures.empty()) {
    size = options.size;
    if (options.changing > 0) {
      const auto box = std::make_shared<WanderingBox>(size, options.changing / 100);
      return [box](int number) -> const Image& { return box->render(number); };
    }
    const auto scene = std::make_shared<SceneRenderer>(size);
    const auto frame = std::make_shared<Image>();
    return [scene, frame](int number) -> const Image& {
      scene->render(number, *frame);
      return *frame;
    };
  }
  PictureRequest request{{}, {}, options.order, options.decode};
  if (options.order || options.sizeGiven) request.rawSize = options.size;
  const auto pictures = std::make_shared<std::vector<Image>>();
  for (const std::string& path : options.pictures) {
    pictures->push_back(readPicture(path, request, session).image);
    if (pictures->back().size != pictures->front().size) {
      throw Error(path + ": " + pictures->back().size.text() + ", and the first picture is " +
                  pictures->front().size.text() + ": give pictures of one size");
    }
  }
  size = pictures->front().size;
  return [pictures](int number) -> const Image& {
    return (*pictures)[static_cast<std::size_t>(number) % pictures->size()];
  };
}

void printReport(const ServerReport& report, bool json) {
  const double frames = std::max(1.0, static_cast<double>(report.frames));
  const double encodeMs = static_cast<double>(report.encodeMicroseconds) / 1000 / frames;
  if (json) {
    JsonWriter out;
    out.beginObject()
        .field("frames", report.frames)
        .field("frames_dropped", report.dropped)
        .field("packets", report.packets)
        .field("bytes", report.bytes)
        .field("rectangles_repaired", report.repairs)
        .field("encode_ms_per_frame", encodeMs)
        .field("tiles_sharpened", report.sharpening.tiles)
        .field("tiles_sharpened_within_1s", report.sharpening.withinSecond)
        .field("slowest_sharpening_ms",
               std::chrono::duration<double, std::milli>(report.sharpening.slowest).count())
        .field("viewers", report.viewers)
        .field("datagrams_refused", report.arrivals.refused())
        .endObject()
        .print();
    return;
  }
  std::printf(
      "%llu frames, %llu dropped, %llu packets, %llu bytes, %llu rectangles repaired, "
      "%.2f ms a frame\n",
      static_cast<unsigned long long>(report.frames),
      static_cast<unsigned long long>(report.dropped),
      static_cast<unsigned long long>(report.packets),
      static_cast<unsigned long long>(report.bytes),
      static_cast<unsigned long long>(report.repairs), encodeMs);
}

int runServe(const ServeOptions& options) {
  ServerOptions server;
  server.listen = Endpoint::parse(options.listen);
  if (!options.to.empty()) server.to = Endpoint::parse(options.to);
  if (!options.key.empty()) server.key = readKey(options.key);
  server.notice = [](const std::string& text) {
    std::fprintf(stderr, "qrx-jpeg: %s\n", text.c_str());
  };
  server.framesPerSecond = options.framesPerSecond;
  server.frames = options.frames;
  server.megabitsPerSecond = options.rate;
  server.waitSeconds = options.waitSeconds;
  server.sender = options.sender;
  server.sender.quality = usedQuality(options.sender.quality);
  if (options.sampling) {
    requestSampling(*options.sampling);
  } else {
    checkSamplingVariable({});
  }
  LazySession session(options.host);
  const FrameSource source = makeSource(options, session, server.size);
  Server running(session.get().compressor(), source, server);
  // A message, so that scripts with port 0 learn the port while --json stays one object.
  if (!server.to) std::fprintf(stderr, "listening on %s\n", running.local().text().c_str());
  printReport(running.run(interruptFlag()), options.json);
  return kDone;
}

void define(CLI::App& command, ServeOptions& options) {
  command.add_option("pictures", options.pictures,
                     "Pictures of one size to loop over, instead of the synthetic scene: PNG, PNM, "
                     "PAM, JPEG, or with --size or --pixels raw ones");
  command.add_option("--listen", options.listen, "Address and port; port 0 takes a free one")
      ->capture_default_str()
      ->type_name("HOST:PORT");
  command
      .add_option("--to", options.to,
                  "Ask nobody and listen to nobody: send to this address, all of it again every "
                  "two seconds")
      ->excludes("--listen")
      ->type_name("HOST:PORT");
  addKeyOption(command, options.key);
  addSizeOption(command, options.size);
  command.get_option("--size")->each([&options](const std::string&) { options.sizeGiven = true; });
  addPixelsOption(command, options.order);
  addDecodeOptions(command, options.decode);
  command.add_option("--fps", options.framesPerSecond, "Frames per second")
      ->check(CLI::Range(0.1, 240.0))
      ->capture_default_str()
      ->type_name("N");
  command
      .add_option("--frames", options.frames,
                  "Number of frames; the last one stays until the viewer goes. 0: without end")
      ->check(CLI::Range(0, 1000000))
      ->capture_default_str()
      ->type_name("N");
  command
      .add_option("--rate", options.rate,
                  "Mbit/s of datagrams that are sent, at most; the quality follows, still parts "
                  "sharpen with what is left, and loss and delay at the viewer lower it. 0: no "
                  "limit")
      ->check(CLI::Range(0.0, 100000.0))
      ->capture_default_str()
      ->type_name("MBIT");
  command
      .add_option("--changing", options.changing,
                  "For measuring: of the scene, this share of the pixels changes with each frame, "
                  "in a box that wanders. 0: the scene as it is")
      ->check(CLI::Range(0.0, 100.0))
      ->capture_default_str()
      ->type_name("PERCENT")
      ->excludes("pictures");
  command.add_option("--wait", options.waitSeconds, "End after so long without a viewer; 0: never")
      ->check(CLI::Range(0.0, 86400.0))
      ->capture_default_str()
      ->type_name("S");
  command
      .add_option("--tile", options.sender.tile,
                  "Side of the tiles that are compared and sent, a multiple of 16")
      ->check(CLI::Range(16, 4096) & CLI::Validator(
                                         [](const std::string& text) {
                                           return std::stoi(text) % 16 == 0
                                                      ? std::string()
                                                      : std::string("not a multiple of 16");
                                         },
                                         ""))
      ->capture_default_str()
      ->type_name("N");
  addQualityOption(command, options.sender.quality);
  addSamplingOption(command, options.sampling);
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addServe(CLI::App& app, Action& action) {
  addCommand<ServeOptions>(
      app, action, "serve", "Serve a live window as packets over UDP",
      "Tiles that changed since the last frame are compressed to packets and sent, paced over the\n"
      "frame's time, to one viewer at a time; what the viewer lacks is sent again. Without\n"
      "--key only an address of this machine is taken. A frame that comes too late is left out.",
      define, runServe);
}

}  // namespace qrx::tool
