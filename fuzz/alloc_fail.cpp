// Makes the decoder's n-th allocation fail: an error comes back, nothing leaks, and the object
// decodes the next image.
#include "fuzz/kit.h"
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
  static const auto* const good = new fuzz::Bytes(sampleBaseline());
  fuzz::Input input(data, size);
  i_malloc = failingMalloc;
  g_untilFailure = input.below(32);
  const fuzz::Bytes stream = input.rest();
  {
    CJPEGDecoder decoder;
    decode(decoder, stream.data(), stream.size(), kRoad);
    g_untilFailure = -1;
    fuzz::require(decode(decoder, good->data(), good->size(), kRoad).result == 0);
  }
  return 0;
}
