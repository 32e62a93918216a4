// All forms of the entropy decoders on one stream: values and statuses have to agree.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codecs/jpeg/library/default_tables.h"
#include "qrx/primitives.h"

namespace {

struct Outcome {
  std::vector<Ipp16s> values;
  std::vector<IppStatus> statuses;
  int marker = 0;
  bool operator==(const Outcome&) const = default;
};

struct Tables {
  std::vector<Ipp8u> dc, ac;

  static std::vector<Ipp8u> make(const Ipp8u* bits, const Ipp8u* values) {
    int size = 0;
    ippiDecodeHuffmanSpecGetBufSize_JPEG_8u(&size);
    std::vector<Ipp8u> spec(static_cast<std::size_t>(size));
    ippiDecodeHuffmanSpecInit_JPEG_8u(bits, values,
                                      reinterpret_cast<IppiDecodeHuffmanSpec*>(spec.data()));
    return spec;
  }
};

const IppiDecodeHuffmanSpec* specOf(const std::vector<Ipp8u>& bytes) {
  return reinterpret_cast<const IppiDecodeHuffmanSpec*>(bytes.data());
}

Outcome decodeWith(int slot, const Tables& tables, int kind, const Ipp8u* data, int size) {
  int stateSize = 0;
  ippiDecodeHuffmanStateGetBufSize_JPEG_8u(&stateSize);
  std::vector<Ipp8u> stateBytes(static_cast<std::size_t>(stateSize));
  auto* state = reinterpret_cast<IppiDecodeHuffmanState*>(stateBytes.data());
  ippiDecodeHuffmanStateInit_JPEG_8u(state);

  Outcome outcome;
  Ipp16s block[64] = {};
  Ipp16s lastDC = 0;
  int position = 0, marker = 0;
  for (int i = 0; i < 64; ++i) {
    IppStatus status = ippStsNoErr;
    const auto* dc = specOf(tables.dc);
    const auto* ac = specOf(tables.ac);
    switch (kind) {
      case 0:
        status = ippiDecodeHuffman8x8_JPEG_1u16s_C1_arraddr[slot](data, size, &position, block,
                                                                  &lastDC, &marker, dc, ac, state);
        break;
      case 1:
        status = ippiDecodeHuffmanOne_JPEG_1u16s_C1_arraddr[slot](data, size, &position, block,
                                                                  &marker, dc, state);
        break;
      case 2:
        status = ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1_arraddr[slot](
            data, size, &position, block, &marker, 1, 63, 1, ac, state);
        break;
      default:
        status = ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1_arraddr[slot](
            data, size, &position, block, &marker, 1, 63, 0, ac, state);
        break;
    }
    outcome.statuses.push_back(status);
    outcome.values.insert(outcome.values.end(), block, block + 64);
    if (status < 0) break;
  }
  outcome.marker = marker;
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto* const tables =
      new Tables{Tables::make(DefaultLuminanceDCBits, DefaultLuminanceDCValues),
                 Tables::make(DefaultLuminanceACBits, DefaultLuminanceACValues)};
  static const int best = [] {
    ippInit();
    return static_cast<int>(ippJumpIndexForMergedLibs);
  }();
  if (size < 2) return 0;
  const int kind = data[0] % 4;
  const std::vector<std::uint8_t> stream(data + 1, data + size);
  const int length = static_cast<int>(stream.size());
  const Outcome first = decodeWith(1, *tables, kind, stream.data(), length);
  for (int slot = 2; slot <= best; ++slot) {
    if (decodeWith(slot, *tables, kind, stream.data(), length) != first) std::abort();
  }
  return 0;
}
