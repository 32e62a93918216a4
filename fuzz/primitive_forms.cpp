// Every form of a primitive that the input chooses against the scalar reference, on sizes, steps
// and content from the input, in memory between fences.
#include <algorithm>
#include <cstring>
#include <deque>
#include <string_view>

#include "fuzz/kit.h"
#include "tests/forms/slots.h"
#include "tests/forms/strip_cases.h"

#define QRX_FORM ref
#include "primitives/form.h"

namespace {

using fuzz::Input;
using fuzz::require;
using qrx::test::Fence;
using qrx::test::FencedBytes;

// Bytes of one of several characters: from the input, extremes, flat, small.
Bytes anyBytes(Input& input, std::size_t count) {
  const int kind = input.below(4), level = input.below(256);
  Bytes bytes(count);
  std::uint32_t random = input.value<std::uint32_t>();
  for (Ipp8u& byte : bytes) {
    random = random * 1664525u + 1013904223u;
    const auto top = int(random >> 24);
    byte = Ipp8u(kind == 0 ? input.below(256) : kind == 1 ? -(top % 2) : kind == 2 ? top : level);
  }
  return bytes;
}

// Little-endian values, small ones in some of the cases.
Bytes anyWords(Input& input, std::size_t count) {
  Bytes bytes = anyBytes(input, 2 * count);
  const int shift = input.below(3) * 5;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const int value = Ipp16s(bytes[i] | bytes[i + 1] << 8) >> shift;
    bytes[i] = Ipp8u(value);
    bytes[i + 1] = Ipp8u(value >> 8);
  }
  return bytes;
}

struct Memory {
  Memory(Input& input, Bytes content)
      : start(std::move(content)),
        fenced(start.size(), input.oneIn(2) ? Fence::kBefore : Fence::kAfter) {
    reset();
  }
  void reset() { std::copy(start.begin(), start.end(), fenced.bytes.begin()); }
  Bytes bytes() const { return {fenced.bytes.begin(), fenced.bytes.end()}; }
  template <typename T = Ipp8u>
  T* at(int offset = 0) {
    return reinterpret_cast<T*>(fenced.bytes.data() + offset);
  }

  Bytes start;
  FencedBytes fenced;
};

// Both functions leave the same status and the same target.
template <typename F, typename Call>
void sameOn(F form, F reference, std::deque<Memory>& targets, Call call) {
  const IppStatus status = call(reference);
  std::vector<Bytes> wanted;
  for (Memory& target : targets) wanted.push_back(target.bytes()), target.reset();
  require(call(form) == status);
  for (std::size_t i = 0; i < targets.size(); ++i) require(targets[i].bytes() == wanted[i]);
}
template <typename F, typename Call>
void sameRow(F form, F reference, Input& input, std::size_t bytes, Call call) {
  std::deque<Memory> target;
  target.emplace_back(input, anyBytes(input, bytes));
  sameOn(form, reference, target, [&](F f) { return call(f, target[0]); });
}

IppiSize anySize(Input& input) { return {input.sizeUpTo(2100), input.sizeUpTo(8)}; }

// Rows of pixels; a pointer to pointers has a plane for each channel.
template <typename Pixels>
struct Image {
  static constexpr bool kPlanar = std::is_pointer_v<std::remove_pointer_t<Pixels>>;

  Image(Input& input, IppiSize size, int channels) {
    const int row = size.width * (kPlanar ? 1 : channels * int(sizeof(*Pixels{})));
    step = row + input.below(9);
    for (int i = 0; i < (kPlanar ? channels : 1); ++i) {
      memory.emplace_back(input, anyBytes(input, std::size_t(step) * std::size_t(size.height - 1) +
                                                     std::size_t(row)));
      planes[i] = memory.back().at();
    }
  }
  Pixels pixels() {
    if constexpr (kPlanar) {
      return const_cast<Pixels>(planes);
    } else {
      return reinterpret_cast<Pixels>(planes[0]);
    }
  }

  int step;
  std::deque<Memory> memory;
  Ipp8u* planes[4] = {};
};

