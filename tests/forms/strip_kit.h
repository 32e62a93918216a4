// Strips of chosen kinds through the routes of two forms: what they leave has to be the same. For
// tests, which choose at random, and for fuzzing.
#ifndef QRX_TESTS_FORMS_STRIP_KIT_H_
#define QRX_TESTS_FORMS_STRIP_KIT_H_

#include <algorithm>
#include <climits>
#include <memory>
#include <vector>

#include "primitives/strips/strips.h"
#include "tests/forms/huffman_kit.h"
#include "tests/support/fenced_bytes.h"

extern "C" const qrx::strips::Routes ref_strip_routes;

namespace qrx::test {

using strips::kComponents;
using strips::kGuard;
using strips::kMostComponents;
using strips::Layout;
using strips::Routes;

inline constexpr Layout kLayouts[] = {{1, 1}, {2, 1}, {2, 2}};

inline int blocksOf(Layout layout, int components = kComponents) {
  return layout.across * layout.down + components - 1;
}

// Planes of `mcus` MCUs with their guards, between fences.
struct PlaneMemory {
  std::vector<std::unique_ptr<FencedBytes>> memory;
  strips::Planes planes = {};

  PlaneMemory(Layout layout, int mcus, Fence fence, int components = kComponents) {
    for (int i = 0; i < components; ++i) {
      const bool isReduced = i == 1 || i == 2;
      const int lines = isReduced ? 8 : 8 * layout.down;
      const int width = 8 * (isReduced ? 1 : layout.across) * (mcus + mcus % 2) + 2 * kGuard;
      memory.push_back(std::make_unique<FencedBytes>(size_t(width * lines), fence));
      planes.step[i] = width;
      planes.plane[i] = memory.back()->bytes.data() + kGuard;
    }
  }
  template <typename Choose>
  void fill(Choose&& choose) {
    for (auto& plane : memory) {
      for (auto& byte : plane->bytes) byte = static_cast<unsigned char>(choose());
    }
  }
  void copyFrom(const PlaneMemory& other) {
    for (size_t i = 0; i < memory.size(); ++i) {
      std::copy(other.memory[i]->bytes.begin(), other.memory[i]->bytes.end(),
                memory[i]->bytes.begin());
    }
  }
  bool operator==(const PlaneMemory& other) const {
    return std::equal(memory.begin(), memory.end(), other.memory.begin(),
                      [](const auto& a, const auto& b) {
                        return std::equal(a->bytes.begin(), a->bytes.end(), b->bytes.begin());
                      });
  }
  // The samples of the MCUs alone.
  Bytes samples(Layout layout, int mcus) const {
    Bytes all;
    for (int i = 0; i < kComponents; ++i) {
      for (int line = 0; line < (i == 0 ? 8 * layout.down : 8); ++line) {
        const Ipp8u* from = planes.plane[i] + ptrdiff_t{line} * planes.step[i];
        all.insert(all.end(), from, from + 8 * (i == 0 ? layout.across : 1) * mcus);
      }
    }
    return all;
  }
};

// Codes or decodes `count` MCUs by `route`, and the MCU that it leaves by the reference. Returns
// how many there are when neither goes on.
template <typename Route, typename Reference>
int runToEnd(int count, Route route, Reference reference) {
  int done = 0;
  while (done < count) {
    done += route(done, count - done);
    if (done == count) break;
    const int one = reference(done, 1);
    if (one == 0) break;
    done += one;
  }
  return done;
}

// What a scan codes with and leaves.
struct CodingRun {
  FencedBytes bytes;
  int position;
  std::array<Ipp16s, kMostComponents> lastDc;
  EncodeState state = {};

  CodingRun(const Bytes& start, int startPosition, std::array<Ipp16s, kMostComponents> dc)
      : bytes(start.size(), Fence::kAfter), position(startPosition), lastDc(dc) {
    std::copy(start.begin(), start.end(), bytes.bytes.begin());
  }
  bool operator==(const CodingRun& other) const {
    return position == other.position && lastDc == other.lastDc &&
           state.memory == other.state.memory &&
           std::equal(bytes.bytes.begin(), bytes.bytes.end(), other.bytes.bytes.begin());
  }
};

struct CodingTables {
  strips::WideCodes dc[2] = {}, ac[2] = {};
  std::array<Ipp16u, 64> quant[2] = {};
  mutable strips::FlatBlocks flat[2] = {};

