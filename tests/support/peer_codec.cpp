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

// Standard error, and the output, which is empty where the program fails.
std::pair<std::string, Bytes> run(const std::string& program, std::span<const std::uint8_t> input) {
  std::string folder = testing::TempDir() + "/qrx_peer_XXXXXX";
  EXPECT_NE(mkdtemp(folder.data()), nullptr);
  tool::writeFile(folder + "/in", input);
  const std::string command = "cd '" + folder + "' && " + program + " -outfile out in 2> messages";
  const bool done = std::system(command.c_str()) == 0;
  const Bytes messages = tool::readFile(folder + "/messages");
  const Bytes output = done ? tool::readFile(folder + "/out") : Bytes();
  std::filesystem::remove_all(folder);
  return {{messages.begin(), messages.end()}, output};
}

}  // namespace

PeerPicture runDjpeg(std::span<const std::uint8_t> jpeg) {
  const auto [messages, output] = run(QRX_DJPEG " -pnm", jpeg);
  return {messages, output.empty() ? Image() : tool::decodePnm(output)};
}

Bytes runCjpeg(const Image& image, const std::string& options) {
  return run(QRX_CJPEG " " + options, tool::encodePpm(image)).second;
}

}  // namespace qrx::test