template <typename From, typename To>
using Rows = IppStatus (*)(From, int, To, int, IppiSize);
template <typename From, typename To>
void same(Rows<From, To> form, Rows<From, To> reference, std::string_view name, Input& input) {
  // Channels by the end of the name: AC4C3R makes three of four, C3P3R and C1R keep theirs.
  const std::string_view layout = name.substr(name.rfind('_'));
  const IppiSize size = anySize(input);
  Image<From> source(input, size, layout[layout.find_first_of("134")] - '0');
  Image<To> target(input, size, layout[layout.find_last_of("134")] - '0');
  sameOn(form, reference, target.memory, [&](Rows<From, To> f) {
    return f(source.pixels(), source.step, target.pixels(), target.step, size);
  });
}

using Sampling = IppStatus (*)(const Ipp8u*, int, IppiSize, Ipp8u*, int, IppiSize);
void same(Sampling form, Sampling reference, std::string_view name, Input& input) {
  const bool isDown = name.find("Down") != std::string_view::npos;
  const int factor = name.find("V2") != std::string_view::npos ? 2 : 1;
  const IppiSize size = anySize(input);
  // Up-sampling reads a column on either side, and by two lines a row above and below.
  const int margin = factor - 1;
  Image<const Ipp8u*> source(input,
                             isDown
                                 ? IppiSize{2 * size.width, factor * size.height}
                                 : IppiSize{size.width / 2 + 2, size.height / factor + 2 * margin},
                             1);
  const Ipp8u* first = source.pixels() + (isDown ? 0 : margin * source.step + 1);
  Image<Ipp8u*> target(input, size, 1);
  sameOn(form, reference, target.memory, [&](Sampling f) {
    return f(first, source.step, {1, 1}, target.pixels(), target.step, size);
  });
}

using Forward = IppStatus (*)(const Ipp8u*, int, Ipp16s*, const Ipp16u*);
void same(Forward form, Forward reference, std::string_view, Input& input) {
  const int step = 8 + input.below(9);
  Memory source(input, anyBytes(input, 7 * std::size_t(step) + 8)),
      table(input, anyWords(input, 64));
  sameRow(form, reference, input, 128, [&](Forward f, Memory& out) {
    return f(source.at(), step, out.at<Ipp16s>(), table.at<Ipp16u>());
  });
}

using Inverse = IppStatus (*)(const Ipp16s*, Ipp8u*, int, const Ipp16u*);
void same(Inverse form, Inverse reference, std::string_view, Input& input) {
  Memory source(input, anyWords(input, 64)), table(input, anyWords(input, 64));
  const int kept = input.oneIn(2) ? 64 : input.below(64), step = 8 + input.below(9);
  for (int i = kept; i < 64; ++i) source.at<Ipp16s>()[kNatural[std::size_t(i)]] = 0;
  sameRow(form, reference, input, 7 * std::size_t(step) + 8, [&](Inverse f, Memory& out) {
    return f(source.at<Ipp16s>(), out.at(), step, table.at<Ipp16u>());
  });
}

using Table = IppStatus (*)(const Ipp8u*, Ipp16u*);
void same(Table form, Table reference, std::string_view, Input& input) {
  Memory source(input, anyBytes(input, 64));
  sameRow(form, reference, input, 128,
          [&](Table f, Memory& out) { return f(source.at(), out.at<Ipp16u>()); });
}

using InPlace = IppStatus (*)(Ipp8u*, int);
void same(InPlace form, InPlace reference, std::string_view, Input& input) {
  const int number = input.below(300) - 1;
  sameRow(form, reference, input, std::size_t(std::max(64, number)),
          [&](InPlace f, Memory& out) { return f(out.at(), number); });
}

using Copy = IppStatus (*)(const Ipp8u*, Ipp8u*, int);
void same(Copy form, Copy reference, std::string_view, Input& input) {
  const int length = input.sizeUpTo(40000);
  Memory source(input, anyBytes(input, std::size_t(length)));
  sameRow(form, reference, input, std::size_t(length),
          [&](Copy f, Memory& out) { return f(source.at(), out.at(), length); });
}

