// Every distinct form of every primitive against the scalar reference: random and extreme data,
// odd sizes, steps and offsets, and nothing changed outside the region.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "qrx/primitives.h"
#include "tests/forms/compare_huffman.h"
#include "tests/forms/random.h"
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
  const unsigned character = random() % 4;
  const auto flat = random.byte();
  Bytes bytes(size);
  for (Ipp8u& byte : bytes) {
    byte = static_cast<Ipp8u>(character == 0   ? flat
                              : character == 1 ? -static_cast<int>(random() % 2)
                                               : static_cast<int>(random()));
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
    const unsigned random = randomness()();
    step = size.width * bytesPerPixel + 2 + static_cast<int>(random % 13);
    origin = static_cast<size_t>(step) + 3 + random / 16 % 16;
    planeSize = static_cast<size_t>(step) * static_cast<size_t>(size.height + 4) + 64;
    bytes = testBytes(4 * planeSize);
  }
  Ipp8u* plane(size_t index) { return bytes.data() + index * planeSize + origin; }
};

// Whether `after` equals `before` outside of the rows of the region.
bool sameOutside(const Bytes& before, const Bytes& after, const Arena& arena, IppiSize size,
                 int bytesPerPixel) {
  for (size_t i = 0; i < before.size(); ++i) {
    const auto inPlane = static_cast<long>(i % arena.planeSize) - static_cast<long>(arena.origin);
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
    const int shift = static_cast<int>(randomness()() % 3) * 5;
    for (size_t i = 0; i < count && shift != 0; ++i) {
      const auto word = static_cast<Ipp16s>(bytes[2 * i + 1] | bytes[2 * i + 2] << 8);
      const auto smaller = static_cast<Ipp16s>(word >> shift);
      bytes[2 * i + 1] = static_cast<Ipp8u>(smaller);
      bytes[2 * i + 2] = static_cast<Ipp8u>(smaller >> 8);
    }
  }
  template <typename T>
  T* at() {
    return reinterpret_cast<T*>(bytes.data() + 1);
  }
};

constexpr int kBlockTrials = 3000;

using Forward = IppStatus (*)(const Ipp8u*, int, Ipp16s*, const Ipp16u*);
void compare(Forward form, Forward reference) {
  for (int trial = 0; trial < kBlockTrials; ++trial) {
    const Bytes source = testBytes(8 * 11);
    Words table(64), expected(64), actual(64);
    EXPECT_EQ(reference(source.data(), 11, expected.at<Ipp16s>(), table.at<Ipp16u>()), 0);
    EXPECT_EQ(form(source.data(), 11, actual.at<Ipp16s>(), table.at<Ipp16u>()), 0);
    ASSERT_TRUE(
        std::equal(expected.bytes.begin() + 1, expected.bytes.end(), actual.bytes.begin() + 1));
  }
}

using Inverse = IppStatus (*)(const Ipp16s*, Ipp8u*, int, const Ipp16u*);
void compare(Inverse form, Inverse reference) {
  for (int trial = 0; trial < kBlockTrials; ++trial) {
    Words source(64), table(64);
    const unsigned kept = randomness()() % 64;  // from full blocks to a few coefficients
    for (size_t i = 0; i < 64; ++i) {
      if (randomness()() % 64 > kept) source.bytes[2 * i + 1] = source.bytes[2 * i + 2] = 0;
      if (trial % 2 == 0) table.bytes[2 * i + 2] = 0;
    }
    Bytes expected = testBytes(8 * 13);
    Bytes actual = expected;
    EXPECT_EQ(reference(source.at<Ipp16s>(), expected.data(), 13, table.at<Ipp16u>()), 0);
    EXPECT_EQ(form(source.at<Ipp16s>(), actual.data(), 13, table.at<Ipp16u>()), 0);
    ASSERT_EQ(expected, actual);
  }
}

using Table = IppStatus (*)(const Ipp8u*, Ipp16u*);
void compare(Table form, Table reference) {
  for (int trial = 0; trial < 100; ++trial) {
    const Bytes raw = testBytes(64);
    Words expected(64), actual(64);
    EXPECT_EQ(reference(raw.data(), expected.at<Ipp16u>()), form(raw.data(), actual.at<Ipp16u>()));
    ASSERT_TRUE(
        std::equal(expected.bytes.begin() + 1, expected.bytes.end(), actual.bytes.begin() + 1));
  }
}

// Scaling of a raw table by a quality; clearing of so many bytes.
using InPlace = IppStatus (*)(Ipp8u*, int);
void compare(InPlace form, InPlace reference) {
  for (int number = -1; number < 300; ++number) {
    Bytes expected = testBytes(512);
    Bytes actual = expected;
    EXPECT_EQ(reference(expected.data(), number), form(actual.data(), number));
    EXPECT_EQ(expected, actual);
  }
}

using Copy = IppStatus (*)(const Ipp8u*, Ipp8u*, int);
void compare(Copy form, Copy reference) {
  for (const int length : {1, 2, 15, 16, 17, 63, 70, 4096, 40000, 140001}) {
    const Bytes source = testBytes(static_cast<size_t>(length));
    Bytes expected = testBytes(static_cast<size_t>(length) + 7);
    Bytes actual = expected;
    EXPECT_EQ(reference(source.data(), expected.data() + 3, length), 0);
    EXPECT_EQ(form(source.data(), actual.data() + 3, length), 0);
    EXPECT_EQ(expected, actual);
  }
}

template <typename Call, typename F>
void compareOnWords(F form, F reference, Call call) {
  for (int length = 1; length <= 70; ++length) {
    Words expected(80);
    Words actual = expected;
    const Bytes before = expected.bytes;
    EXPECT_EQ(call(reference, expected.at<Ipp16s>(), length),
              call(form, actual.at<Ipp16s>(), length));
    EXPECT_EQ(expected.bytes, actual.bytes);
    EXPECT_TRUE(std::equal(before.begin() + 1 + 2 * length, before.end(),
                           actual.bytes.begin() + 1 + 2 * length));
  }
}

using Shift = IppStatus (*)(const Ipp16s*, int, Ipp16s*, int);
void compare(Shift form, Shift reference) {
  for (int shift = -1; shift <= 17; ++shift) {
    Words source(80);
    compareOnWords(form, reference, [&](Shift f, Ipp16s* out, int length) {
      return f(source.at<Ipp16s>(), shift, out, length);
    });
  }
}

using FirstRow = IppStatus (*)(const Ipp16s*, Ipp16s*, int, int, int);
void compare(FirstRow form, FirstRow reference) {
  for (int precision = 1; precision <= 17; ++precision) {
    Words source(80);
    compareOnWords(form, reference, [&](FirstRow f, Ipp16s* out, int length) {
      return f(source.at<Ipp16s>(), out, length, precision, precision / 3);
    });
  }
}

using OtherRow = IppStatus (*)(const Ipp16s*, const Ipp16s*, Ipp16s*, int, int);
void compare(OtherRow form, OtherRow reference) {
  for (int predictor = 0; predictor <= 8; ++predictor) {
    Words source(80), above(80);
    compareOnWords(form, reference, [&](OtherRow f, Ipp16s* out, int length) {
      return f(source.at<Ipp16s>(), above.at<Ipp16s>(), out, length, predictor);
    });
  }
}

using Version = const IppLibraryVersion* (*)();
void compare(Version form, Version) {
  EXPECT_EQ(form()->major, 7);
  EXPECT_STREQ(form()->BuildDate, "Sep 24 2012");
}

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
