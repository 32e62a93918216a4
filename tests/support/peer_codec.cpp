// An independent JPEG codec, run as programs.
#include "tests/support/peer_codec.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "tools/image/image_io.h"
#include "tools/support/files.h"

namespace qrx::test {
namespace {

namespace fs = std::filesystem;

// Names of files for one run of a program, which goes with them.
class Run {
 public:
  Run() {
    folder_ = (fs::path(testing::TempDir()) / "qrx_peer_XXXXXX").string();
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
  }
  ~Run() { fs::remove_all(folder_); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  bool start(const std::string& program, std::span<const std::uint8_t> input) {
    tool::writeFile(path("in"), input);
    const std::string command = program + " -outfile '" + path("out") + "' '" + path("in") +
                                "' 2> '" + path("messages") + "'";
    return std::system(command.c_str()) == 0;
  }
  Bytes output() const { return tool::readFile(path("out")); }
  std::string messages() const {
    const Bytes text = tool::readFile(path("messages"));
    return std::string(text.begin(), text.end());
  }

 private:
  std::string path(const char* name) const { return folder_ + "/" + name; }

  std::string folder_;
};

}  // namespace

PeerPicture runDjpeg(std::span<const std::uint8_t> jpeg, const std::string& options) {
  Run run;
  PeerPicture result;
  result.done = run.start(QRX_DJPEG " -pnm " + options, jpeg);
  result.messages = run.messages();
  if (result.done) result.image = tool::decodePnm(run.output());
  return result;
}

Bytes runCjpeg(const Image& image, const std::string& options) {
  Run run;
  const bool done = run.start(QRX_CJPEG " " + options, tool::encodePpm(image));
  return done ? run.output() : Bytes();
}

Bytes runJpegtran(std::span<const std::uint8_t> jpeg) {
  Run run;
  const bool done = run.start(QRX_JPEGTRAN, jpeg) && run.messages().empty();
  return done ? run.output() : Bytes();
}

}  // namespace qrx::test
