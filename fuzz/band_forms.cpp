// The routes for progressive scans of a form that the input chooses against those by the
// primitives: what a store keeps, the bytes of a scan, and what damaged bytes leave in a store.
#include <cstring>

#include "fuzz/kit.h"
#include "primitives/strips/bands.h"
#include "tests/forms/slots.h"
#include "tests/forms/strip_cases.h"

extern "C" const qrx::strips::BandRoutes ref_band_routes;

namespace {

using namespace qrx;
using fuzz::require;
using strips::BandRoutes;
using strips::kComponents;
using test::Chooser;
using test::Fence;
using test::FencedBytes;

// An array between fences.
template <typename T>
struct Fenced {
  Fenced(std::size_t count, Fence fence) : memory(count * sizeof(T), fence) {}
  T* data() { return reinterpret_cast<T*>(memory.bytes.data()); }
  bool operator==(const Fenced& other) const {
    return std::equal(memory.bytes.begin(), memory.bytes.end(), other.memory.bytes.begin());
  }
  void copyFrom(const Fenced& other) {
    std::copy(other.memory.bytes.begin(), other.memory.bytes.end(), memory.bytes.begin());
  }
  FencedBytes memory;
};

struct Scan {
  int Ss, Se, Ah, Al;
};

struct Shape {
  strips::Layout layout;
  int across, down;
  strips::Grid grid[kComponents];
  std::size_t blocks;
  Fence fence;
};

Shape anyShape(Chooser& choose) {
  Shape shape = {};
  const strips::Layout layout = shape.layout = test::kLayouts[choose.below(3)];
  shape.across = 1 + choose.below(choose.oneIn(8) ? 40 : 6);
  shape.down = 1 + choose.below(6);
  shape.grid[0] = {0, layout.down * shape.down - choose.below(layout.down),
                   layout.across * shape.across - choose.below(layout.across)};
  for (int i : {1, 2}) shape.grid[i] = {i, shape.down, shape.across};
  shape.blocks =
      std::size_t(shape.across) * std::size_t(shape.down) * std::size_t(test::blocksOf(layout));
  shape.fence = choose.fence();
  return shape;
}

// The blocks of an image and what is kept of them.
struct Image {
  explicit Image(const Shape& of)
      : shape(of),
        coefficients(64 * of.blocks, of.fence),
        dc(of.blocks, of.fence),
        store{of.layout, coefficients.data(), of.across, of.down} {
    for (const strips::Grid& grid : of.grid) {
      const auto count = std::size_t(grid.lines) * std::size_t(grid.columns);
      magnitudes.push_back(std::make_unique<Fenced<strips::Magnitudes>>(count, of.fence));
      places.push_back(std::make_unique<Fenced<std::uint64_t>>(count, of.fence));
    }
  }
  bool operator==(const Image& other) const {
    bool same = coefficients == other.coefficients && dc == other.dc;
    for (std::size_t i = 0; i < kComponents; ++i) {
      same = same && *magnitudes[i] == *other.magnitudes[i] && *places[i] == *other.places[i];
    }
    return same;
  }

  Shape shape;
  Fenced<Ipp16s> coefficients, dc;
  std::vector<std::unique_ptr<Fenced<strips::Magnitudes>>> magnitudes;
  std::vector<std::unique_ptr<Fenced<std::uint64_t>>> places;
  strips::Store store;
};

struct Source {
  test::PlaneMemory planes;
  std::array<Ipp16u, 64> quant[kComponents];