// Rows of values, with a parameter.
template <typename F, typename Call>
void sameWords(F form, F reference, Input& input, Call call) {
  const int width = input.sizeUpTo(300), parameter = input.below(19) - 1;
  const auto count = std::size_t(width);
  Memory source(input, anyWords(input, count)), above(input, anyWords(input, count));
  sameRow(form, reference, input, 2 * count, [&](F f, Memory& out) {
    return call(f, source.at<Ipp16s>(), above.at<Ipp16s>(), out.at<Ipp16s>(), width, parameter);
  });
}
using Shift = IppStatus (*)(const Ipp16s*, int, Ipp16s*, int);
void same(Shift form, Shift reference, std::string_view, Input& input) {
  sameWords(form, reference, input, [](auto f, auto* in, auto*, auto* out, int width, int shift) {
    return f(in, shift, out, width);
  });
}
using FirstRow = IppStatus (*)(const Ipp16s*, Ipp16s*, int, int, int);
void same(FirstRow form, FirstRow reference, std::string_view, Input& input) {
  sameWords(form, reference, input, [](auto f, auto* in, auto*, auto* out, int width, int bits) {
    return f(in, out, width, bits, bits / 3);
  });
}
using OtherRow = IppStatus (*)(const Ipp16s*, const Ipp16s*, Ipp16s*, int, int);
void same(OtherRow form, OtherRow reference, std::string_view, Input& input) {
  sameWords(form, reference, input, [](auto f, auto* in, auto* up, auto* out, int width, int p) {
    return f(in, up, out, width, p);
  });
}

// A coder's scan of a few blocks, with its room cut or not.
template <typename... Rest>
using Encode = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, Rest...);
template <typename... Rest>
void same(Encode<Rest...> form, Encode<Rest...> reference, std::string_view, Input& input) {
  EncodeTable table(input.oneIn(2) ? fullTable() : typicalAcTable());
  Coder ours{table.get(), table.get(), std::size_t(1 + input.below(input.oneIn(2) ? 600 : 60000))};
  Coder wanted = ours;
  const int Ss = 1 + input.below(63);
  const Band band = {Ss, Ss + input.below(64 - Ss), input.below(3)};
  for (int i = 1 + input.below(40); i >= 0; --i) {
    const bool repeats = input.oneIn(4);
    Memory block(input, repeats ? Bytes(128) : anyWords(input, 64));
    for (int k = input.below(64); k < 64; ++k) block.at<Ipp16s>()[kNatural[std::size_t(k)]] = 0;
    const Ipp16s* from = i == 0 ? nullptr : block.at<Ipp16s>();
    require(ours.call(form, from, band) == wanted.call(reference, from, band));
  }
  require(ours.guarded() && ours.bytes == wanted.bytes && ours.position == wanted.position);
  require(ours.lastDc == wanted.lastDc && ours.state.memory == wanted.state.memory);
}

template <typename... Rest>
using Statistics = IppStatus (*)(const Ipp16s*, int*, Rest...);
template <typename... Rest>
void same(Statistics<Rest...> form, Statistics<Rest...> reference, std::string_view, Input& input) {
  Counter ours, wanted;
  const int Ss = 1 + input.below(63);
  const Band band = {Ss, Ss + input.below(64 - Ss), input.below(3)};
  for (int i = 1 + input.below(40); i >= 0; --i) {
    Memory block(input, anyWords(input, 64));
    const Ipp16s* from = i == 0 ? nullptr : block.at<Ipp16s>();
    require(ours.call(form, from, band) == wanted.call(reference, from, band));
  }
  require(ours.counts == wanted.counts && ours.lastDc == wanted.lastDc);
}

// The decoders and tables have targets of their own.
void same(...) {}

struct Case {
  std::string_view name;
  void (*run)(std::string_view name, int slot, Input& input);
};

constexpr Case kCases[] = {
#define PRIMITIVE(slots, result, name, parameters, arguments) \
  {#name, [](std::string_view text, int slot, Input& input) { \
     same(name##_arraddr[slot], &ref_##name, text, input);    \
   }},
#include "primitives/primitives.def"
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  const Case& chosen = kCases[Input(data, size).below(std::size(kCases))];
  for (const Slot& slot : slots) {
    if (slot.index == 0) continue;
    Input input(data, size);
    input.below(std::size(kCases));
    chosen.run(chosen.name, slot.index, input);
  }
  return 0;
}
