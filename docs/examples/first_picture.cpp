// A gradient to a JPEG file, by the C++ header.
#include <cstdio>
#include <fstream>

#include "qrx/qrx.hpp"

int main() {
  std::vector<unsigned char> pixels(3 * 640 * 480);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<unsigned char>(i % 1920 / 8);
  }
  try {
    // first picture: begin
    qrx::host::Coder coder;
    const auto jpeg = coder.encode({pixels.data(), 640, 480, QRXC_RGB}, 85, QRXC_420);
    std::ofstream file("first_picture_cpp.jpg", std::ios::binary);
    file.write(reinterpret_cast<const char*>(jpeg.data()), static_cast<long>(jpeg.size()));

    const qrxc_info info = coder.info(jpeg);
    std::vector<unsigned char> back(std::size_t{3} * info.width * info.height);
    const auto outcome = coder.decode(jpeg, {back.data(), info.width, info.height, QRXC_RGB});
    // first picture: end
    std::printf("%u x %u pixels, %u rows\n", info.width, info.height, outcome.report.rows);
    file.close();
    return file.good() && outcome.isWhole() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
