// Every distinct form of every primitive against the scalar reference: random and extreme data,
// odd sizes, steps and offsets, and nothing read or written outside of images.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>

#include "tests/forms/huffman_kit.h"
#include "tests/forms/slots.h"
#include "tests/support/fenced_bytes.h"

#define QRX_FORM ref
#include "primitives/form.h"

namespace {

using qrx::test::Fence;
using qrx::test::FencedBytes;

Random& randomness() {
  static Random generator(20);
  return generator;
}

// Bytes of one of several characters: noise, extremes, flat.
Bytes testBytes(size_t size) {
  Random& random = randomness();
  const auto character = random() % 4;
  const auto flat = Ipp8u(random());
  Bytes bytes(size);
  for (Ipp8u& byte : bytes) {
    byte = Ipp8u(character == 0 ? flat : character == 1 ? -int(random() % 2) : int(random()));
  }
  return bytes;
}

// Rows of pixels in memory of their exact size, beside pages that cannot be touched. A pointer to
// pointers has a plane for each channel.
template <typename Pixels>
struct Image {
  static constexpr bool kPlanar = std::is_pointer_v<std::remove_pointer_t<Pixels>>;

  int step;
  std::deque<FencedBytes> memory;
  Ipp8u* planes[4] = {};

  Image(IppiSize size, int channels, Fence fence) {
    const int rowBytes = size.width * (kPlanar ? 1 : channels * int(sizeof(*Pixels{})));
    step = rowBytes + int(randomness()() % 3) * 5;
    for (int plane = 0; plane < (kPlanar ? channels : 1); ++plane) {
      memory.emplace_back(size_t(step * (size.height - 1) + rowBytes), fence);
      planes[plane] = memory.back().bytes.data();
    }
    fill(testBytes(memory.size() * memory[0].bytes.size()));
  }
  Pixels pixels() {
    if constexpr (kPlanar) {
      return const_cast<Pixels>(planes);
    } else {
      return reinterpret_cast<Pixels>(planes[0]);
    }
  }
  Bytes bytes() const {
    Bytes all;
    for (const FencedBytes& p : memory) all.insert(all.end(), p.bytes.begin(), p.bytes.end());
    return all;
  }
  void fill(const Bytes& all) {
    auto next = all.begin();
    for (FencedBytes& plane : memory) {
      std::copy_n(next, plane.bytes.size(), plane.bytes.begin());
      next += long(plane.bytes.size());
    }
  }
};

// Calls run(size, fence) for images below and above the widths of vectors.
template <typename Run>
void forImages(Run run) {
  std::vector<IppiSize> sizes = {{641, 3}, {1920, 2}, {4097, 1}};
  for (int width = 1; width <= 100; ++width) sizes.push_back({width, 1 + width % 5});
  for (const IppiSize size : sizes) {
    SCOPED_TRACE(testing::Message() << size.width << "x" << size.height);
    for (const Fence fence : {Fence::kBefore, Fence::kAfter}) run(size, fence);
  }
}

// Both functions make the same of a target.
template <typename Target, typename F, typename Call>
void compareOnTarget(F form, F reference, Target target, Call call) {
  const Bytes before = target.bytes();
  EXPECT_EQ(call(reference, target), ippStsNoErr);
  const Bytes expected = target.bytes();
  target.fill(before);
  EXPECT_EQ(call(form, target), ippStsNoErr);
  EXPECT_EQ(expected, target.bytes());
}

// A test's name is its primitive's.
std::string primitive() { return testing::UnitTest::GetInstance()->current_test_info()->name(); }

template <typename From, typename To>
using Rows = IppStatus (*)(From, int, To, int, IppiSize);
template <typename From, typename To>
void compare(Rows<From, To> form, Rows<From, To> reference) {
  // Channels by the end of the name: AC4C3R makes three of four, C3P3R and C1R keep theirs.
  const std::string layout = primitive().substr(primitive().rfind('_'));
  const int from = layout[layout.find_first_of("134")] - '0';
  const int to = layout[layout.find_last_of("134")] - '0';
  forImages([&](IppiSize size, Fence fence) {
    Image<From> source(size, from, fence);
    compareOnTarget(form, reference, Image<To>(size, to, fence), [&](auto f, Image<To>& target) {
      return f(source.pixels(), source.step, target.pixels(), target.step, size);
    });
  });
}

using Sampling = IppStatus (*)(const Ipp8u*, int, IppiSize, Ipp8u*, int, IppiSize);
void compare(Sampling form, Sampling reference) {
  const bool down = primitive().find("Down") != std::string::npos;
  const int factor = primitive().find("V2") != std::string::npos ? 2 : 1;
  forImages([&](IppiSize size, Fence fence) {
    // Up-sampling reads a column on either side, and by two lines a row above and below.
    const int margin = factor - 1;
    const IppiSize read = down ? IppiSize{2 * size.width, factor * size.height}
                               : IppiSize{size.width / 2 + 2, size.height / factor + 2 * margin};
    Image<const Ipp8u*> source(read, 1, fence);
    const Ipp8u* first = source.pixels() + (down ? 0 : margin * source.step + 1);
    compareOnTarget(form, reference, Image<Ipp8u*>(size, 1, fence), [&](auto f, auto& target) {
      return f(first, source.step, {1, 1}, target.pixels(), target.step, size);
    });
  });
}

// Values of 16 bits: noise of several amplitudes and extremes, at an odd address.
struct Words {
  Bytes bytes;

