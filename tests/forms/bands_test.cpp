// The routes for progressive scans of every form against the primitives one after another.
#include "primitives/strips/bands.h"

#include <gtest/gtest.h>

#include "tests/forms/slots.h"
#include "tests/forms/strip_kit.h"

extern "C" const qrx::strips::BandRoutes ref_band_routes;

namespace qrx::test {
namespace {

using strips::BandRoutes;
using strips::Grid;
using strips::Magnitudes;

Random& randomness() {
  static Random generator(11);
  return generator;
}

int below(int n) { return int(randomness()() % unsigned(n)); }

struct Scan {
  int Ss, Se, Ah, Al;
};
constexpr Scan kScript[] = {{0, 0, 0, 1},  {1, 5, 0, 2}, {6, 63, 0, 2},
                            {1, 63, 2, 1}, {0, 0, 1, 0}, {1, 63, 1, 0}};

// The blocks of an image and what is kept of them.
struct Image {
  strips::Store store;
  std::vector<Ipp16s> coefficients, dc;
  Grid grid[kComponents];
  std::vector<Magnitudes> magnitudes[kComponents];
  std::vector<uint64_t> places[kComponents];

  // Some of the blocks of the last MCUs may lie outside the image.
  Image(Layout layout, int across, int down, int outsideRight, int outsideBelow) {
    const size_t blocks = size_t(across) * size_t(down) * size_t(blocksOf(layout));
    coefficients.resize(64 * blocks);
    dc.resize(blocks);
    store = {layout, coefficients.data(), across, down};
    for (int i = 0; i < kComponents; ++i) {
      grid[i] = {i, i == 0 ? layout.down * down - outsideBelow : down,
                 i == 0 ? layout.across * across - outsideRight : across};
      places[i].resize(size_t(grid[i].lines) * size_t(grid[i].columns));
      magnitudes[i].resize(places[i].size());
    }
  }

  Ipp16s* block(const Grid& of, int i) {
    const int line = i / of.columns, column = i % of.columns;
    const bool isLuma = of.component == 0;
    const int h = isLuma ? store.layout.across : 1, v = isLuma ? store.layout.down : 1;
    const int first = isLuma ? 0 : store.layout.across * store.layout.down + of.component - 1;
    const int mcu = line / v * store.mcusAcross + column / h;
    return coefficients.data() +
           64 * (mcu * blocksOf(store.layout) + first + line % v * h + column % h);
  }

