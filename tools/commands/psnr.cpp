// qrx-jpeg psnr: how far two pictures are apart.
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/image/compare.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct PsnrOptions {
  std::string first, second;
  bool json = false;
};

int runPsnr(const PsnrOptions& options) {
  const Difference difference = compareImages(readImage(options.first), readImage(options.second));
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
  return kDone;
}

void define(CLI::App& command, PsnrOptions& options) {
  command.add_option("first", options.first, "PNG, PPM or PGM; - for standard input")->required();
  command.add_option("second", options.second, "PNG, PPM or PGM of the same size")->required();
  addJsonOption(command, options.json);
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
