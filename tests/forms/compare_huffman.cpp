#include "tests/forms/compare_huffman.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "tests/forms/random.h"

namespace entropy {

namespace {

constexpr size_t kBlocks = 200;

// --- Encoders: the statuses of all calls, the bytes and the final position.

struct Encoded {
  std::vector<IppStatus> statuses;
  Bytes bytes;
  int position = 0;
  bool operator==(const Encoded&) const = default;
};

// One call of a coder; the block is null for the flush.
using EncodeCall = std::function<IppStatus(const Ipp16s* block, Ipp8u* out, int length,
                                           int* position, IppiEncodeHuffmanState* state)>;

Encoded encodeScan(const std::vector<Block>& blocks, int capacity, const EncodeCall& call) {
  Encoded result;
  result.bytes.assign(static_cast<size_t>(capacity) + 8, 0x5A);
  EncodeState state;
  for (size_t b = 0; b <= blocks.size(); ++b) {
    // At an odd address.
    Bytes block(129);
    if (b < blocks.size()) std::memcpy(block.data() + 1, blocks[b].data(), 128);
    result.statuses.push_back(
        call(b < blocks.size() ? reinterpret_cast<const Ipp16s*>(block.data() + 1) : nullptr,
             result.bytes.data(), capacity, &result.position, state.get()));
  }
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(result.bytes[result.bytes.size() - 1 - i], 0x5A);
  return result;
}

// Room for everything, and too little by a few and by many bytes.
template <typename F, typename MakeCall>
void compareCoders(F form, F reference, const std::vector<Block>& blocks, MakeCall makeCall) {
  const Encoded whole = encodeScan(blocks, 1 << 17, makeCall(reference));
  EXPECT_EQ(whole, encodeScan(blocks, 1 << 17, makeCall(form)));
  for (const int missing : {1, 2, 7, 9, 25, 600}) {
    const int capacity = std::max(1, whole.position - missing);
    EXPECT_EQ(encodeScan(blocks, capacity, makeCall(reference)),
              encodeScan(blocks, capacity, makeCall(form)));
  }
}

// --- Decoders: a scan, damaged, decoded block by block until the first failure.

struct Decoded {
  IppStatus status = 0;
  std::vector<Ipp16s> values;
  bool operator==(const Decoded&) const = default;
};

struct Cursor {
  const Ipp8u* bytes;
  int length;
  int position = 0;
  int marker = 0;
  Ipp16s lastDc = 0;
  DecodeState state = {};
};

using DecodeCall = std::function<IppStatus(Cursor* cursor, Ipp16s* block)>;

Decoded decodeScan(const Bytes& stream, const DecodeCall& call) {
  Cursor cursor{stream.data(), static_cast<int>(stream.size())};
  Decoded result;
  Block block = {};
  for (size_t b = 0; b < kBlocks + 3 && result.status == 0; ++b) {
    // A pattern for refinements to work on; others overwrite it.
    for (size_t i = 0; i < 64; ++i) {
      block[i] = static_cast<Ipp16s>((i * (b + 1)) % 5 == 0 ? static_cast<int>(i * 8) - 256 : 0);
    }
    result.status = call(&cursor, block.data());
    result.values.insert(result.values.end(), block.begin(), block.end());
    result.values.push_back(cursor.lastDc);
    EXPECT_GE(cursor.position, 0);
    EXPECT_LE(cursor.position, cursor.length);
  }
  return result;
}

Bytes damaged(const Bytes& stream, Random* random) {
  Bytes result = stream;
  const unsigned kind = (*random)() % 6;
  const size_t place = (*random)() % result.size();
  switch (kind) {
    case 0: result.resize(place); break;
    case 1: result[place] = static_cast<Ipp8u>(result[place] ^ 1u << (*random)() % 8); break;
    case 2: result[place] = 0xFF; break;
    case 3: result.insert(result.begin() + static_cast<long>(place), {0xFF, 0xD9}); break;
    case 4: result.insert(result.begin() + static_cast<long>(place), {0xFF, 0xFF, 0xFF}); break;
    default:
      for (size_t i = place; i < result.size(); ++i) result[i] = random->byte();
  }
  if ((*random)() % 4 == 0) result.push_back(0xFF);
  return result.empty() ? Bytes{0} : result;
}

template <typename F, typename MakeCall>
void compareDecoders(F form, F reference, const Bytes& stream, MakeCall makeCall) {
  EXPECT_EQ(decodeScan(stream, makeCall(reference)), decodeScan(stream, makeCall(form)));
  Random random(5);
  for (int trial = 0; trial < 300; ++trial) {
    const Bytes input = damaged(stream, &random);
    ASSERT_EQ(decodeScan(input, makeCall(reference)), decodeScan(input, makeCall(form))) << trial;
  }
}

Bytes scanOf(const Encoded& encoded) {
  return {encoded.bytes.begin(), encoded.bytes.begin() + encoded.position};
}

}  // namespace

void compare(GetSize form, GetSize reference) {
  int expected = 0, actual = 0;
  EXPECT_EQ(reference(&expected), 0);
  EXPECT_EQ(form(&actual), 0);
  EXPECT_EQ(expected, actual);
}

void compare(ListInit form, ListInit reference) {
  Random random(3);
  for (int trial = 0; trial < 50; ++trial) {
    std::array<int, 256> statistics = {};
    for (int& count : statistics) {
      if (random() % 50 < static_cast<unsigned>(trial))
        count = static_cast<int>(random() >> random() % 32);
    }
    std::array<Ipp8u, 272> expected = {}, actual = {};
    EXPECT_EQ(reference(statistics.data(), expected.data(), expected.data() + 16),
              form(statistics.data(), actual.data(), actual.data() + 16));
    EXPECT_EQ(expected, actual);
  }
}

namespace {

template <typename Record>
void compareSpecInit(IppStatus (*form)(const Ipp8u*, const Ipp8u*, Record*),
                     IppStatus (*reference)(const Ipp8u*, const Ipp8u*, Record*), size_t size) {
  Random random(4);
  for (int trial = 0; trial < 200; ++trial) {
    HuffmanList list = trial % 2 == 0 ? typicalAcTable() : fullTable();
    if (trial > 1) list.bits[random() % 16] = static_cast<Ipp8u>(random() % 40);
    list.values.resize(16 * 255);
    Bytes expected(size, 1), actual(size, 2);
    EXPECT_EQ(
        reference(list.bits.data(), list.values.data(), reinterpret_cast<Record*>(expected.data())),
        form(list.bits.data(), list.values.data(), reinterpret_cast<Record*>(actual.data())));
    EXPECT_EQ(expected, actual);
  }
}

template <typename Record>
void compareStateInit(IppStatus (*form)(Record*), size_t size) {
  Bytes record(size + 1, 7);
  EXPECT_EQ(form(reinterpret_cast<Record*>(record.data())), 0);
  Bytes cleared(size + 1, 0);
  cleared.back() = 7;
  EXPECT_EQ(record, cleared);
}

}  // namespace

void compare(EncodeSpecInit form, EncodeSpecInit reference) {
  compareSpecInit(form, reference, 1024);
}
void compare(DecodeSpecInit form, DecodeSpecInit reference) {
  compareSpecInit(form, reference, 1644);
}
void compare(EncodeStateInit form, EncodeStateInit) { compareStateInit(form, 1044); }
void compare(DecodeStateInit form, DecodeStateInit) { compareStateInit(form, 20); }

void compare(EncodeBlock form, EncodeBlock reference) {
  for (const HuffmanList& list : {fullTable(), typicalAcTable()}) {  // the second lacks categories
    EncodeTable table(list);
    compareCoders(form, reference, randomBlocks(1, kBlocks, 14), [&](EncodeBlock f) {
      return [&table, f, last = Ipp16s{0}](const Ipp16s* block, Ipp8u* out, int length,
                                           int* position, IppiEncodeHuffmanState* state) mutable {
        return f(block, out, length, position, &last, table.get(), table.get(), state,
                 block == nullptr);
      };
    });
  }
}

void compare(EncodeOne form, EncodeOne reference) {
  EncodeTable table(fullTable());
  compareCoders(form, reference, randomBlocks(2, 2000, 15), [&](EncodeOne f) {
    return [&table, f](const Ipp16s* block, Ipp8u* out, int length, int* position,
                       IppiEncodeHuffmanState* state) {
      return f(block, out, length, position, table.get(), state, block == nullptr);
    };
  });
}

void compare(EncodeDcFirst form, EncodeDcFirst reference) {
  EncodeTable table(typicalDcTable());
  compareCoders(form, reference, randomBlocks(3, 2000, 12), [&](EncodeDcFirst f) {
    return [&table, f, last = Ipp16s{0}](const Ipp16s* block, Ipp8u* out, int length, int* position,
                                         IppiEncodeHuffmanState* state) mutable {
      return f(block, out, length, position, &last, 1, table.get(), state, block == nullptr);
    };
  });
}

void compare(EncodeDcRefine form, EncodeDcRefine reference) {
  compareCoders(form, reference, randomBlocks(4, 2000, 10), [&](EncodeDcRefine f) {
    return [f](const Ipp16s* block, Ipp8u* out, int length, int* position,
               IppiEncodeHuffmanState* state) {
      return f(block, out, length, position, 2, state, block == nullptr);
    };
  });
}

void compare(EncodeAc form, EncodeAc reference) {
  EncodeTable table(fullTable());
  std::vector<Block> blocks = randomBlocks(5, kBlocks, 12);
  blocks.resize(2 * kBlocks);  // an end-of-band run
  compareCoders(form, reference, blocks, [&](EncodeAc f) {
    return [&table, f](const Ipp16s* block, Ipp8u* out, int length, int* position,
                       IppiEncodeHuffmanState* state) {
      return f(block, out, length, position, 1, 60, 1, table.get(), state, block == nullptr);
    };
  });
}

void compare(CountDc form, CountDc reference) {
  std::array<int, 256> expected = {}, actual = {};
  Ipp16s expectedLast = 0, actualLast = 0;
  for (const Block& block : randomBlocks(6, kBlocks, 13)) {
    EXPECT_EQ(reference(block.data(), expected.data(), &expectedLast, 1),
              form(block.data(), actual.data(), &actualLast, 1));
    EXPECT_EQ(expectedLast, actualLast);
  }
  EXPECT_EQ(expected, actual);
}

void compare(CountAc form, CountAc reference) {
  std::array<int, 256> expected = {}, actual = {};
  EncodeState expectedState, actualState;
  std::vector<Block> blocks = randomBlocks(7, kBlocks, 11);
  for (size_t b = 0; b <= blocks.size(); ++b) {
    const Block& block = blocks[b % blocks.size()];
    const int flush = b == blocks.size();
    EXPECT_EQ(reference(block.data(), expected.data(), 1, 63, 1, expectedState.get(), flush),
              form(block.data(), actual.data(), 1, 63, 1, actualState.get(), flush));
  }
  EXPECT_EQ(expected, actual);
}

void compare(DecodeBlock form, DecodeBlock reference) {
  EncodeTable codes(fullTable());
  DecodeTable table(fullTable());
  const Encoded scan = encodeScan(
      randomBlocks(8, kBlocks, 10), 1 << 17,
      [&, last = Ipp16s{0}](const Ipp16s* block, Ipp8u* out, int length, int* position,
                            IppiEncodeHuffmanState* state) mutable {
        return ippiEncodeHuffman8x8_JPEG_16s1u_C1(block, out, length, position, &last, codes.get(),
                                                  codes.get(), state, block == nullptr);
      });
  compareDecoders(form, reference, scanOf(scan), [&](DecodeBlock f) {
    return [&table, f](Cursor* c, Ipp16s* block) {
      return f(c->bytes, c->length, &c->position, block, &c->lastDc, &c->marker, table.get(),
               table.get(), c->state.get());
    };
  });
}

namespace {

Bytes noise(unsigned seed) {
  Random random(seed);
  Bytes bytes;
  for (int i = 0; i < 2000; ++i) {
    bytes.push_back(random.byte());
    if (bytes.back() == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

}  // namespace

void compare(DecodeOne form, DecodeOne reference) {
  DecodeTable table(fullTable());
  compareDecoders(form, reference, noise(1), [&](DecodeOne f) {
    return [&table, f](Cursor* c, Ipp16s* block) {
      return f(c->bytes, c->length, &c->position, block, &c->marker, table.get(), c->state.get());
    };
  });
}

void compare(DecodeDcFirst form, DecodeDcFirst reference) {
  DecodeTable table(typicalDcTable());
  compareDecoders(form, reference, noise(2), [&](DecodeDcFirst f) {
    return [&table, f](Cursor* c, Ipp16s* block) {
      return f(c->bytes, c->length, &c->position, block, &c->lastDc, &c->marker, 1, table.get(),
               c->state.get());
    };
  });
}

void compare(DecodeDcRefine form, DecodeDcRefine reference) {
  compareDecoders(form, reference, noise(3), [&](DecodeDcRefine f) {
    return [f](Cursor* c, Ipp16s* block) {
      return f(c->bytes, c->length, &c->position, block, &c->marker, 3, c->state.get());
    };
  });
}

void compare(DecodeAc form, DecodeAc reference) {
  for (const HuffmanList& list : {fullTable(), typicalAcTable()}) {
    DecodeTable table(list);
    compareDecoders(form, reference, noise(4), [&](DecodeAc f) {
      return [&table, f](Cursor* c, Ipp16s* block) {
        return f(c->bytes, c->length, &c->position, block, &c->marker, 1, 63, 2, table.get(),
                 c->state.get());
      };
    });
  }
}

}  // namespace entropy
