// qrx-jpeg psnr: how far two pictures are apart, and where.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/commands/outputs.h"
#include "tools/image/compare.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct PsnrOptions {
  std::string first, second;
  std::string map;
  PictureRequest request;
  HostOptions host;
  bool json = false;
  bool strict = false;
};

// Where the map goes: none of the two pictures, and not where the figures go.
std::string mapPath(const PsnrOptions& options) {
  std::string path = options.map;
  if (path.empty()) return path;
  if (isStream(path)) throw Error("figures go to standard output: name a file", kUsage);
  for (const std::string& input : {options.first, options.second}) {
    OutputOptions files;
    files.files = {input};
    files.output = path;
    files.force = true;  // the name is looked at below
    path = planOutputs(files, {"a picture", {".png"}}).front().output;
  }
  outputFormat(path, {});
  return path;
}

int runPsnr(const PsnrOptions& options) {
  const std::string map = mapPath(options);
  LazySession session(options.host);
  const Picture first = readPicture(options.first, options.request, session);
  const Picture second = readPicture(options.second, options.request, session);
  const Size size = first.image.size, other = second.image.size;
  if (size != other) {
    throw Error(displayName(options.second) + ": " + other.text() + ", and " +
                displayName(options.first) + " is " + size.text() + ": give pictures of one size");
  }
  const Difference difference = compareImages(first.image, second.image);
  if (!map.empty()) {
    writeImage(map, differenceMap(first.image, second.image), outputFormat(map, {}));
  }
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("psnr_db", difference.psnr)
        .field("largest_difference", difference.largest)
        .field("identical", difference.largest == 0)
        .field("differing", difference.differing)
        .field("worst_x", difference.worstX)
        .field("worst_y", difference.worstY)
        .endObject()
        .print();
  } else {
    std::printf("%.2f\n", difference.psnr);
  }
  return first.damage.empty() && second.damage.empty() ? kDone : kDamaged;
}

void define(CLI::App& command, PsnrOptions& options) {
  command
      .add_option("reference", options.first, "PNG, PNM, PAM, JPEG or raw; - for standard input")
      ->required();
  command.add_option("picture", options.second, "A picture of the same size")->required();
  command
      .add_option("--map", options.map,
                  "Write a picture of where they differ: the reference in dark gray, the "
                  "differences blue, red and yellow")
      ->type_name("FILE");
  addPictureOptions(command, options.request);
  addJsonOption(command, options.json);
  addStrictOption(command, options.strict);
  addHostOptions(command, options.host);
}

}  // namespace

void addPsnr(CLI::App& app, Action& action) {
  addCommand<PsnrOptions>(app, action, "psnr",
                          "Print the peak signal-to-noise ratio of two pictures in dB",
                          "Over the samples of the three colours; inf, in JSON null, for equal "
                          "pictures. Alpha does not count.\nWith --json also the percentage of "
                          "the pixels that differ, and the upper left corner of\nthe worst block "
                          "of 64x64.",
                          define, runPsnr);
}

}  // namespace qrx::tool