  explicit Words(size_t count) : bytes(testBytes(2 * count + 1)) {
    const int shift = int(randomness()() % 3) * 5;
    for (size_t i = 1; i < bytes.size(); i += 2) {
      const int smaller = Ipp16s(bytes[i] | bytes[i + 1] << 8) >> shift;
      bytes[i] = Ipp8u(smaller);
      bytes[i + 1] = Ipp8u(smaller >> 8);
    }
  }
  template <typename T>
  const T* at() {
    return reinterpret_cast<const T*>(bytes.data() + 1);
  }
};

// Runs both functions on equal memory of `size` bytes at an odd address, with a guard behind.
template <typename T, typename Call, typename F>
void compareOnRow(F form, F reference, int size, Call call) {
  const Bytes before = testBytes(size_t(size) + 17);
  Bytes expected = before, actual = before;
  EXPECT_EQ(call(reference, reinterpret_cast<T*>(expected.data() + 1)),
            call(form, reinterpret_cast<T*>(actual.data() + 1)));
  ASSERT_EQ(expected, actual);
  EXPECT_TRUE(std::equal(before.end() - 16, before.end(), actual.end() - 16));
}

constexpr int kBlockTrials = 3000;

using Forward = IppStatus (*)(const Ipp8u*, int, Ipp16s*, const Ipp16u*);
void compare(Forward form, Forward reference) {
  for (int trial = 0; trial < kBlockTrials; ++trial) {
    const Bytes source = testBytes(8 * 11);
    Words table(64);
    compareOnRow<Ipp16s>(form, reference, 128, [&](Forward f, Ipp16s* out) {
      return f(source.data(), 11, out, table.at<Ipp16u>());
    });
  }
}

using Inverse = IppStatus (*)(const Ipp16s*, Ipp8u*, int, const Ipp16u*);
void compare(Inverse form, Inverse reference) {
  for (int trial = 0; trial < kBlockTrials; ++trial) {
    Words source(64), table(64);
    const auto kept = randomness()() % 64;  // from full blocks to a few coefficients
    for (size_t i = 0; i < 64; ++i) {
      if (randomness()() % 64 > kept) source.bytes[2 * i + 1] = source.bytes[2 * i + 2] = 0;
      if (trial % 2 == 0) table.bytes[2 * i + 2] = 0;
    }
    compareOnRow<Ipp8u>(form, reference, 7 * 13 + 8, [&](Inverse f, Ipp8u* out) {
      return f(source.at<Ipp16s>(), out, 13, table.at<Ipp16u>());
    });
  }
}

using Table = IppStatus (*)(const Ipp8u*, Ipp16u*);
void compare(Table form, Table reference) {
  for (int trial = 0; trial < 100; ++trial) {
    const Bytes raw = testBytes(64);
    compareOnRow<Ipp16u>(form, reference, 128,
                         [&](Table f, Ipp16u* out) { return f(raw.data(), out); });
  }
}

// Scaling of a raw table by a quality; clearing of so many bytes.
using InPlace = IppStatus (*)(Ipp8u*, int);
void compare(InPlace form, InPlace reference) {
  for (int number = -1; number < 300; ++number) {
    compareOnRow<Ipp8u>(form, reference, std::max(64, number),
                        [&](InPlace f, Ipp8u* out) { return f(out, number); });
  }
}

using Copy = IppStatus (*)(const Ipp8u*, Ipp8u*, int);
void compare(Copy form, Copy reference) {
  for (const int length : {1, 2, 15, 16, 17, 63, 70, 4096, 40000, 140001}) {
    const Bytes source = testBytes(size_t(length));
    compareOnRow<Ipp8u>(form, reference, length,
                        [&](Copy f, Ipp8u* out) { return f(source.data(), out, length); });
  }
}

// Rows of all widths up to 70, with a parameter.
template <typename Call, typename F>
void compareOnWords(F form, F reference, Call call) {
  for (int parameter = -1; parameter <= 17; ++parameter) {
    Words source(80), above(80);
    for (int length = 1; length <= 70; ++length) {
      compareOnRow<Ipp16s>(form, reference, 2 * length, [&](F f, Ipp16s* out) {
        return call(f, source.at<Ipp16s>(), above.at<Ipp16s>(), out, length, parameter);
      });
    }
  }
}

using Shift = IppStatus (*)(const Ipp16s*, int, Ipp16s*, int);
void compare(Shift form, Shift reference) {
  compareOnWords(form, reference, [](Shift f, auto* in, auto*, Ipp16s* out, int length, int shift) {
    return f(in, shift, out, length);
  });
}

using FirstRow = IppStatus (*)(const Ipp16s*, Ipp16s*, int, int, int);
void compare(FirstRow form, FirstRow reference) {
  compareOnWords(form, reference, [](auto f, auto* in, auto*, auto* out, int length, int bits) {
    return f(in, out, length, bits, bits / 3);
  });
}

using OtherRow = IppStatus (*)(const Ipp16s*, const Ipp16s*, Ipp16s*, int, int);
void compare(OtherRow form, OtherRow reference) {
  compareOnWords(form, reference, [](auto f, auto* in, auto* above, auto* out, int length, int p) {
    return f(in, above, out, length, p);
  });
}

using Version = const IppLibraryVersion* (*)();
void compare(Version form, Version) { EXPECT_STREQ(form()->BuildDate, "Sep 24 2012"); }

// --- Huffman coding. The decoders are fed scans with damage of all kinds; what counts for them is
// status and decoded values, since a form may read further ahead than another.

// The statuses of all calls, the bytes and the final position.
template <typename F>
std::tuple<std::vector<IppStatus>, Bytes, int> encodeScan(F f, const std::vector<Block>& blocks,
                                                          EncodeTable& table, int capacity) {
  Coder coder{table.get(), table.get(), size_t(capacity)};
  std::vector<IppStatus> statuses;
  Bytes memory(129);  // blocks at an odd address
  const auto* block = reinterpret_cast<const Ipp16s*>(memory.data() + 1);
  for (const Block& source : blocks) {
    std::memcpy(memory.data() + 1, &source, sizeof source);
    statuses.push_back(coder.call(f, block, {1, 60, 1}));
  }
  statuses.push_back(coder.call(f, nullptr));
  EXPECT_TRUE(coder.guarded());
  return {statuses, coder.bytes, coder.position};
}

// Room for everything, and too little by a few and by many bytes.
template <typename... Rest>
void compare(IppStatus (*form)(const Ipp16s*, Ipp8u*, int, int*, Rest...),
             IppStatus (*reference)(const Ipp16s*, Ipp8u*, int, int*, Rest...)) {
  std::vector<Block> blocks = randomBlocks(1, 300, 10);
  blocks.resize(500);  // an end-of-band run
  for (const Block& block : randomBlocks(2, 100, 15)) blocks.push_back(block);
  for (const HuffmanList& list : {fullTable(), typicalAcTable()}) {  // the second lacks categories
    EncodeTable table(list);
    const int whole = std::get<int>(encodeScan(reference, blocks, table, 1 << 17));
    for (const int missing : {whole - (1 << 17), 1, 2, 7, 9, 25, 600}) {
      const int capacity = std::max(1, whole - missing);
      EXPECT_EQ(encodeScan(reference, blocks, table, capacity),
                encodeScan(form, blocks, table, capacity));
    }
  }
}

template <typename... Rest>
void compare(IppStatus (*form)(const Ipp16s*, int*, Rest...),
             IppStatus (*reference)(const Ipp16s*, int*, Rest...)) {
  Counter expected, actual;
  for (const Block& source : randomBlocks(7, 300, 12)) {
    const Ipp16s* block = source[0] % 8 == 0 ? nullptr : source.data();
    EXPECT_EQ(expected.call(reference, block), actual.call(form, block));
  }
  EXPECT_EQ(expected.lastDc, actual.lastDc);
  EXPECT_EQ(expected.counts, actual.counts);
}

// A scan, decoded block by block until the first failure.
template <typename F>
std::vector<Ipp16s> decodeScan(F f, const Bytes& stream, DecodeTable& table) {
  Cursor cursor{table.get(), table.get(), stream};
  std::vector<Ipp16s> result;
  IppStatus status = 0;
  for (size_t b = 0; b < 200 && status == 0; ++b) {
    Block block;  // a pattern for refinements to work on; others overwrite it
    for (size_t i = 0; i < 64; ++i) block[i] = Ipp16s(i * (b + 1) % 5 == 0 ? int(i * 8) - 256 : 0);
    status = cursor.call(f, block.data(), {1, 63, 2});
    result.insert(result.end(), block.begin(), block.end());
    result.insert(result.end(), {cursor.lastDc, static_cast<Ipp16s>(status)});
    EXPECT_TRUE(cursor.position >= 0 && cursor.position <= cursor.length);
  }
  return result;
}

Bytes damaged(const Bytes& stream) {
  Random& random = randomness();
  Bytes result = stream;
  const size_t place = random() % result.size();
  switch (random() % 6) {
    case 0: result.resize(place); break;
    case 1: result[place] = Ipp8u(result[place] ^ 1u << random() % 8); break;
    case 2: result[place] = 0xFF; break;
    case 3: result.insert(result.begin() + long(place), {0xFF, 0xD9}); break;
    case 4: result.insert(result.begin() + long(place), {0xFF, 0xFF, 0xFF}); break;
    default:
      for (size_t i = place; i < result.size(); ++i) result[i] = Ipp8u(random());
  }
  if (random() % 4 == 0) result.push_back(0xFF);
  return result.empty() ? Bytes{0} : result;
}

// A baseline scan, and noise with stuffing.
template <typename... Rest>
void compare(IppStatus (*form)(const Ipp8u*, int, int*, Ipp16s*, Rest...),
             IppStatus (*reference)(const Ipp8u*, int, int*, Ipp16s*, Rest...)) {
  EncodeTable codes(fullTable());
  Coder scan{codes.get(), codes.get()};
  for (const Block& block : randomBlocks(8, 200, 10)) scan.call(kEncodeBlock, block.data());
  BitMaker noise;
  for (int i = 0; i < 4000; ++i) noise.bits(unsigned(randomness()()), 8);
  for (const Bytes& stream : {scan.written(), noise.segment()}) {
    for (const HuffmanList& list : {fullTable(), typicalAcTable(), typicalDcTable()}) {
      DecodeTable table(list);
      for (int trial = 0; trial < 150; ++trial) {
        const Bytes input = trial == 0 ? stream : damaged(stream);
        ASSERT_EQ(decodeScan(reference, input, table), decodeScan(form, input, table)) << trial;
      }
    }
  }
}

using ListInit = IppStatus (*)(const int*, Ipp8u*, Ipp8u*);
void compare(ListInit form, ListInit reference) {
  for (unsigned trial = 0; trial < 50; ++trial) {
    std::array<int, 256> statistics = {};
    for (int& count : statistics) {
      if (randomness()() % 50 < trial) count = int(randomness()() >> randomness()() % 32);
    }
    compareOnRow<Ipp8u>(form, reference, 272, [&](ListInit f, Ipp8u* out) {
      return f(statistics.data(), out, out + 16);
    });
  }
}

template <typename Record>
void compare(IppStatus (*form)(const Ipp8u*, const Ipp8u*, Record*),
             IppStatus (*reference)(const Ipp8u*, const Ipp8u*, Record*)) {
  for (int trial = 0; trial < 200; ++trial) {
    HuffmanList list = trial % 2 == 0 ? typicalAcTable() : fullTable();
    if (trial > 1) list.bits[randomness()() % 16] = Ipp8u(randomness()() % 40);
    list.values.resize(16 * 255);
    compareOnRow<Record>(form, reference, sizeof(Record), [&](auto f, Record* out) {
      return f(list.bits.data(), list.values.data(), out);
    });
  }
}

template <typename Record>
void compare(IppStatus (*form)(Record*), IppStatus (*reference)(Record*)) {
  compareOnRow<Record>(form, reference, sizeof(Record), [](auto f, Record* out) { return f(out); });
}

template <typename F>
void compareAll(const F (&table)[7], F reference) {
  std::set<F> seen;
  for (const Slot& slot : runnableSlots()) {
    if (!seen.insert(table[slot.index]).second) continue;
    SCOPED_TRACE("slot " + std::to_string(slot.index));
    compare(table[slot.index], reference);
  }
}

}  // namespace

#define PRIMITIVE(slots, result, name, parameters, arguments) \
  TEST(Forms, name) { compareAll(name##_arraddr, &ref_##name); }
#include "primitives/primitives.def"
