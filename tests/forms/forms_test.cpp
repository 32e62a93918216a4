// Every distinct form of every primitive against the scalar reference: random and extreme data,
// odd sizes, steps and offsets, and nothing changed outside the region.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tests/forms/compare_huffman.h"
#include "tests/forms/slots.h"

#define QRX_FORM ref
#include "primitives/form.h"

namespace {

using entropy::compare;

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

std::vector<IppiSize> sizes() {
  std::vector<IppiSize> all;
  for (int width = 1; width <= 70; ++width) all.push_back({width, 1 + width % 5});
  all.insert(all.end(), {{641, 3}, {1920, 2}, {4097, 1}});
  return all;
}

// An image arena: four planes, or one of four bytes a pixel, whose rows are `step` apart.
struct Arena {
  Bytes bytes;
  int step;
  size_t origin;
  size_t planeSize;

  Arena(IppiSize size, int bytesPerPixel) {
    const auto random = randomness()();
    step = size.width * bytesPerPixel + 2 + int(random % 13);
    origin = size_t(step) + 3 + random / 16 % 16;
    planeSize = size_t(step) * size_t(size.height + 4) + 64;
    bytes = testBytes(4 * planeSize);
  }
  Ipp8u* plane(size_t index) { return bytes.data() + index * planeSize + origin; }
};

// Whether `after` equals `before` outside of the rows of the region.
bool sameOutside(const Bytes& before, const Bytes& after, const Arena& arena, IppiSize size,
                 int bytesPerPixel) {
  for (size_t i = 0; i < before.size(); ++i) {
    const auto inPlane = long(i % arena.planeSize) - long(arena.origin);
    const bool inside = inPlane >= 0 && inPlane / arena.step < size.height &&
                        inPlane % arena.step < size.width * bytesPerPixel;
    if (!inside && before[i] != after[i]) return false;
  }
  return true;
}

// Runs both functions on equal copies of the destination.
template <typename Call, typename F>
void compareOnImage(F form, F reference, IppiSize size, int bytesPerPixel, Call call) {
  Arena expected(size, bytesPerPixel);
  Arena actual = expected;
  const Bytes before = expected.bytes;
  EXPECT_EQ(call(reference, &expected), ippStsNoErr);
  EXPECT_EQ(call(form, &actual), ippStsNoErr);
  EXPECT_EQ(expected.bytes, actual.bytes) << size.width << "x" << size.height;
  EXPECT_TRUE(sameOutside(before, actual.bytes, actual, size, bytesPerPixel)) << size.width;
}

using Split = IppStatus (*)(const Ipp8u*, int, Ipp8u**, int, IppiSize);
void compare(Split form, Split reference) {
  for (const IppiSize size : sizes()) {
    Arena source(size, 4);
    compareOnImage(form, reference, size, 1, [&](Split f, Arena* out) {
      Ipp8u* planes[] = {out->plane(0), out->plane(1), out->plane(2), out->plane(3)};
      return f(source.plane(0), source.step, planes, out->step, size);
    });
  }
}

using Join = IppStatus (*)(const Ipp8u**, int, Ipp8u*, int, IppiSize);
void compare(Join form, Join reference) {
  for (const IppiSize size : sizes()) {
    Arena source(size, 1);
    const Ipp8u* planes[] = {source.plane(0), source.plane(1), source.plane(2), source.plane(3)};
    compareOnImage(form, reference, size, 4, [&](Join f, Arena* out) {
      return f(planes, source.step, out->plane(0), out->step, size);
    });
  }
}

template <typename From, typename To>
using Rows = IppStatus (*)(const From*, int, To*, int, IppiSize);
template <typename From, typename To>
void compare(Rows<From, To> form, Rows<From, To> reference) {
  for (const IppiSize size : sizes()) {
    Arena source(size, 4);
    compareOnImage(form, reference, size, 4, [&](Rows<From, To> f, Arena* out) {
      return f(reinterpret_cast<const From*>(source.plane(0)), source.step,
               reinterpret_cast<To*>(out->plane(0)), out->step, size);
    });
  }
}

using Sampling = IppStatus (*)(const Ipp8u*, int, IppiSize, Ipp8u*, int, IppiSize);
void compare(Sampling form, Sampling reference) {
  for (const IppiSize size : sizes()) {
    Arena source({2 * size.width, 2 * size.height}, 1);
    compareOnImage(form, reference, size, 1, [&](Sampling f, Arena* out) {
      return f(source.plane(0), source.step, {1, 1}, out->plane(0), out->step, size);
    });
  }
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
  compareOnWords(form, reference,
                 [](FirstRow f, auto* in, auto*, Ipp16s* out, int length, int bits) {
                   return f(in, out, length, bits, bits / 3);
                 });
}

using OtherRow = IppStatus (*)(const Ipp16s*, const Ipp16s*, Ipp16s*, int, int);
void compare(OtherRow form, OtherRow reference) {
  compareOnWords(form, reference,
                 [](OtherRow f, auto* in, auto* above, Ipp16s* out, int length, int predictor) {
                   return f(in, above, out, length, predictor);
                 });
}

using Version = const IppLibraryVersion* (*)();
void compare(Version form, Version) { EXPECT_STREQ(form()->BuildDate, "Sep 24 2012"); }

template <typename F>
void compareAll(const F (&table)[7], F reference) {
  std::set<F> seen;
  std::string skipped;
  for (const Slot& slot : allSlots()) {
    if (!slot.runs) {
      skipped += std::string(" ") + slot.code;
    } else if (seen.insert(table[slot.index]).second) {
      SCOPED_TRACE("slot " + std::to_string(slot.index));
      compare(table[slot.index], reference);
    }
  }
  if (!skipped.empty()) GTEST_LOG_(INFO) << "not run, this processor lacks:" << skipped;
}

}  // namespace

#define PRIMITIVE(slots, result, name, parameters, arguments) \
  TEST(Forms, name) { compareAll(name##_arraddr, &ref_##name); }
#include "primitives/primitives.def"
