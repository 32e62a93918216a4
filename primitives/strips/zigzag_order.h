// A block's coefficients from natural to zig-zag order (T.81 figure A.6): by shuffles where the
// form has them, else the places alone.
#ifndef QRX_PRIMITIVES_STRIPS_ZIGZAG_ORDER_H_
#define QRX_PRIMITIVES_STRIPS_ZIGZAG_ORDER_H_

#include "primitives/strips/wide_tables.h"
#include "primitives/transform/transform_simd.h"
#include "primitives/zigzag.h"

namespace {
namespace strips {

using namespace qrx::strips;

// The zig-zag places of `places` in natural order, each a bit.
inline uint64_t zigzagMask(uint64_t places) {
  const auto row = [&](int j) { return kZigzagMasks.of[j][places >> 8 * j & 255]; };
  return row(0) | row(1) | row(2) | row(3) | row(4) | row(5) | row(6) | row(7);
}

// Natural places by zig-zag place.
struct NaturalPlaces {
  Ipp8u of[64];
};
constexpr NaturalPlaces naturalPlaces() {
  NaturalPlaces places = {};
  for (int k = 0; k < 64; ++k) places.of[k] = static_cast<Ipp8u>(own_pj_izigzag_index[k]);
  return places;
}
constexpr NaturalPlaces kNaturalPlaces = naturalPlaces();

#ifdef __SSSE3__
// What brings the values of natural row `from` to zig-zag row `to`, with zeros between them.
struct ZigzagMoves {
  struct Move {
    alignas(32) signed char place[32];  // for choose8
    bool isEmpty;
  };
  Move of[8][8];  // by `to` and `from`
};
constexpr ZigzagMoves zigzagMoves() {
  ZigzagMoves moves = {};
  for (auto& to : moves.of) {
    for (auto& move : to) {
      move.isEmpty = true;
      for (auto& place : move.place) place = -1;
    }
  }
  for (int k = 0; k < 64; ++k) {
    const int from = own_pj_izigzag_index[k];
    ZigzagMoves::Move& move = moves.of[k / 8][from / 8];
    move.isEmpty = false;
    for (int byte = 0; byte < 2; ++byte) {
      const auto place = static_cast<signed char>(2 * (from % 8) + byte);
      move.place[2 * (k % 8) + byte] = move.place[16 + 2 * (k % 8) + byte] = place;
    }
  }
  return moves;
}
constexpr ZigzagMoves kZigzagMoves = zigzagMoves();

// Zig-zag row kTo of `rows`, which stand in natural order: what comes from row kFrom and those
// behind it.
template <int kTo, int kFrom = 0, typename Vec>
inline Vec zigzagRow(const simd::Rows<Vec>& rows) {
  if constexpr (kFrom == 8) {
    return Vec::all16(0);
  } else if constexpr (kZigzagMoves.of[kTo][kFrom].isEmpty) {
    return zigzagRow<kTo, kFrom + 1>(rows);
  } else {
    const Vec places = Vec::load(kZigzagMoves.of[kTo][kFrom].place);
    return bitOr(choose8(rows.row[kFrom], places), zigzagRow<kTo, kFrom + 1>(rows));
  }
}

// Ones where pairs of natural rows, a byte a value, come behind the first two zig-zag rows.
struct LaterPlaces {
  struct Pair {
    alignas(32) Ipp8u of[32];
  };
  Pair pair[4];
};
constexpr LaterPlaces laterPlaces() {
  LaterPlaces places = {};
  for (int k = 16; k < 64; ++k) {
    const int from = own_pj_izigzag_index[k];
    places.pair[from / 16].of[from % 16] = places.pair[from / 16].of[16 + from % 16] = 255;
  }
  return places;
}
constexpr LaterPlaces kLaterPlaces = laterPlaces();

// Whether nothing but zeros comes behind the first two zig-zag rows.
template <typename Vec>
inline bool fillsTwoZigzagRows(const simd::Rows<Vec>& rows) {
  Vec later = narrow16(rows.row[6], rows.row[7]);
  for (int j = 0; j < 6; j += 2) {
    const Vec mask = Vec::load(kLaterPlaces.pair[j / 2].of);
    later = bitOr(later, bitAnd(narrow16(rows.row[j], rows.row[j + 1]), mask));
  }
  return ~signs8(equal8(later, Vec::all16(0))) << (32 - Vec::kBytes) == 0;
}
#endif

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_ZIGZAG_ORDER_H_
