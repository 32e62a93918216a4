// What a picture may take, settled before anything is decoded or allocated.
#ifndef QRX_TOOLS_IMAGE_LIMITS_H_
#define QRX_TOOLS_IMAGE_LIMITS_H_

#include <cstdint>
#include <string>

#include "tools/support/error.h"

namespace qrx::tool {

struct Limits {
  std::uint64_t maxPixels = 200'000'000;
  std::uint64_t maxMemory = std::uint64_t{4} << 30;  // bytes
  std::uint64_t maxScans = 500;

  // Each throws Error with the limit's name.
  void checkSize(std::int64_t width, std::int64_t height) const {
    const std::uint64_t pixels = width < 1 || height < 1 ? 0
                                                         : static_cast<std::uint64_t>(width) *
                                                               static_cast<std::uint64_t>(height);
    check(std::to_string(width) + "x" + std::to_string(height) + " is too large", pixels, maxPixels,
          "pixels", "--max-pixels");
  }
  void checkMemory(std::uint64_t bytes) const {
    check("it takes too much memory", bytes, maxMemory, "bytes", "--max-memory");
  }
  void checkScans(std::uint64_t scans) const {
    check("it has too many scans", scans, maxScans, "scans", "--max-scans");
  }

 private:
  static void check(const std::string& what, std::uint64_t count, std::uint64_t most,
                    const char* unit, const char* option) {
    if (count <= most) return;
    throw Error(what + ", " + std::to_string(count) + " " + unit + ", and " + option + " allows " +
                std::to_string(most) + ": allow more if that is meant");
  }
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_IMAGE_LIMITS_H_