  Source(Chooser& choose, const Shape& shape) : planes(shape.layout, shape.across, shape.fence) {
    test::fillPlanes(choose, planes);
    for (auto& table : quant) {
      const int kind = choose.below(3);
      for (Ipp16u& entry : table) {
        entry = Ipp16u(kind == 0   ? 32768
                       : kind == 1 ? choose.below(strips::kLargestMultiplier + 1)
                                   : test::multiplier(choose));
      }
    }
  }
};

void keep(const BandRoutes& routes, const Source& source, Image& image) {
  strips::StoreOut out = {image.store, source.planes.planes, {}, {}, {}, image.dc.data()};
  for (std::size_t i = 0; i < kComponents; ++i) {
    out.quant[i] = source.quant[i].data();
    out.grid[i] = image.shape.grid[i];
    out.magnitudes[i] = image.magnitudes[i]->data();
  }
  for (int row = 0; row < image.shape.down; ++row) routes.keep(out, row);
}

// A point transform of at most 2, of a refinement at most 1.
Scan anyScan(Chooser& choose) {
  const bool refines = choose.oneIn(2);
  const int Al = choose.below(refines ? 2 : 3), Ah = refines ? Al + 1 : 0;
  if (choose.oneIn(4)) return {0, 0, Ah, Al};
  if (choose.oneIn(2)) return {1, 63, Ah, Al};
  const int Ss = 1 + choose.below(63);
  return {Ss, Ss + choose.below(64 - Ss), Ah, Al};
}

// What coding a scan leaves.
struct Coding {
  Coding(const Bytes& start, Fence fence, int at) : bytes(start.size(), fence), position(at) {
    std::copy(start.begin(), start.end(), bytes.bytes.begin());
  }
  Bytes content() const { return {bytes.bytes.begin(), bytes.bytes.begin() + position}; }

  std::array<int, 256> statistics[2] = {};
  bool gathered = false, coded = false;
  FencedBytes bytes;
  int position;
  EncodeState state;
};

struct CodingJob {
  Scan scan;
  int component, capacity;
  const HuffmanList* lists;  // null: made of the statistics
};

// The lists are what it was coded with.
void code(const BandRoutes& routes, Image& image, const CodingJob& job, Coding& result,
          HuffmanList (&lists)[2]) {
  Fenced<std::uint32_t> room(std::size_t(job.capacity), image.shape.fence);
  strips::Tokens tokens = {};
  tokens.room = room.data();
  tokens.capacity = job.capacity;
  strips::BandsOut out = {};
  out.store = image.store;
  out.Ss = job.scan.Ss, out.Se = job.scan.Se, out.Ah = job.scan.Ah, out.Al = job.scan.Al;
  const auto component = std::size_t(job.component);
  out.grid = image.shape.grid[component];
  out.magnitudes = image.magnitudes[component]->data();
  out.dc = image.dc.data();
  out.bytes = result.bytes.bytes.data();
  out.length = int(result.bytes.bytes.size());
  out.position = &result.position;
  out.state = result.state.get();
  for (int i = 0; i < kComponents; ++i) out.statistics[i] = result.statistics[i != 0].data();
  result.gathered = routes.gather(out, &tokens);
  if (!result.gathered) return;
  std::vector<EncodeTable> tables;
  for (std::size_t i = 0; i < 2; ++i) {
    if (job.lists != nullptr) {
      lists[i] = job.lists[i];
    } else {
      lists[i].values.resize(256);
      ippiEncodeHuffmanRawTableInit_JPEG_8u(result.statistics[i].data(), lists[i].bits.data(),
                                            lists[i].values.data());
    }
    tables.emplace_back(lists[i]);
  }
  for (int i = 0; i < kComponents; ++i) out.tables[i] = tables[i != 0].get();
  result.coded = routes.code(out, &tokens);
}

// Codes by both routes, which have to agree; gives the bytes, none where there is no such scan.
Bytes sameBytes(Chooser& choose, const BandRoutes& routes, Image& image, const Scan& scan,
                int component, HuffmanList (&lists)[2]) {
  const HuffmanList given[2] = {typicalDcTable(), test::decodingTable(choose)};
  CodingJob job = {scan, component, strips::kLeastTokens + choose.below(5000),
                   choose.oneIn(6) ? given : nullptr};
  const std::size_t ample = 500 * image.shape.blocks + 1000;
  const Bytes start(choose.oneIn(4) ? std::size_t(1 + choose.below(int(ample))) : ample, 0x5A);
  const int position =
      choose.oneIn(30) ? -1 : choose.below(std::min<int>(int(start.size()) + 1, 100));
  Coding ours(start, image.shape.fence, position), wanted(start, image.shape.fence, position);
  code(ref_band_routes, image, job, wanted, lists);
  code(routes, image, job, ours, lists);
  require(ours.gathered == wanted.gathered);
  if (!ours.gathered) return {};
  for (std::size_t i = 0; i < 2; ++i) require(ours.statistics[i] == wanted.statistics[i]);
  require(ours.state.memory == wanted.state.memory);
  if (!ours.coded) {
    require(ours.position == position);
    require(std::equal(start.begin(), start.end(), ours.bytes.bytes.begin()));
    // It asks for the room of the worst case: every byte stuffed.
    require(!wanted.coded || int(start.size()) - position < 2 * (wanted.position - position) + 40);
    return {};
  }
  const Bytes content = ours.content();
  require(wanted.coded && content == wanted.content());
  return {content.begin() + position, content.end()};
}

// A scan as a decoder reads it.
struct Decoding {
  explicit Decoding(const Shape& shape) : image(shape) {}