  CodingTables(EncodeTable& dcTable, EncodeTable& acTable) {
    for (int i = 0; i < 2; ++i) {
      usable = makeDcCodes(*dcTable.get(), &dc[i]) && makeAcCodes(*acTable.get(), &ac[i]);
    }
  }
  strips::ScanOut scan(Layout layout, int components, const strips::Planes& planes,
                       CodingRun& run) const {
    strips::ScanOut scan = {};
    scan.layout = layout;
    scan.components = components;
    scan.planes = planes;
    for (int i = 0; i < components; ++i) {
      scan.quant[i] = quant[i != 0].data();
      strips::FlatBlocks& flatBlocks = flat[i != 0];
      scan.flat[i] = makeFlatBlocks(scan.quant[i], &flatBlocks) ? &flatBlocks : nullptr;
      scan.dc[i] = &dc[i != 0];
      scan.ac[i] = &ac[i != 0];
      scan.lastDc[i] = &run.lastDc[size_t(i)];
    }
    scan.bytes = run.bytes.bytes.data();
    scan.length = int(run.bytes.bytes.size());
    scan.position = &run.position;
    scan.state = run.state.get();
    return scan;
  }
  bool usable;
};

// Codes a strip up to `stopAt`; gives the MCUs coded.
inline int codeBy(const Routes& routes, const strips::ScanOut& scan, int count, int stopAt) {
  bool stopped = false;
  const auto by = [&](const Routes& some) {
    return [&](int column, int left) {
      if (stopped) return 0;
      const int coded = some.code(scan, column, left, stopAt);
      stopped = coded > 0 && *scan.position > stopAt;
      return coded;
    };
  };
  return runToEnd(count, by(routes), by(ref_strip_routes));
}

struct DecodingTables {
  strips::WideTable dc[2] = {};
  strips::AcTable ac[2] = {};
  std::array<Ipp16u, 64> quant[2] = {};

  DecodingTables(DecodeTable& dcTable, DecodeTable& acTable) {
    for (int i = 0; i < 2; ++i) {
      makeDcTable(*dcTable.get(), &dc[i]);
      makeAcTable(*acTable.get(), &ac[i]);
    }
  }
};

// What decoding a strip leaves.
struct DecodingRun {
  PlaneMemory planes;
  std::vector<Ipp16s> blocks;
  int position = 0, marker = 0;
  std::array<Ipp16s, 3> lastDc = {};
  DecodeState state = {};

  DecodingRun(Layout layout, int components, int mcus, Fence fence)
      : planes(layout, mcus, fence, components),
        blocks(size_t(64 * blocksOf(layout, components) * mcus), 77) {
    planes.fill([] { return 99; });
  }
  bool operator==(const DecodingRun& other) const {
    return planes == other.planes && blocks == other.blocks && position == other.position &&
           marker == other.marker && lastDc == other.lastDc && state.memory == other.state.memory;
  }
  // Whether two runs left the same but for what is in hand, which may differ while data follows.
  bool sameButInHand(const DecodingRun& other, std::span<const Ipp8u> data) const {
    const bool isAtEnd = atEnd(data);
    return sameSamples(other) && isAtEnd == other.atEnd(data) &&
           (!isAtEnd || (position == other.position && marker == other.marker &&
                         state.memory == other.state.memory));
  }
  bool sameSamples(const DecodingRun& other) const {
    return planes == other.planes && blocks == other.blocks && lastDc == other.lastDc;
  }
  bool atEnd(std::span<const Ipp8u> data) const {
    const int length = int(data.size());
    return state.get()->bitCount < 8 && (marker != 0 || position < 0 || position >= length ||
                                         (data[size_t(position)] == 0xFF && position + 1 < length &&
                                          data[size_t(position) + 1] != 0));
  }
  strips::ScanIn scan(Layout layout, const DecodingTables& tables, std::span<const Ipp8u> data) {
    strips::ScanIn scan = {};
    scan.layout = layout;
    scan.components = int(planes.memory.size());
    scan.planes = planes.planes;
    for (int i = 0; i < scan.components; ++i) {
      scan.quant[i] = tables.quant[i != 0].data();
      scan.dc[i] = &tables.dc[i != 0];
      scan.ac[i] = &tables.ac[i != 0];
      scan.lastDc[i] = &lastDc[size_t(i)];
    }
    scan.blocks = blocks.data();
    scan.bytes = data.data();
    scan.length = int(data.size());
    scan.position = &position;
    scan.marker = &marker;
    scan.state = state.get();
    return scan;
  }
};

// Decodes a row in two parts, as where a restart marker stands between them.
inline int decodeBy(const Routes& routes, const strips::ScanIn& scan, int first, int count) {
  int done = routes.decode(scan, 0, first);
  if (done == first) done += routes.decode(scan, first, count - first);
  routes.transform(scan, done, count - done);
  return done;
}

}  // namespace qrx::test

#endif  // QRX_TESTS_FORMS_STRIP_KIT_H_
