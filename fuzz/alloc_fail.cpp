// Makes the decoder's n-th allocation fail: an error comes back, nothing leaks, and the object
// decodes the next image.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/roads.h"
#include "fuzz/sample_streams.h"
#include "qrx/primitives.h"

namespace {

constexpr ClassRoad kRoad = {.maxPixels = 1 << 16, .channels = 3};

int g_untilFailure = 0;

void* failingMalloc(std::size_t size) {
  return g_untilFailure-- == 0 ? nullptr : std::malloc(size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  static const auto* const good = new std::vector<std::uint8_t>(sampleBaseline());
  i_malloc = failingMalloc;
  g_untilFailure = data[size - 1] % 32;
  {
    CJPEGDecoder decoder;
    decode(decoder, data, size - 1, kRoad);
    g_untilFailure = -1;
    if (decode(decoder, good->data(), good->size(), kRoad).result != 0) std::abort();
  }
  return 0;
}
