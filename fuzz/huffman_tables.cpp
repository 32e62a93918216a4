// Huffman tables of any code lengths and symbols: which of them are taken, that all forms make the
// same record of them, and that the decoder finds what a search by T.81 F.2.2.3 finds.
#include <algorithm>
#include <cstring>
#include <optional>

#include "fuzz/kit.h"
#include "qrx/jpeg_decoder.h"
#include "tests/forms/huffman_kit.h"
#include "tests/forms/slots.h"

namespace {

using fuzz::Input;
using fuzz::require;

HuffmanList anyList(Input& input) {
  HuffmanList list;
  const int kind = input.below(3), most = 1 + input.below(256);
  int room = 1;
  for (Ipp8u& count : list.bits) {
    room = std::min(2 * room, 1 << 16);
    // Any counts; such as fit in the space; now and then all of it, or one too many.
    const int fitting = std::min({room, most, 255});
    count = kind == 0 ? input.value<Ipp8u>() : Ipp8u(input.oneIn(2) ? 0 : input.below(fitting + 1));
    if (kind == 2 && input.oneIn(8)) count = Ipp8u(std::min(255, room + input.below(2)));
    room = std::max(0, room - count);
  }
  list.values = input.bytes(16 * 255);
  return list;
}

// What T.81 annex C makes of the counts.
struct Codes {
  explicit Codes(const HuffmanList& list) {
    unsigned code = 0;
    std::size_t index = 0;
    for (std::size_t length = 1; length <= 16; ++length, code <<= 1) {
      first[length] = code;
      firstIndex[length] = index;
      count[length] = list.bits[length - 1];
      code += count[length];
      index += count[length];
      overflow = overflow || code > 1u << length;
      if (code == 1u << length && count[length] != 0) full = true;
    }
    symbols = index;
  }
  unsigned first[17] = {}, count[17] = {};
  std::size_t firstIndex[17] = {}, symbols = 0;
  bool overflow = false, full = false;  // full: a code of all ones
};

class BitSource {
 public:
  explicit BitSource(const Bytes& bytes) : bytes_(bytes) {}
  std::optional<unsigned> bits(unsigned count) {
    unsigned value = 0;
    for (; count > 0; --count, ++at_) {
      if (at_ / 8 >= bytes_.size()) return std::nullopt;
      value = value << 1 | (bytes_[at_ / 8] >> (7 - at_ % 8) & 1u);
    }
    return value;
  }
  std::optional<unsigned> symbol(const Codes& codes, const HuffmanList& list) {
    unsigned code = 0;
    for (std::size_t length = 1; length <= 16; ++length) {
      const auto bit = bits(1);
      if (!bit) return std::nullopt;
      code = code << 1 | *bit;
      if (code >= codes.first[length] && code - codes.first[length] < codes.count[length]) {
        return list.values[codes.firstIndex[length] + code - codes.first[length]];
      }
    }
    return std::nullopt;
  }

 private:
  const Bytes& bytes_;
  std::size_t at_ = 0;
};

// A segment without markers, decoded value by value (T.81 F.2.2.1).
void decodeAll(const HuffmanList& list, const Codes& codes, const Bytes& plain, int slot) {
  Bytes stuffed;
  for (const Ipp8u byte : plain) {
    stuffed.push_back(byte);
    if (byte == 0xFF) stuffed.push_back(0);
  }
  DecodeTable table(list);
  Cursor cursor{table.get(), table.get(), stuffed};
  BitSource source(plain);
  for (;;) {
    const auto size = source.symbol(codes, list);
    if (size && *size > 16) return;
    const auto bits = !size ? size : source.bits(*size == 16 ? 0 : *size);
    Ipp16s value = 77;
    const IppStatus status = cursor.call(ippiDecodeHuffmanOne_JPEG_1u16s_C1_arraddr[slot], &value);
    if (!bits) {
      require(status < 0);
      return;
    }
    int expected = static_cast<int>(*bits);
    if (*size == 16) expected = -32768;
    if (*size > 0 && *size < 16 && *bits >> (*size - 1) == 0) expected -= (1 << *size) - 1;
    require(status == ippStsNoErr && value == expected);
  }
}

template <typename Record, typename F>
IppStatus sameRecord(const F (&forms)[7], const HuffmanList& list) {
  Bytes wanted(sizeof(Record) + 17, 0x5A);
  const auto make = [&](int slot, Bytes& memory) {
    return forms[slot](list.bits.data(), list.values.data(),
                       reinterpret_cast<Record*>(memory.data() + 1));
  };
  const IppStatus status = make(1, wanted);
  for (const Slot& slot : runnableSlots()) {
    Bytes ours(sizeof(Record) + 17, 0x5A);
    require(make(slot.index, ours) == status && ours == wanted);
    require(std::all_of(ours.end() - 16, ours.end(), [](Ipp8u byte) { return byte == 0x5A; }));
  }
  return status;
}

// Lists made of statistics: a code of at most 16 bits for each symbol that occurs, none of all
// ones.
void listOfStatistics(Input& input) {
  int statistics[256] = {};
  const int density = 1 + input.below(256), bits = 1 + input.below(21);
  for (int& count : statistics) {
    if (input.below(256) < density) count = input.below(1 << bits) >> input.below(bits);
  }
  HuffmanList wanted;
  IppStatus status = ippStsNoErr;
  for (const Slot& slot : runnableSlots()) {
    HuffmanList list;
    list.values.resize(256);
    const IppStatus own = ippiEncodeHuffmanRawTableInit_JPEG_8u_arraddr[slot.index](
        statistics, list.bits.data(), list.values.data());
    if (slot.index == 0) wanted = list, status = own;
    require(own == status && list.bits == wanted.bits && list.values == wanted.values);
  }
  if (status != ippStsNoErr) return;  // codes of more than 32 bits before they are limited
  const Codes codes(wanted);
  require(!codes.overflow && !codes.full && codes.symbols <= 256);
  EncodeTable table(wanted);
  require(table.status == ippStsNoErr);
  for (std::size_t symbol = 0; symbol < 256; ++symbol) {
    require(statistics[symbol] == 0 || table.get()->entries[symbol] != 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.oneIn(8)) listOfStatistics(input);
  const HuffmanList list = anyList(input);
  const Codes codes(list);
  const bool isTaken = !codes.overflow && codes.symbols <= 256;
  const IppStatus status =
      sameRecord<IppiDecodeHuffmanSpec>(ippiDecodeHuffmanSpecInit_JPEG_8u_arraddr, list);
  require((status == ippStsNoErr) == isTaken);
  const IppStatus coder =
      sameRecord<IppiEncodeHuffmanSpec>(ippiEncodeHuffmanSpecInit_JPEG_8u_arraddr, list);
  require((coder == ippStsNoErr) == (isTaken && !codes.full));
  CJPEGDecoderHuffmanTable table;
  require(table.Create() == 0);
  require((table.Init(0, 0, list.bits.data(), list.values.data()) == 0) == isTaken);
  if (!isTaken) return 0;
  const Bytes plain = input.bytes(1 + static_cast<std::size_t>(input.below(200)));
  for (const Slot& slot : runnableSlots()) decodeAll(list, codes, plain, slot.index);
  return 0;
}