  void note() {
    for (size_t i = 0; i < dc.size(); ++i) dc[i] = coefficients[64 * i];
    for (int c = 0; c < kComponents; ++c) {
      for (int i = 0; i < int(magnitudes[c].size()); ++i) {
        Magnitudes& notes = magnitudes[c][size_t(i)];
        notes = {};
        for (size_t k = 1; k < 64; ++k) {
          const int magnitude = std::abs(block(grid[c], i)[kNatural[k]]);
          for (int Al = 0; Al < 3; ++Al) notes.atLeast[Al] |= uint64_t(magnitude >> Al != 0) << k;
        }
      }
    }
  }
};

Image randomImage(Layout layout, int most) {
  const int across = 1 + below(most), down = 1 + below(most);
  return {layout, across, down, below(layout.across), below(layout.down)};
}

// Blocks from empty to full, of small values and large ones, most of them alike in one image.
void fillBlocks(Image& image) {
  const int usual = below(3) == 0 ? below(64) : below(4), bits = 1 + below(below(4) == 0 ? 10 : 3);
  const int least = below(4) == 0 ? 2 : 0;
  for (size_t i = 0; i < image.coefficients.size(); i += 64) {
    const int density = below(4) == 0 ? below(65) : usual;
    for (size_t j = 0; j < 64; ++j) {
      if (below(64) >= density) continue;
      const int magnitude = least + below(1 << bits);
      image.coefficients[i + j] = Ipp16s(below(2) == 0 ? magnitude : -magnitude);
    }
  }
  image.note();
}

// For any scan of the image, with every byte stuffed.
size_t ampleRoom(const Image& image) { return 500 * image.dc.size() + 1000; }

template <typename Check>
void onEveryForm(int rounds, Check check) {
  std::vector<std::pair<const char*, const BandRoutes*>> forms = {{"ref", &ref_band_routes}};
  for (const Slot& slot : runnableSlots())
    forms.push_back({slot.code, strips::kBandRoutes[slot.index]});
  for (const auto& [name, routes] : forms) {
    for (int i = 0; i < rounds; ++i) {
      SCOPED_TRACE(std::string(name) + ", round " + std::to_string(i));
      check(*routes, kLayouts[i % 3]);
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(Bands, StoreFromPlanes) {
  onEveryForm(100, [](const BandRoutes& routes, Layout layout) {
    Image ours = randomImage(layout, 9);
    Image wanted = ours;
    wanted.store.coefficients = wanted.coefficients.data();
    PlaneMemory planes(layout, ours.store.mcusAcross, Fence::kAfter);
    const int level = below(256), range = 1 + below(256);
    planes.fill([&] { return level + below(range); });
    std::array<Ipp16u, 64> quant[kComponents];
    for (auto& table : quant) {
      for (Ipp16u& entry : table) entry = Ipp16u(32768 / (1 + below(40)));
    }
    for (Image* image : {&ours, &wanted}) {
      strips::StoreOut out = {image->store, planes.planes, {}, {}, {}, image->dc.data()};
      for (int i = 0; i < kComponents; ++i) {
        out.quant[i] = quant[i].data();
        out.grid[i] = image->grid[i];
        out.magnitudes[i] = image->magnitudes[i].data();
      }
      const BandRoutes& some = image == &ours ? routes : ref_band_routes;
      for (int row = 0; row < image->store.mcusDown; ++row) some.keep(out, row);
    }
    EXPECT_EQ(ours.coefficients, wanted.coefficients);
    wanted.note();
    EXPECT_EQ(ours.dc, wanted.dc);
    for (int i = 0; i < kComponents; ++i) {
      EXPECT_TRUE(std::equal(ours.magnitudes[i].begin(), ours.magnitudes[i].end(),
                             wanted.magnitudes[i].begin(), [](const auto& a, const auto& b) {
                               return std::equal(a.atLeast, a.atLeast + 3, b.atLeast);
                             }));
    }
  });
}

// A scan as a coder has it made: statistics, tables of them, bytes.
struct Coded {
  std::array<int, 256> statistics[2] = {};
  bool gathered = false, coded = false;
  int position = 3;
  Bytes bytes;
  EncodeState state;
  HuffmanList lists[2];

  Coded(const BandRoutes& routes, Image& image, int component, Scan scan, size_t room)
      : bytes(room, 0x5A) {
    std::vector<uint32_t> tokens(size_t(strips::kLeastTokens + below(3) * 5000));
    strips::Tokens list = {};
    list.room = tokens.data();
    list.capacity = int(tokens.size());
    strips::BandsOut out = {};
    out.store = image.store;
    out.Ss = scan.Ss, out.Se = scan.Se, out.Ah = scan.Ah, out.Al = scan.Al;
    out.grid = image.grid[component];
    out.magnitudes = image.magnitudes[component].data();
    out.dc = image.dc.data();
    out.bytes = bytes.data();
    out.length = int(room);
    out.position = &position;
    out.state = state.get();
    for (int i = 0; i < kComponents; ++i) out.statistics[i] = statistics[i == 0 ? 0 : 1].data();
    gathered = routes.gather(out, &list);
    if (!gathered) return;
    std::vector<EncodeTable> tables;
    for (int i = 0; i < 2; ++i) {
      lists[i].values.resize(256);
      ippiEncodeHuffmanRawTableInit_JPEG_8u(statistics[i].data(), lists[i].bits.data(),
                                            lists[i].values.data());
      tables.emplace_back(lists[i]);
    }
    for (int i = 0; i < kComponents; ++i) out.tables[i] = tables[i == 0 ? 0 : 1].get();
    coded = routes.code(out, &list);
  }

  Bytes written() const {
    Bytes result = bytes;
    result.resize(size_t(position));
    result.erase(result.begin(), result.begin() + 3);
    return result;
  }
};

void expectSameScan(const BandRoutes& routes, Image& image, int component, Scan scan, size_t room) {
  Coded ours(routes, image, component, scan, room);
  Coded wanted(ref_band_routes, image, component, scan, room);
  ASSERT_EQ(ours.gathered, wanted.gathered);
  if (!ours.gathered) return;
  EXPECT_EQ(ours.statistics[0], wanted.statistics[0]);
  EXPECT_EQ(ours.statistics[1], wanted.statistics[1]);
  EXPECT_TRUE(ours.state.memory == wanted.state.memory);
  if (ours.coded) {
    EXPECT_TRUE(wanted.coded);
    EXPECT_EQ(ours.written(), wanted.written());
  } else {
    EXPECT_EQ(ours.position, 3);
    EXPECT_TRUE(!wanted.coded || room < size_t(2 * wanted.position + 40));
  }
}

TEST(Bands, BytesFromStore) {
  onEveryForm(120, [](const BandRoutes& routes, Layout layout) {
    Image image = randomImage(layout, below(10) == 0 ? 40 : 12);
    fillBlocks(image);
    const size_t room = below(4) == 0 ? size_t(3 + below(20000)) : ampleRoom(image);
    for (const Scan& scan : kScript) expectSameScan(routes, image, below(3), scan, room);
    const int Ss = 1 + below(63), Al = below(2);
    for (int Ah : {0, Al + 1}) {
      expectSameScan(routes, image, below(3), {Ss, Ss + below(64 - Ss), Ah, Al}, room);
    }
  });
}

// Runs that reach their limits: of empty bands, of correction bits.
TEST(Bands, LongRuns) {
  onEveryForm(2, [](const BandRoutes& routes, Layout) {
    Image image({1, 1}, 257, 150, 0, 0);
    for (int i = 0; i < 1000; ++i) {
      image.block(image.grid[1], 10000 + i)[kNatural[size_t(1 + below(63))]] = Ipp16s(4 + below(4));
    }
    image.note();
    for (const Scan& scan : {Scan{1, 63, 0, 2}, Scan{1, 63, 1, 0}}) {
      for (int component : {0, 1}) expectSameScan(routes, image, component, scan, 1000000);
    }
  });
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

// A scan as a decoder reads it.
struct Decoding {
  explicit Decoding(const Image& start) : image(start) {}

  Image image;
  int position = 0, marker = 0;
  std::array<Ipp16s, 3> lastDc = {};
  DecodeState state;
  strips::BandsIn scan = {};

  // The block, or the MCU of a DC scan, at `at`.
  bool decodeOne(int at) {
    const auto with = [&](auto f, Ipp16s* to, auto... rest) {
      return f(scan.bytes, scan.length, &position, to, rest..., scan.state) >= 0;
    };
    if (scan.Ss != 0) {
      return with(scan.Ah != 0 ? kDecodeAcRefine : kDecodeAcFirst, image.block(scan.grid, at),
                  &marker, scan.Ss, scan.Se, scan.Al, scan.ac);
    }
    const Layout layout = scan.store.layout;
    const int blocks = blocksOf(layout);
    for (int b = 0; b < blocks; ++b) {
      const int i = std::max(0, b - layout.across * layout.down + 1);
      Ipp16s* to = scan.store.coefficients + 64 * (blocks * at + b);
      const bool decoded = scan.Ah != 0 ? with(kDecodeDcRefine, to, &marker, scan.Al)
                                        : with(kDecodeDcFirst, to, &lastDc[size_t(i)], &marker,
                                               scan.Al, &scan.dc[i]->source);
      if (!decoded) return false;
    }
    return true;
  }

  // By the routes as far as they go, and by the primitives where they stop; or by these alone.
  void decode(const BandRoutes* routes, int count) {
    for (int at = 0; at < count; ++at) {
      if (routes != nullptr) {
        at += int(routes->decode(scan, at, count - at));
        if (at == count) return;
      }
      const bool decoded = decodeOne(at);
      if (scan.Ss != 0) ref_band_routes.note(scan, at, 1);
      if (routes != nullptr && scan.Ss != 0) {
        const uint64_t noted = scan.places[at];
        routes->note(scan, at, 1);
        EXPECT_EQ(scan.places[at], noted);
      }
      if (!decoded) return;
    }
  }

  bool operator==(const Decoding& other) const {
    return position == other.position && marker == other.marker && lastDc == other.lastDc &&
           state.memory == other.state.memory && image.coefficients == other.image.coefficients &&
           std::equal(image.places, image.places + kComponents, other.image.places);
  }
};

TEST(Bands, StoreFromBytes) {
  static strips::WideTable first, dc[2];
  onEveryForm(150, [](const BandRoutes& routes, Layout layout) {
    Image source = randomImage(layout, below(10) == 0 ? 30 : 10);
    fillBlocks(source);
    Image empty = source;
    std::fill(empty.coefficients.begin(), empty.coefficients.end(), Ipp16s(0));
    Decoding ours(empty), wanted(empty);
    const int component = below(3);
    const bool spoilt = below(3) != 0;
    for (const Scan& scan : kScript) {
      Coded coded(ref_band_routes, source, component, scan, ampleRoom(source));
      if (!coded.coded) continue;
      Bytes data = coded.written();
      if (data.empty()) continue;
      for (int i = spoilt ? below(3) : 0; i > 0; --i) damage(data);
      FencedBytes fenced(data.size(), Fence::kAfter);
      std::copy(data.begin(), data.end(), fenced.bytes.begin());
      const DecodeTable table(coded.lists[0]), second(coded.lists[1]);
      DecodeTable tables[2] = {table, second};
      makeBandTable(*tables[0].get(), &first);
      for (int i = 0; i < 2; ++i) makeDcTable(*tables[i].get(), &dc[i]);
      const Scan read =
          spoilt && below(8) == 0 ? Scan{scan.Ss, scan.Se, scan.Ah == 0 ? 0 : 1, below(14)} : scan;
      for (Decoding* one : {&ours, &wanted}) {
        one->position = one->marker = 0;
        one->lastDc = {};
        one->state = {};
        Image& image = one->image;
        image.store.coefficients = image.coefficients.data();
        one->scan = {image.store,
                     read.Ss,
                     read.Se,
                     read.Ah,
                     read.Al,
                     image.grid[component],
                     image.places[component].data(),
                     tables[0].get(),
                     &first,
                     {&dc[0], &dc[1], &dc[1]},
                     {&one->lastDc[0], &one->lastDc[1], &one->lastDc[2]},
                     fenced.bytes.data(),
                     int(data.size()),
                     &one->position,
                     &one->marker,
                     one->state.get()};
        const Grid& grid = image.grid[component];
        one->decode(one == &ours ? &routes : nullptr,
                    scan.Ss != 0 ? grid.lines * grid.columns
                                 : image.store.mcusAcross * image.store.mcusDown);
      }
      ASSERT_TRUE(ours == wanted) << scan.Ss << ' ' << scan.Ah << ' ' << read.Al;
    }
    if (spoilt) return;
    // What was coded comes back.
    const Grid& grid = source.grid[component];
    for (int i = 0; i < grid.lines * grid.columns; ++i) {
      ASSERT_TRUE(
          std::equal(source.block(grid, i), source.block(grid, i) + 64, ours.image.block(grid, i)));
    }
  });
}

}  // namespace
}  // namespace qrx::test