  Image image;
  int position = 0, marker = 0;
  std::array<Ipp16s, kComponents> lastDc = {};
  DecodeState state;
  strips::BandsIn scan = {};

  // The block, or the MCU of a DC scan, at `at`, by the primitives.
  bool decodeOne(int at) {
    const auto with = [&](auto f, Ipp16s* to, auto... rest) {
      return f(scan.bytes, scan.length, &position, to, rest..., scan.state) >= 0;
    };
    const strips::Layout layout = scan.store.layout;
    const int luma = layout.across * layout.down, blocks = luma + 2;
    if (scan.Ss != 0) {
      const bool isLuma = scan.grid.component == 0;
      const int h = isLuma ? layout.across : 1, v = isLuma ? layout.down : 1;
      const int line = at / scan.grid.columns, column = at % scan.grid.columns;
      const int inMcu = isLuma ? line % v * h + column % h : luma + scan.grid.component - 1;
      const int mcu = line / v * scan.store.mcusAcross + column / h;
      return with(scan.Ah != 0 ? kDecodeAcRefine : kDecodeAcFirst,
                  scan.store.coefficients + ptrdiff_t{64} * (mcu * blocks + inMcu), &marker,
                  scan.Ss, scan.Se, scan.Al, scan.ac);
    }
    for (int b = 0; b < blocks; ++b) {
      const int i = std::max(0, b - luma + 1);
      Ipp16s* to = scan.store.coefficients + ptrdiff_t{64} * (blocks * at + b);
      const bool decoded = scan.Ah != 0 ? with(kDecodeDcRefine, to, &marker, scan.Al)
                                        : with(kDecodeDcFirst, to, &lastDc[std::size_t(i)], &marker,
                                               scan.Al, &scan.dc[i]->source);
      if (!decoded) return false;
    }
    return true;
  }

  // By the routes as far as they go, and by the primitives where they stop.
  void decode(const BandRoutes& routes) {
    const int count = scan.Ss != 0 ? scan.grid.lines * scan.grid.columns
                                   : scan.store.mcusAcross * scan.store.mcusDown;
    for (int at = 0; at < count; ++at) {
      const auto done = int(routes.decode(scan, at, count - at));
      require(done >= 0 && done <= count - at);
      at += done;
      if (at == count) return;
      const bool decoded = decodeOne(at);
      if (scan.Ss != 0) routes.note(scan, at, 1);
      if (!decoded) return;
    }
  }

