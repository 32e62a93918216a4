// The class road: any bytes through ReadHeader and ReadData, in every mode and to every colour, on
// one object for all inputs; after each input that object has to decode a good image as ever.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/roads.h"
#include "fuzz/sample_streams.h"

namespace {

constexpr ClassRoad kRoad = {.maxPixels = 1 << 18};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CJPEGDecoder* const decoder = new CJPEGDecoder;
  static const auto* const good = new std::vector<std::uint8_t>(sampleBaseline());
  static const auto* const expected =
      new std::vector<std::uint8_t>(decode(*decoder, good->data(), good->size(), kRoad).pixels);
  if (size < 1) return 0;
  const std::uint8_t choice = data[size - 1];
  ClassRoad chosen = kRoad;
  chosen.color = static_cast<_JPEG_COLOR>(choice % 7);
  chosen.trim = choice / 7 % 5;
  decode(*decoder, data, size - 1, chosen);
  if (decode(*decoder, good->data(), good->size(), kRoad).pixels != *expected) std::abort();
  return 0;
}
