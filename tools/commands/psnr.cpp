// qrx-jpeg psnr: how far two pictures are apart.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/image/compare.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct PsnrOptions {
  std::string first, second;
  PictureRequest request;
  HostOptions host;
  bool json = false;
  bool strict = false;
};

int runPsnr(const PsnrOptions& options) {
  LazySession session(options.host);
  const Picture first = readPicture(options.first, options.request, session);
  const Picture second = readPicture(options.second, options.request, session);
  const Size size = first.image.size, other = second.image.size;
  if (size != other) {
    throw Error(displayName(options.second) + ": " + other.text() + ", and " +
                displayName(options.first) + " is " + size.text() + ": give pictures of one size");
  }
  const Difference difference = compareImages(first.image, second.image);
  if (options.json) {
    JsonWriter json;
    json.beginObject()
        .field("psnr_db", difference.psnr)
        .field("largest_difference", difference.largest)
        .field("identical", difference.largest == 0)
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
                          "pictures. Alpha does not count.",
                          define, runPsnr);
}

}  // namespace qrx::tool
