// qrx-jpeg-web: a live window in a browser.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "integrations/browser/server/web_server.h"
#include "tools/commands/interrupt.h"
#include "tools/commands/network_options.h"
#include "tools/commands/options.h"
#include "tools/scene/scene_renderer.h"

namespace {

using namespace qrx;

struct Options {
  std::string listen = "127.0.0.1:8080";
  bool remote = false;
  web::WebServerOptions server;
  std::optional<tool::Sampling> sampling;
  tool::HostOptions host;
};

void define(CLI::App& app, Options& options) {
  web::WebServerOptions& server = options.server;
  server.size = {1280, 720};
  app.add_option("--listen", options.listen, "Address and port; port 0 takes a free one")
      ->capture_default_str()
      ->type_name("HOST:PORT");
  app.add_flag("--remote", options.remote,
               "Allow an address that other machines reach. Nothing is encrypted: whoever sees the "
               "traffic sees picture and token");
  tool::addSizeOption(app, server.size);
  app.add_option("--fps", server.framesPerSecond, "Frames per second")
      ->check(CLI::Range(0.1, 240.0))
      ->capture_default_str()
      ->type_name("N");
  app.add_option("--frames", server.frames, "Number of frames; the last one stays. 0: without end")
      ->check(CLI::Range(0, 1000000))
      ->capture_default_str()
      ->type_name("N");
  app.add_option("--viewers", server.mostViewers, "Pages that are served at a time, at most")
      ->check(CLI::Range(1, 100))
      ->capture_default_str()
      ->type_name("N");
  tool::addQualityOption(app, server.sender.quality);
  tool::addSamplingOption(app, options.sampling);
  tool::addNetworkOptions(app, server.network);
  tool::addHostOptions(app, options.host);
}

void serve(Options& options) {
  options.server.listen = tool::Endpoint::parse(options.listen);
  if (!options.remote && !options.server.listen.isLoopback()) {
    throw tool::Error(options.listen +
                          ": other machines could connect: give --remote if they shall, or listen "
                          "on 127.0.0.1 or [::1]",
                      tool::kUsage);
  }
  options.server.sender.quality = tool::usedQuality(options.server.sender.quality);
  if (options.sampling) tool::requestSampling(*options.sampling);
  tool::Session codec(options.host);
  const tool::SceneRenderer scene(options.server.size);
  tool::Image frame;
  const auto source = [&](int number) -> const tool::Image& {
    scene.render(number, frame);
    return frame;
  };
  web::WebServer server(codec, source, options.server);
  std::fprintf(stderr, "open %s\n", server.url().c_str());
  server.run(tool::interruptFlag());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app(
        "Serves a live window to browsers, which decode it through libqrx_jpeg themselves.",
        "qrx-jpeg-web");
    app.set_version_flag("-V,--version", "qrx-jpeg-web " QRX_TOOL_VERSION);
    Options options;
    define(app, options);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? tool::kDone : tool::kUsage;
    }
    serve(options);
    return tool::kDone;
  } catch (const tool::Error& error) {
    std::fprintf(stderr, "qrx-jpeg-web: %s\n", error.what());
    return error.code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qrx-jpeg-web: %s\n", error.what());
  }
  return tool::kFailed;
}
