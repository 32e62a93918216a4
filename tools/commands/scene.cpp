// qrx-jpeg scene: the synthetic frame sequence as files.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/scene/scene_renderer.h"
#include "tools/support/files.h"
#include "tools/support/progress.h"

namespace qrx::tool {
namespace {

struct SceneOptions {
  std::string folder;
  int frames = 1;
  int first = 0;
  Size size{1280, 720};
  ImageFormat format = ImageFormat::kPng;
  std::optional<ImageFormat> requestedFormat;
};

int runScene(const SceneOptions& options) {
  const ImageFormat format = options.requestedFormat.value_or(ImageFormat::kPng);
  makeFolder(options.folder);
  const SceneRenderer renderer(options.size);
  Progress progress("frame", options.frames);
  Image image;
  for (int i = 0; i < options.frames; ++i) {
    renderer.render(options.first + i, image);
    char name[32];
    std::snprintf(name, sizeof name, "/frame%05d.%s", options.first + i,
                  format == ImageFormat::kPng ? "png" : "ppm");
    const std::string path = options.folder + name;
    writeImage(path, image, format);
    progress.update(i + 1);
    progress.aside([&] {
      std::printf("%s\n", path.c_str());
      std::fflush(stdout);
    });
  }
  return kDone;
}

void define(CLI::App& command, SceneOptions& options) {
  command.add_option("folder", options.folder, "Folder for the frames; made if it is missing")
      ->required();
  command.add_option("--frames", options.frames, "Number of frames")
      ->check(CLI::Range(1, 100000))
      ->capture_default_str()
      ->type_name("N");
  command.add_option("--first", options.first, "Number of the first frame")
      ->check(CLI::Range(0, 1000000))
      ->capture_default_str()
      ->type_name("N");
  addSizeOption(command, options.size);
  addFormatOption(command, options.requestedFormat, "Format of the files (default png)");
}

}  // namespace

void addScene(CLI::App& app, Action& action) {
  addCommand<SceneOptions>(app, action, "scene",
                           "Render a synthetic frame sequence and print the files' names",
                           "A frame depends on its number and the size only, and is the same on "
                           "every machine.",
                           define, runScene);
}

}  // namespace qrx::tool
