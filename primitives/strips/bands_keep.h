// The transform of a progressive image, a row of MCUs into the store, with notes of the magnitudes
// that each block holds.
#ifndef QRX_PRIMITIVES_STRIPS_BANDS_KEEP_H_
#define QRX_PRIMITIVES_STRIPS_BANDS_KEEP_H_

#include "primitives/strips/band_store.h"
#include "primitives/strips/code_row.h"

namespace {
namespace strips {

// Places of two blocks by magnitude, in natural order.
struct PlacesOfPair {
  uint64_t left[kPointTransforms], right[kPointTransforms];
};

// Of two rows: bits of bytes that are at least 1, 2 and 4 in magnitude.
template <typename Vec>
inline void compareMagnitudes(Vec upper, Vec lower, unsigned (&bits)[kPointTransforms]) {
  using namespace simd;
  const Vec zero = Vec::all16(0);
  const Vec bytes = narrow16(larger16(upper, subSaturated16(zero, upper)),
                             larger16(lower, subSaturated16(zero, lower)));
  bits[0] = signs8(greater8(bytes, zero));
  bits[1] = signs8(greater8(bytes, Vec::all16(0x0101)));
  bits[2] = signs8(greater8(bytes, Vec::all16(0x0303)));
}

#ifdef __AVX2__
inline void keepPair(const Ipp8u* from, int step, const simd::Quantiser& quantiser, Ipp16s* left,
                     Ipp16s* right, PlacesOfPair* places) {
  using namespace simd;
  Rows<Vec256> rows = loadBlock<Vec256>(from, step);
  forwardTransform(&rows, quantiser);
  *places = {};
  for (int j = 0; j < 8; j += 2) {
    unsigned bits[kPointTransforms];
    compareMagnitudes(rows.row[j], rows.row[j + 1], bits);
    for (int i = 0; i < kPointTransforms; ++i) {
      places->left[i] |= uint64_t{bits[i] & 0xFFFF} << 8 * j;
      places->right[i] |= uint64_t{bits[i] >> 16} << 8 * j;
    }
  }
  for (int j = 0; j < 8; ++j) {
    store(left + 8 * j, rows.row[j].lower());
    store(right + 8 * j, rows.row[j].upper());
  }
}
#else
inline void keepBlock(const Ipp8u* from, int step, const simd::Quantiser& quantiser, Ipp16s* block,
                      uint64_t (&places)[kPointTransforms]) {
  using namespace simd;
  Rows<Vec128> rows = loadBlock<Vec128>(from, step);
  forwardTransform(&rows, quantiser);
  for (int j = 0; j < 8; j += 2) {
    unsigned bits[kPointTransforms];
    compareMagnitudes(rows.row[j], rows.row[j + 1], bits);
    for (int i = 0; i < kPointTransforms; ++i) {
      places[i] = (j == 0 ? 0 : places[i]) | uint64_t{bits[i]} << 8 * j;
    }
  }
  for (int j = 0; j < 8; ++j) store(block + 8 * j, rows.row[j]);
}

inline void keepPair(const Ipp8u* from, int step, const simd::Quantiser& quantiser, Ipp16s* left,
                     Ipp16s* right, PlacesOfPair* places) {
  keepBlock(from, step, quantiser, left, places->left);
  keepBlock(from + 8, step, quantiser, right, places->right);
}
#endif

inline void noteBlock(const uint64_t (&places)[kPointTransforms], Magnitudes* magnitudes) {
  for (int i = 0; i < kPointTransforms; ++i) {
    const uint64_t ac = places[i] & ~uint64_t{1};
    magnitudes->atLeast[i] = ac == 0 ? 0 : zigzagMask(ac);
  }
}

void keep(const StoreOut& out, int row) {
  const Layout layout = out.store.layout;
  for (int i = 0; i < kComponents; ++i) {
    const int across = i == 0 ? layout.across : 1, down = i == 0 ? layout.down : 1;
    const int columns = across * out.store.mcusAcross;
    const Grid& grid = out.grid[i];
    const simd::Quantiser quantiser = simd::quantiserOf(out.quant[i]);
    for (int v = 0; v < down; ++v) {
      const int line = down * row + v;
      const BlockLine blocks(out.store, i, line);
      const bool noted = line < grid.lines;
      Magnitudes* notes = out.magnitudes[i] + ptrdiff_t{line} * grid.columns;
      const Ipp8u* from = out.planes.plane[i] + ptrdiff_t{8} * v * out.planes.step[i];
      Ipp16s spare[64];
      PlacesOfPair places;
      for (int x = 0; x < columns; x += 2) {
        Ipp16s* left = blocks.block(x);
        Ipp16s* right = x + 1 < columns ? blocks.block(x + 1) : spare;
        keepPair(from + ptrdiff_t{8} * x, out.planes.step[i], quantiser, left, right, &places);
        out.dc[blocks.index(x)] = left[0];
        if (right != spare) out.dc[blocks.index(x + 1)] = right[0];
        if (noted && x < grid.columns) noteBlock(places.left, &notes[x]);
        if (noted && x + 1 < grid.columns) noteBlock(places.right, &notes[x + 1]);
      }
    }
  }
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_BANDS_KEEP_H_
