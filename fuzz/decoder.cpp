// The class road: any bytes through ReadHeader and ReadData, in every mode and to every colour, on
// one object for all inputs; after each input that object has to decode a good image as ever.
#include "fuzz/kit.h"
#include "fuzz/roads.h"
#include "fuzz/sample_streams.h"

namespace {

constexpr ClassRoad kRoad = {.maxPixels = 1 << 15};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CJPEGDecoder* const decoder = new CJPEGDecoder;
  static const auto* const good = new fuzz::Bytes(sampleBaseline());
  static const auto* const expected =
      new fuzz::Bytes(decode(*decoder, good->data(), good->size(), kRoad).pixels);
  fuzz::Input input(data, size);
  const int choice = input.below(35);
  ClassRoad chosen = kRoad;
  chosen.color = static_cast<_JPEG_COLOR>(choice % 7);
  chosen.trim = choice / 7;
  const fuzz::Bytes stream = input.rest();
  fuzz::look(decode(*decoder, stream.data(), stream.size(), chosen).pixels);
  fuzz::require(decode(*decoder, good->data(), good->size(), kRoad).pixels == *expected);
  return 0;
}
