// The strip routes of every form against those by the primitives, and against nothing beyond the
// memory that they are given.
#include <gtest/gtest.h>

#include "tests/forms/slots.h"
#include "tests/forms/strip_kit.h"

namespace qrx::test {
namespace {

Random& randomness() {
  static Random generator(7);
  return generator;
}

int below(int n) { return int(randomness()() % unsigned(n)); }

Bytes randomBytes(size_t size) {
  Bytes bytes(size);
  const int kind = below(3), level = below(256);
  for (Ipp8u& byte : bytes) {
    byte = Ipp8u(kind == 0 ? below(256) : kind == 1 ? -below(2) : level + below(12));
  }
  return bytes;
}

// Codes of lengths 2, 3 and 16, the last of which is sixteen ones: only decoders take it.
HuffmanList completeTable() {
  HuffmanList list{{0, 3, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {0x00, 0x11, 0x02, 0x05}};
  for (size_t length = 4; length <= 16; ++length) list.bits[length - 1] = length == 16 ? 2 : 1;
  for (int i = 0; i < 14; ++i) list.values.push_back(Ipp8u(i * 16 + 1 + i % 3));
  return list;
}

Ipp16u multiplier() { return Ipp16u(32768 / (1 + below(below(2) == 0 ? 255 : 8))); }

template <typename Check>
void onEveryForm(int rounds, Check check) {
  for (const Slot& slot : runnableSlots()) {
    if (slot.index == 0) continue;
    const Routes& routes = *strips::kRoutes[slot.index];
    for (int i = 0; i < rounds; ++i) {
      SCOPED_TRACE(std::string(slot.code) + ", round " + std::to_string(i));
      check(routes, kLayouts[i % 3]);
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(Strips, PlanesFromPixels) {
  onEveryForm(150, [](const Routes& routes, Layout layout) {
    const Fence fence = below(2) == 0 ? Fence::kBefore : Fence::kAfter;
    const strips::PixelFormat format = {3 + below(2), 2 * below(2)};
    const int width = 1 + below(below(4) == 0 ? 1100 : 70), lines = 1 + below(8 * layout.down);
    const int mcus = (width + 8 * layout.across - 1) / (8 * layout.across);
    const int row = format.bytes * width, step = row + below(9);
    FencedBytes pixels(size_t(step * (lines - 1) + row), fence);
    const Bytes content = randomBytes(pixels.bytes.size());
    std::copy(content.begin(), content.end(), pixels.bytes.begin());
    const strips::PixelsIn in = {format, pixels.bytes.data(), step, width, lines};
    PlaneMemory ours(layout, mcus, fence), wanted(layout, mcus, fence);
    routes.toPlanes(in, layout, mcus, ours.planes);
    ref_strip_routes.toPlanes(in, layout, mcus, wanted.planes);
    EXPECT_EQ(ours.samples(layout, mcus), wanted.samples(layout, mcus));
  });
}

TEST(Strips, BitsFromPlanes) {
  onEveryForm(300, [](const Routes& routes, Layout layout) {
    const int mcus = 1 + below(20);
    CodingTables tables(typicalDcTable(), below(2) == 0 ? typicalAcTable() : fullTable());
    ASSERT_TRUE(tables.usable);
    for (auto& quant : tables.quant) {
      for (Ipp16u& entry : quant) entry = multiplier();
    }
    PlaneMemory planes(layout, mcus, Fence::kAfter);
    const Bytes samples = randomBytes(4096);
    planes.fill([&, i = size_t{0}]() mutable { return samples[i++ % samples.size()]; });

    const auto room = size_t(below(4) == 0 ? 1 + below(3000) : 60000);
    const Bytes start = randomBytes(room);
    const int position = below(20) == 0 ? -1 + below(3) * int(room) : below(int(room));
    const int lastDc = below(8) == 0 ? 30000 : below(900);
    const std::array<Ipp16s, 3> dc = {Ipp16s(lastDc), Ipp16s(-lastDc), 3};
    const int stopAt = below(2) == 0 ? INT_MAX : below(int(room) + 50);
    const int pending = below(8);
    CodingRun ours(start, position, dc), wanted(start, position, dc);
    for (CodingRun* run : {&ours, &wanted}) {
      run->state.get()->bitCount = pending;
      run->state.get()->bitAcc = 0xFFFFFFu << (24 - pending) & 0xFFFFFF;
    }
    const int coded = codeBy(routes, tables.scan(layout, planes.planes, ours), mcus, stopAt);
    EXPECT_EQ(coded,
              codeBy(ref_strip_routes, tables.scan(layout, planes.planes, wanted), mcus, stopAt));
    EXPECT_TRUE(ours == wanted);
  });
}

// A scan of a strip as the coder makes it, for decoding.
Bytes scanOf(Layout layout, int mcus, const HuffmanList& dc, const HuffmanList& ac) {
  CodingTables tables(dc, ac);
  for (auto& quant : tables.quant) quant.fill(multiplier());
  PlaneMemory planes(layout, mcus, Fence::kAfter);
  Bytes samples = randomBytes(4096);
  if (below(3) == 0) samples.assign(1, Ipp8u(below(256)));
  planes.fill([&, i = size_t{0}]() mutable { return samples[i++ % samples.size()]; });
  CodingRun run(Bytes(200000), 0, {});
  codeBy(ref_strip_routes, tables.scan(layout, planes.planes, run), mcus, INT_MAX);
  Bytes data(run.bytes.bytes.begin(), run.bytes.bytes.begin() + run.position);
  data.push_back(Ipp8u(run.state.get()->bitAcc >> 16 | 0x7F >> run.state.get()->bitCount));
  return data;
}

void damage(Bytes& data) {
  const auto at = [&] { return size_t(below(int(data.size()))); };
  switch (below(6)) {
    case 0: break;
    case 1: data.resize(at() + 1); break;
    case 2: data[at()] ^= Ipp8u(1 << below(8)); break;
    case 3: data[at()] = 0xFF; break;
    case 4: data[at()] = Ipp8u(below(256)); break;
    default: data.insert(data.end(), {0xFF, 0xD9});
  }
}

TEST(Strips, SamplesFromBits) {
  onEveryForm(400, [](const Routes& routes, Layout layout) {
    const int mcus = 1 + below(20);
    const HuffmanList dc = typicalDcTable();
    const int kind = below(3);
    const HuffmanList ac = kind == 0 ? typicalAcTable() : kind == 1 ? fullTable() : completeTable();
    Bytes data = kind == 2 ? randomBytes(4000) : scanOf(layout, mcus, dc, ac);
    for (int i = below(3); i > 0; --i) damage(data);
    FencedBytes fenced(data.size(), Fence::kAfter);
    std::copy(data.begin(), data.end(), fenced.bytes.begin());

    DecodingTables tables(dc, ac);
    for (auto& quant : tables.quant) {
      for (Ipp16u& entry : quant) entry = Ipp16u(below(8) == 0 ? below(256) : 1 + below(20));
    }
    DecodingRun ours(layout, mcus), wanted(layout, mcus);
    for (int row = 0; row < 2; ++row) {  // the second finds coefficients of the first
      const int count = 1 + below(mcus);
      const int decoded = decodeBy(routes, ours.scan(layout, tables, fenced.bytes), count);
      EXPECT_EQ(decoded,
                decodeBy(ref_strip_routes, wanted.scan(layout, tables, fenced.bytes), count));
      EXPECT_TRUE(ours == wanted);
    }
  });
}

TEST(Strips, PixelsFromPlanes) {
  onEveryForm(200, [](const Routes& routes, Layout layout) {
    const int mcus = 1 + below(below(4) == 0 ? 80 : 8), samples = 8 * layout.across * mcus;
    PlaneMemory ours(layout, mcus, Fence::kAfter), wanted(layout, mcus, Fence::kAfter);
    ours.fill([] { return below(256); });
    wanted.copyFrom(ours);
    const Bytes above = randomBytes(size_t(samples / 2 + 2 * kGuard));
    const strips::PixelFormat format = {3 + below(2), 2 * below(2)};
    const int width = 1 + below(samples);
    const int first = below(2) == 0 ? 0 : below(width) / 16 * 16;
    const int last = below(2) == 0 ? width : first + 1 + below(width - first);
    const int lines = 1 + below(8 * layout.down), row = format.bytes * (last - first);
    const int step = row + below(9);
    const Bytes before = randomBytes(size_t(step * (lines - 1) + row));
    FencedBytes target(before.size(), Fence::kAfter);
    Bytes result[2];
    for (int i = 0; i < 2; ++i) {
      std::copy(before.begin(), before.end(), target.bytes.begin());
      const Ipp8u* line = above.data() + kGuard;
      const strips::PixelsOut out = {format,  target.bytes.data(),  step, width, first, last, lines,
                                     samples, {nullptr, line, line}};
      const Routes& some = i == 0 ? routes : ref_strip_routes;
      some.toPixels(out, layout, (i == 0 ? ours : wanted).planes);
      result[i].assign(target.bytes.begin(), target.bytes.end());
    }
    EXPECT_EQ(result[0], result[1]);
    EXPECT_TRUE(ours == wanted);
  });
}

// What the look-ups cannot hold is left to the primitives.
TEST(Strips, TablesWithoutCodesAreRefused) {
  HuffmanList ac = typicalAcTable();
  strips::WideCodes codes = {};
  EXPECT_TRUE(makeAcCodes(*EncodeTable(ac).get(), &codes));
  --ac.bits[15];
  ac.values.pop_back();
  EXPECT_FALSE(makeAcCodes(*EncodeTable(ac).get(), &codes));
  EXPECT_FALSE(makeDcCodes(*EncodeTable(HuffmanList{{0, 3}, {0, 1, 2}}).get(), &codes));
}

}  // namespace
}  // namespace qrx::test
