// All forms of the entropy decoders on one stream: values and statuses have to agree.
#include "fuzz/kit.h"
#include "tests/forms/huffman_kit.h"
#include "tests/forms/slots.h"

namespace {

struct Outcome {
  std::vector<Ipp16s> values;
  std::vector<IppStatus> statuses;
  int marker = 0;
  bool operator==(const Outcome&) const = default;
};

Outcome decodeWith(int slot, int kind, const Bytes& stream) {
  static auto* const dc = new DecodeTable(typicalDcTable());
  static auto* const ac = new DecodeTable(typicalAcTable());
  Cursor cursor{dc->get(), ac->get(), stream};
  Outcome outcome;
  Block block = {};
  Ipp16s* const out = block.data();
  for (int i = 0; i < 64; ++i) {
    IppStatus status = ippStsNoErr;
    switch (kind) {
      case 0: status = cursor.call(ippiDecodeHuffman8x8_JPEG_1u16s_C1_arraddr[slot], out); break;
      case 1: status = cursor.call(ippiDecodeHuffmanOne_JPEG_1u16s_C1_arraddr[slot], out); break;
      case 2:
        status = cursor.call(ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1_arraddr[slot], out);
        break;
      default:
        status =
            cursor.call(ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1_arraddr[slot], out, {1, 63, 0});
    }
    outcome.statuses.push_back(status);
    outcome.values.insert(outcome.values.end(), block.begin(), block.end());
    if (status < 0) break;
  }
  outcome.marker = cursor.marker;
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  fuzz::Input input(data, size);
  const int kind = input.below(4);
  const Bytes stream = input.rest();
  if (stream.empty()) return 0;
  const Outcome first = decodeWith(1, kind, stream);
  for (const Slot& slot : slots) fuzz::require(decodeWith(slot.index, kind, stream) == first);
  return 0;
}
