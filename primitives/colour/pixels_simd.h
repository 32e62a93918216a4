// Interleaved pixels of three and of four bytes in vectors.
#ifndef QRX_PRIMITIVES_COLOUR_PIXELS_SIMD_H_
#define QRX_PRIMITIVES_COLOUR_PIXELS_SIMD_H_

#include "primitives/simd.h"

namespace {
namespace simd {

// Gives each of the four pixels of three bytes that begin at byte kFrom a lane of 32 bits.
#ifdef __SSSE3__
constexpr Places spreadPlaces(int from) {
  Places result = {};
  for (int i = 0; i < 16; ++i) {
    result.place[i] = static_cast<signed char>(i % 4 == 3 ? -1 : from + i / 4 * 3 + i % 4);
  }
  return result;
}

template <int kFrom>
constexpr Places kSpread = spreadPlaces(kFrom);

template <int kFrom, typename Vec>
inline Vec spread(Vec bytes) {
  return choose8(bytes, kSpread<kFrom>.template vector<Vec>());
}
#else
template <int kFrom>
inline Vec128 spread(Vec128 bytes) {
  const __m128i v = _mm_srli_si128(bytes.v, kFrom);
  const __m128i pixels01 = _mm_unpacklo_epi32(v, _mm_srli_si128(v, 3));
  const __m128i pixels23 = _mm_unpacklo_epi32(_mm_srli_si128(v, 6), _mm_srli_si128(v, 9));
  return bitAnd({_mm_unpacklo_epi64(pixels01, pixels23)}, Vec128::all32(0xFFFFFF));
}
#endif

template <typename Vec>
struct Triple {
  Vec v[3];
};

// Three planes to interleaved pixels, 16 a half.
#ifdef __SSSE3__
struct JoinPlaces {
  Places of[3][3];  // [vector of the result][plane]
};

constexpr JoinPlaces joinPlaces() {
  JoinPlaces result = {};
  for (int i = 0; i < 48; ++i) {
    for (int plane = 0; plane < 3; ++plane) {
      result.of[i / 16][plane].place[i % 16] =
          static_cast<signed char>(i % 3 == plane ? i / 3 : -1);
    }
  }
  return result;
}

constexpr JoinPlaces kJoin = joinPlaces();

template <typename Vec>
inline Triple<Vec> joinPlanes(const Triple<Vec>& planes) {
  const auto part = [&](int k, int plane) {
    return choose8(planes.v[plane], kJoin.of[k][plane].template vector<Vec>());
  };
  const auto whole = [&](int k) { return bitOr(bitOr(part(k, 0), part(k, 1)), part(k, 2)); };
  return {{whole(0), whole(1), whole(2)}};
}
#else
// Moving the bytes of even places before those of odd places halves each place modulo 47. After
// four rounds, place 16 * plane + i has become 3 * i + plane.
inline Triple<Vec128> joinPlanes(Triple<Vec128> t) {
  const auto even = [](Vec128 a) { return bitAnd(a, Vec128::all16(0xFF)); };
  for (int round = 0; round < 4; ++round) {
    const Vec128 a = t.v[0], b = t.v[1], c = t.v[2];
    t = {{clamp16(even(a), even(b)), clamp16(even(c), right16<8>(a)),
          clamp16(right16<8>(b), right16<8>(c))}};
  }
  return t;
}
#endif

inline void storePixels(Ipp8u* dst, const Triple<Vec128>& pixels) {
  for (int k = 0; k < 3; ++k) store(dst + 16 * k, pixels.v[k]);
}

#ifdef __AVX2__
inline void storePixels(Ipp8u* dst, const Triple<Vec256>& pixels) {
  for (int k = 0; k < 3; ++k) {
    store(dst + 16 * k, pixels.v[k].lower());
    store(dst + 48 + 16 * k, pixels.v[k].upper());
  }
}
#endif

// Three planes to pixels of four bytes, where the fourth byte stays. Sixteen pixels a half.
template <typename Vec>
inline void mergePixels(Ipp8u* dst, const Triple<Vec>& planes) {
  constexpr int kApart = 64;
  const auto mergeFour = [&](int first, Vec pixels) {
    Ipp8u* const to = dst + 4 * first;
    storeHalves(to, kApart,
                chooseByMask8(Vec::loadHalves(to, kApart), pixels, Vec::all32(0xFFFFFF)));
  };
  const auto mergeEight = [&](int first, Vec pairs, Vec thirds) {
    mergeFour(first, interleaveLow16(pairs, thirds));
    mergeFour(first + 4, interleaveHigh16(pairs, thirds));
  };
  const Vec zero = Vec::all16(0);
  mergeEight(0, interleaveLow8(planes.v[0], planes.v[1]), interleaveLow8(planes.v[2], zero));
  mergeEight(8, interleaveHigh8(planes.v[0], planes.v[1]), interleaveHigh8(planes.v[2], zero));
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_COLOUR_PIXELS_SIMD_H_