  bool operator==(const Decoding& other) const {
    return image == other.image && position == other.position && marker == other.marker &&
           lastDc == other.lastDc && state.memory == other.state.memory;
  }
};

struct Start {
  int position, marker, bitCount, eobRun;
  std::uint64_t bits;
  std::array<Ipp16s, kComponents> lastDc;
};

Start anyStart(Chooser& choose, int length) {
  if (!choose.oneIn(6)) return {};
  const int bitCount = choose.below(65);
  const auto bits = std::uint64_t(choose.below(INT_MAX)) * 0x100000001u;
  return {choose.oneIn(4) ? choose.below(length + 3) - 1 : 0,
          choose.oneIn(8) ? choose.below(256) : 0,
          bitCount,
          choose.oneIn(2) ? choose.below(300) : 0,
          bitCount == 0 ? 0 : bits >> (64 - bitCount),  // nothing above the unused bits
          {Ipp16s(choose.below(65536)), 5, -7}};
}

// Decodes the bytes by both routes.
void sameStore(Chooser& choose, const BandRoutes& routes, const Bytes& data, Scan scan,
               int component, const HuffmanList (&lists)[2], Decoding& ours, Decoding& wanted) {
  static strips::WideTable first, dc[2];
  FencedBytes fenced(data.size(), choose.fence());
  std::copy(data.begin(), data.end(), fenced.bytes.begin());
  DecodeTable tables[2] = {DecodeTable(lists[0]), DecodeTable(lists[1])};
  for (DecodeTable& table : tables) test::scribble(choose, table);
  makeBandTable(*tables[0].get(), &first);
  for (std::size_t i = 0; i < 2; ++i) makeDcTable(*tables[i].get(), &dc[i]);
  if (choose.oneIn(8)) scan.Ah = scan.Ah != 0, scan.Al = choose.below(14);
  const Start start = anyStart(choose, int(data.size()));
  for (Decoding* one : {&ours, &wanted}) {
    one->position = start.position;
    one->marker = start.marker;
    one->lastDc = start.lastDc;
    one->state = {};
    one->state.get()->bitCount = start.bitCount;
    one->state.get()->bitAcc = start.bits;
    one->state.get()->eobRun = start.eobRun;
    auto& lastDc = one->lastDc;
    one->scan = {one->image.store,
                 scan.Ss,
                 scan.Se,
                 scan.Ah,
                 scan.Al,
                 one->image.shape.grid[component],
                 one->image.places[std::size_t(component)]->data(),
                 tables[0].get(),
                 &first,
                 {&dc[0], &dc[1], &dc[1]},
                 {&lastDc[0], &lastDc[1], &lastDc[2]},
                 fenced.bytes.data(),
                 int(data.size()),
                 &one->position,
                 &one->marker,
                 one->state.get()};
    one->decode(one == &ours ? routes : ref_band_routes);
  }
  require(ours == wanted);
}

void sameImage(Chooser& choose, const BandRoutes& routes) {
  const Shape shape = anyShape(choose);
  const Source source(choose, shape);
  Image ours(shape), image(shape);
  keep(ref_band_routes, source, image);
  keep(routes, source, ours);
  require(ours == image);

  Decoding decoded(shape), wanted(shape);
  for (int i = 1 + choose.below(4); i > 0; --i) {
    HuffmanList lists[2];
    const int component = choose.below(kComponents);
    const Scan scan = anyScan(choose);
    Bytes data = sameBytes(choose, routes, image, scan, component, lists);
    if (data.empty() || choose.oneIn(8)) {
      data = choose.bytes(1 + std::size_t(choose.below(2000)));
      for (HuffmanList& list : lists) list = test::decodingTable(choose);
    }
    for (int k = choose.oneIn(2) ? choose.below(3) : 0; k > 0; --k) test::damage(choose, data);
    sameStore(choose, routes, data, scan, component, lists, decoded, wanted);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Slot> slots = runnableSlots();
  // The first byte, since choices are taken from the end.
  const Slot& slot = slots[1 + (size == 0 ? 0 : data[0] % (slots.size() - 1))];
  fuzz::Input input(data, size);
  Chooser choose([&input] { return input.number(); });
  sameImage(choose, *strips::kBandRoutes[slot.index]);
  return 0;
}
