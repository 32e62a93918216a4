// One strip through one route of a form and through the reference, from memory between fences. All
// of the case is up to a chooser: a random one in tests, the input in fuzzing.
#ifndef QRX_TESTS_FORMS_STRIP_CASES_H_
#define QRX_TESTS_FORMS_STRIP_CASES_H_

#include <functional>
#include <numeric>

#include "tests/forms/strip_kit.h"

namespace qrx::test {

class Chooser {
 public:
  explicit Chooser(std::function<unsigned()> next) : next_(std::move(next)) {}

  // 0 to n - 1.
  int below(int n) { return int(next_() % unsigned(n)); }
  bool oneIn(int n) { return below(n) == 0; }
  Fence fence() { return oneIn(2) ? Fence::kBefore : Fence::kAfter; }

  Bytes bytes(size_t size) {
    Bytes result(size);
    const int kind = below(3), level = below(256);
    for (Ipp8u& byte : result) {
      byte = Ipp8u(kind == 0 ? below(256) : kind == 1 ? -below(2) : level + below(12));
    }
    return result;
  }

 private:
  std::function<unsigned()> next_;
};

// Codes of lengths 2, 3 and 16, the last of which is sixteen ones: only decoders take it.
inline HuffmanList completeTable() {
  HuffmanList list{{0, 3, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {0x00, 0x11, 0x02, 0x05}};
  for (size_t length = 4; length <= 16; ++length) list.bits[length - 1] = length == 16 ? 2 : 1;
  for (int i = 0; i < 14; ++i) list.values.push_back(Ipp8u(i * 16 + 1 + i % 3));
  return list;
}

// Codes of any lengths, for up to 256 symbols.
inline HuffmanList anyTable(Chooser& choose) {
  HuffmanList list;
  const int factor = 1 + 2 * choose.below(128), first = choose.below(256);
  int room = 1, symbols = 0;
  for (size_t length = 1; length <= 16; ++length) {
    room *= 2;
    const int most = std::min({room, 255, 256 - symbols});
    const int count = choose.oneIn(2) ? 0 : choose.below(std::min(most, choose.below(200)) + 1);
    list.bits[length - 1] = Ipp8u(count);
    room -= count;
    symbols += count;
  }
  for (int i = 0; i < symbols; ++i) list.values.push_back(Ipp8u(first + factor * i));
  return list;
}

inline HuffmanList decodingTable(Chooser& choose) {
  switch (choose.below(5)) {
    case 0: return anyTable(choose);
    case 1: return fullTable();
    case 2: return completeTable();
    default: return typicalAcTable();
  }
}

// Codes of 16 bits for all symbols but one.
inline HuffmanList longTable() {
  HuffmanList list = fullTable();
  list.bits = {};
  list.bits[14] = 1;
  list.bits[15] = 255;
  return list;
}

inline HuffmanList codingTable(Chooser& choose) {
  switch (choose.below(3)) {
    case 0: return fullTable();
    case 1: return longTable();
    default: return typicalAcTable();
  }
}

template <typename Table>
void scribble(Chooser& choose, Table& table) {
  for (int i = choose.oneIn(6) ? choose.below(40) : 0; i > 0; --i) {
    const int size = int(table.memory.size()) - 1;
    const int at = choose.oneIn(2) ? choose.below(size) : size - 1 - choose.below(200);
    table.memory[size_t(1 + at)] = Ipp8u(choose.below(256));
  }
}

inline Ipp16u multiplier(Chooser& choose) {
  return Ipp16u(32768 / (1 + choose.below(choose.oneIn(2) ? 255 : 8)));
}

inline bool samePlanes(const Routes& routes, Layout layout, Chooser& choose) {
  const Fence fence = choose.fence();
  const strips::PixelFormat format = {3 + choose.below(2), 2 * choose.below(2)};
  const int width = 1 + choose.below(choose.oneIn(4) ? 1100 : 70);
  const int lines = 1 + choose.below(8 * layout.down);
  const int mcus = (width + 8 * layout.across - 1) / (8 * layout.across);
  const int row = format.bytes * width, step = row + choose.below(9);
  FencedBytes pixels(size_t(step * (lines - 1) + row), fence);
  const Bytes content = choose.bytes(pixels.bytes.size());
  std::copy(content.begin(), content.end(), pixels.bytes.begin());
  const strips::PixelsIn in = {format, pixels.bytes.data(), step, width, lines};
  PlaneMemory ours(layout, mcus, fence), wanted(layout, mcus, fence);
  routes.toPlanes(in, layout, mcus, ours.planes);
  ref_strip_routes.toPlanes(in, layout, mcus, wanted.planes);
  return ours.samples(layout, mcus) == wanted.samples(layout, mcus);
}

inline void fillPlanes(Chooser& choose, PlaneMemory& planes) {
  const Bytes samples = choose.bytes(4096);
  // Some have blocks of one value.
  const auto every = size_t(choose.oneIn(3) ? 1 + choose.below(400) : 1);
  planes.fill([&, i = size_t{0}]() mutable {
    const size_t place = i++ % samples.size();
    return samples[place % every == 0 ? place : 0];
  });
}

inline bool sameBits(const Routes& routes, Layout layout, Chooser& choose) {
  const int mcus = 1 + choose.below(20);
  const int components = choose.oneIn(2) ? kComponents : choose.oneIn(2) ? kMostComponents : 1;
  if (components == 1) layout = {1, 1};
  EncodeTable dcTable(typicalDcTable());
  EncodeTable acTable(codingTable(choose));
  scribble(choose, dcTable);
  scribble(choose, acTable);
  CodingTables tables(dcTable, acTable);
  if (!tables.usable) return true;
  // Some keep few coefficients, far apart and large.
  const bool isSparse = choose.oneIn(4);
  for (auto& quant : tables.quant) {
    for (Ipp16u& entry : quant) {
      entry = isSparse ? Ipp16u(choose.oneIn(20) ? 32768 : 0) : multiplier(choose);
    }
  }
  PlaneMemory planes(layout, mcus, choose.fence(), components);
  fillPlanes(choose, planes);

  const auto room = size_t(choose.oneIn(4) ? 1 + choose.below(3000) : 60000);
  const int lastDc = choose.oneIn(8) ? 30000 : choose.below(900);
  const int position =
      choose.oneIn(20) ? -1 + choose.below(3) * int(room) : choose.below(int(room));
  const int stopAt = choose.oneIn(2) ? INT_MAX : choose.below(int(room) + 50);
  const int pending = choose.below(8);
  const Bytes start(room, Ipp8u(choose.below(256)));
  const std::array<Ipp16s, kMostComponents> dc = {Ipp16s(lastDc), Ipp16s(-lastDc), 3, -3};
  const unsigned bits = choose.oneIn(2) ? 0xFFFFFF : unsigned(choose.below(1 << 24));
  CodingRun ours(start, position, dc), wanted(start, position, dc);
  for (CodingRun* run : {&ours, &wanted}) {
    run->state.get()->bitCount = pending;
    run->state.get()->bitAcc = bits << (24 - pending) & 0xFFFFFF;
  }
  const auto codedBy = [&](const Routes& some, CodingRun& run) {
    return codeBy(some, tables.scan(layout, components, planes.planes, run), mcus, stopAt);
  };
  return codedBy(routes, ours) == codedBy(ref_strip_routes, wanted) && ours == wanted;
}

// A scan of a strip as the coder makes it, for decoding.
inline Bytes scanOf(Chooser& choose, Layout layout, int components, int mcus,
                    const HuffmanList& ac) {
  EncodeTable dcTable(typicalDcTable()), acTable(ac);
  CodingTables tables(dcTable, acTable);
  for (auto& quant : tables.quant) quant.fill(multiplier(choose));
  PlaneMemory planes(layout, mcus, Fence::kAfter, components);
  fillPlanes(choose, planes);
  CodingRun run(Bytes(200000), 0, {});
  codeBy(ref_strip_routes, tables.scan(layout, components, planes.planes, run), mcus, INT_MAX);
  Bytes data(run.bytes.bytes.begin(), run.bytes.bytes.begin() + run.position);
  data.push_back(Ipp8u(run.state.get()->bitAcc >> 16 | 0x7F >> run.state.get()->bitCount));
  return data;
}

inline void damage(Chooser& choose, Bytes& data) {
  if (data.empty()) return;
  const auto at = [&] { return size_t(choose.below(int(data.size()))); };
  switch (choose.below(8)) {
    case 0: break;
    case 1: data.resize(at() + 1); break;
    case 2: data[at()] ^= Ipp8u(1 << choose.below(8)); break;
    case 3: data[at()] = 0xFF; break;
    case 4: data[at()] = Ipp8u(choose.below(256)); break;
    case 5: data.resize(at() / 8); break;
    case 6: {
      const Ipp8u stuffed[] = {0xFF, 0xFF, 0x00};
      data.insert(data.begin() + ptrdiff_t(at()), stuffed, stuffed + 3);
      break;
    }
    default: data.insert(data.end(), {0xFF, 0xD9});
  }
}

inline bool sameSamples(const Routes& routes, Layout layout, Chooser& choose) {
  const int mcus = 1 + choose.below(20);
  const int components = choose.oneIn(4) ? 1 : kComponents;
  if (components == 1) layout = {1, 1};
  const HuffmanList ac = decodingTable(choose);
  const bool isCoded = ac.values == typicalAcTable().values || ac.values == fullTable().values;
  Bytes data = isCoded && !choose.oneIn(4) ? scanOf(choose, layout, components, mcus, ac)
                                           : choose.bytes(size_t(choose.below(4000)));
  for (int i = choose.below(3); i > 0; --i) damage(choose, data);
  FencedBytes fenced(data.size(), choose.fence());
  std::copy(data.begin(), data.end(), fenced.bytes.begin());

  DecodeTable dcTable(choose.oneIn(6) ? anyTable(choose) : typicalDcTable()), acTable(ac);
  scribble(choose, dcTable);
  scribble(choose, acTable);
  DecodingTables tables(dcTable, acTable);
  for (auto& quant : tables.quant) {
    const bool strange = choose.oneIn(8);
    for (Ipp16u& entry : quant) {
      entry = Ipp16u(strange ? choose.below(65536) : choose.oneIn(8) ? choose.below(256) : 1);
    }
  }
  const Fence fence = choose.fence();
  DecodingRun ours(layout, components, mcus, fence), wanted(layout, components, mcus, fence);
  const int length = int(data.size());
  const int position = choose.oneIn(8) ? choose.below(length + 3) - 1 : 0;
  const int marker = choose.oneIn(16) ? choose.below(256) : 0;
  const int bitCount = choose.oneIn(4) ? choose.below(68) - 1 : 0;
  const auto bits = uint64_t(choose.below(INT_MAX)) * 0x100000001u;
  for (DecodingRun* run : {&ours, &wanted}) {
    run->position = position;
    run->marker = marker;
    run->state.get()->bitCount = bitCount;
    run->state.get()->bitAcc = bits;
  }
  // Rows that are read ahead show in the next one whether they ended at the right bit.
  const bool readsAhead = choose.oneIn(2);
  strips::ReadAhead ahead;
  const int rows = readsAhead ? 4 : 2;  // the second finds coefficients of the first
  for (int row = 0; row < rows; ++row) {
    const int count = 1 + choose.below(mcus), first = choose.below(count);
    strips::ScanIn scan = ours.scan(layout, tables, fenced.bytes);
    if (readsAhead) scan.ahead = &ahead;
    strips::ScanIn same = wanted.scan(layout, tables, fenced.bytes);
    scan.held = same.held = choose.oneIn(2) ? mcus : choose.below(mcus);
    const int decoded = decodeBy(routes, scan, first, count);
    if (decoded != decodeBy(ref_strip_routes, same, first, count)) return false;
    const bool settles = readsAhead && (row + 1 == rows || choose.oneIn(2));
    if (settles) routes.settle(scan);
    const bool isSame = !readsAhead ? ours == wanted
                        : settles   ? ours.sameButInHand(wanted, fenced.bytes)
                                    : ours.sameSamples(wanted);
    if (!isSame) return false;
  }
  return true;
}

inline bool samePixels(const Routes& routes, Layout layout, Chooser& choose) {
  const int mcus = 1 + choose.below(choose.oneIn(4) ? 80 : 8), samples = 8 * layout.across * mcus;
  const Fence fence = choose.fence();
  PlaneMemory ours(layout, mcus, fence), wanted(layout, mcus, fence);
  fillPlanes(choose, ours);
  wanted.copyFrom(ours);
  const Bytes above = choose.bytes(size_t(samples / 2 + 2 * kGuard));
  const strips::PixelFormat format = {3 + choose.below(2), 2 * choose.below(2)};
  const int width = 1 + choose.below(samples);
  const int first = choose.oneIn(2) ? 0 : choose.below(width) / 16 * 16;
  const int last = choose.oneIn(2) ? width : first + 1 + choose.below(width - first);
  const int lines = 1 + choose.below(8 * layout.down), row = format.bytes * (last - first);
  const int step = row + choose.below(9);
  const Bytes before = choose.bytes(size_t(step * (lines - 1) + row));
  FencedBytes target(before.size(), choose.fence());
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
  return result[0] == result[1] && ours == wanted;
}

// Whether a route of a form does in one chosen case what the reference does.
using RouteCase = bool (*)(const Routes& routes, Layout layout, Chooser& choose);

}  // namespace qrx::test

#endif  // QRX_TESTS_FORMS_STRIP_CASES_H_
