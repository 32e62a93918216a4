// Comparison of two forms of an entropy primitive, by signature. The decoders are fed scans with
// damage of all kinds; what counts for them is status and decoded values, since a form may read
// further ahead than another.
#ifndef QRX_TESTS_FORMS_COMPARE_HUFFMAN_H_
#define QRX_TESTS_FORMS_COMPARE_HUFFMAN_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "tests/forms/huffman_kit.h"

namespace entropy {

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
using Encode = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, Rest...);
template <typename... Rest>
void compare(Encode<Rest...> form, Encode<Rest...> reference) {
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
using Count = IppStatus (*)(const Ipp16s*, int*, Rest...);
template <typename... Rest>
void compare(Count<Rest...> form, Count<Rest...> reference) {
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

inline Bytes damaged(const Bytes& stream, Random* random) {
  Bytes result = stream;
  const size_t place = (*random)() % result.size();
  switch ((*random)() % 6) {
    case 0: result.resize(place); break;
    case 1: result[place] = Ipp8u(result[place] ^ 1u << (*random)() % 8); break;
    case 2: result[place] = 0xFF; break;
    case 3: result.insert(result.begin() + long(place), {0xFF, 0xD9}); break;
    case 4: result.insert(result.begin() + long(place), {0xFF, 0xFF, 0xFF}); break;
    default:
      for (size_t i = place; i < result.size(); ++i) result[i] = Ipp8u((*random)());
  }
  if ((*random)() % 4 == 0) result.push_back(0xFF);
  return result.empty() ? Bytes{0} : result;
}

// A baseline scan, and noise with stuffing.
template <typename... Rest>
using Decode = IppStatus (*)(const Ipp8u*, int, int*, Ipp16s*, Rest...);
template <typename... Rest>
void compare(Decode<Rest...> form, Decode<Rest...> reference) {
  EncodeTable codes(fullTable());
  Coder scan{codes.get(), codes.get()};
  for (const Block& block : randomBlocks(8, 200, 10)) scan.call(kEncodeBlock, block.data());
  Random random(5);
  BitMaker noise;
  for (int i = 0; i < 4000; ++i) noise.bits(unsigned(random()), 8);
  for (const Bytes& stream : {scan.written(), noise.segment()}) {
    for (const HuffmanList& list : {fullTable(), typicalAcTable(), typicalDcTable()}) {
      DecodeTable table(list);
      for (int trial = 0; trial < 150; ++trial) {
        const Bytes input = trial == 0 ? stream : damaged(stream, &random);
        ASSERT_EQ(decodeScan(reference, input, table), decodeScan(form, input, table)) << trial;
      }
    }
  }
}

inline void compare(IppStatus (*form)(int*), IppStatus (*reference)(int*)) {
  EXPECT_EQ(recordSize(reference), recordSize(form));
}

using ListInit = IppStatus (*)(const int*, Ipp8u*, Ipp8u*);
inline void compare(ListInit form, ListInit reference) {
  Random random(3);
  for (unsigned trial = 0; trial < 50; ++trial) {
    std::array<int, 256> statistics = {};
    for (int& count : statistics) {
      if (random() % 50 < trial) count = int(random() >> random() % 32);
    }
    Bytes expected(272), actual(272);
    EXPECT_EQ(reference(statistics.data(), expected.data(), expected.data() + 16),
              form(statistics.data(), actual.data(), actual.data() + 16));
    EXPECT_EQ(expected, actual);
  }
}

// The codes of a table, or its look-up, within the sizes of their records.
template <typename Record>
void compare(IppStatus (*form)(const Ipp8u*, const Ipp8u*, Record*),
             IppStatus (*reference)(const Ipp8u*, const Ipp8u*, Record*)) {
  Random random(4);
  for (int trial = 0; trial < 200; ++trial) {
    HuffmanList list = trial % 2 == 0 ? typicalAcTable() : fullTable();
    if (trial > 1) list.bits[random() % 16] = Ipp8u(random() % 40);
    list.values.resize(16 * 255);
    const size_t size = std::is_same_v<Record, IppiEncodeHuffmanSpec> ? 1024 : 1644;
    Bytes expected(size + 8, 1), actual(size + 8, 1);
    const auto make = [&](auto init, Bytes& record) {
      return init(list.bits.data(), list.values.data(), reinterpret_cast<Record*>(record.data()));
    };
    EXPECT_EQ(make(reference, expected), make(form, actual));
    EXPECT_EQ(expected, actual);
    EXPECT_EQ(Bytes(actual.end() - 8, actual.end()), Bytes(8, 1));
  }
}

template <typename Record>
void compare(IppStatus (*form)(Record*), IppStatus (*)(Record*)) {
  const size_t size = std::is_same_v<Record, IppiEncodeHuffmanState> ? 1044 : 20;
  Bytes record(size + 1, 7), cleared(size + 1, 0);
  cleared.back() = 7;
  EXPECT_EQ(form(reinterpret_cast<Record*>(record.data())), 0);
  EXPECT_EQ(record, cleared);
}

}  // namespace entropy

#endif  // QRX_TESTS_FORMS_COMPARE_HUFFMAN_H_
