// Vectors of 128 bits and, where the form has AVX2, of 256 bits, with one set of operations, so
// that a kernel is written once for both. A 256-bit operation acts on the two halves separately.
#ifndef QRX_PRIMITIVES_SIMD_H_
#define QRX_PRIMITIVES_SIMD_H_

#include <emmintrin.h>
#include <stddef.h>
#ifdef __SSSE3__
#include <tmmintrin.h>
#endif
#ifdef __SSE4_1__
#include <smmintrin.h>
#endif
#ifdef __AVX2__
#include <immintrin.h>
#endif

#include "qrx/primitive_types.h"

namespace {
namespace simd {

struct Vec128 {
  static constexpr int kBytes = 16;
  __m128i v;

  static Vec128 load(const void* p) { return {_mm_loadu_si128(static_cast<const __m128i*>(p))}; }
  // Eight bytes into the lower half of the register, zeros above.
  static Vec128 loadLower(const void* p) {
    return {_mm_loadl_epi64(static_cast<const __m128i*>(p))};
  }
  // Each half of 128 bits from an address of its own, `apart` bytes after the one before.
  static Vec128 loadHalves(const Ipp8u* p, int) { return load(p); }
  static Vec128 repeat(Vec128 half) { return half; }
  static Vec128 all16(int value) { return {_mm_set1_epi16(static_cast<short>(value))}; }
  static Vec128 all32(int value) { return {_mm_set1_epi32(value)}; }
  Vec128 half(int) const { return *this; }
};

#ifdef __AVX2__
struct Vec256 {
  static constexpr int kBytes = 32;
  __m256i v;

  static Vec256 load(const void* p) { return {_mm256_loadu_si256(static_cast<const __m256i*>(p))}; }
  static Vec256 loadHalves(const Ipp8u* p, int apart) {
    return joined(Vec128::load(p), Vec128::load(p + apart));
  }
  // Sixteen bytes, each in a lane of 16 bits.
  static Vec256 widened(const Ipp8u* p) { return {_mm256_cvtepu8_epi16(Vec128::load(p).v)}; }
  static Vec256 joined(Vec128 lower, Vec128 upper) {
    return {_mm256_inserti128_si256(_mm256_castsi128_si256(lower.v), upper.v, 1)};
  }
  static Vec256 repeat(Vec128 half) { return {_mm256_broadcastsi128_si256(half.v)}; }
  static Vec256 all16(int value) { return {_mm256_set1_epi16(static_cast<short>(value))}; }
  static Vec256 all32(int value) { return {_mm256_set1_epi32(value)}; }
  Vec128 lower() const { return {_mm256_castsi256_si128(v)}; }
  Vec128 upper() const { return {_mm256_extracti128_si256(v, 1)}; }
  Vec128 half(int i) const { return i == 0 ? lower() : upper(); }
};

#define QRX_WITH_AVX2(text) text
#else
#define QRX_WITH_AVX2(text)
#endif

#define QRX_BINARY(name, of128, of256)                                       \
  inline Vec128 name(Vec128 a, Vec128 b) { return {_mm_##of128(a.v, b.v)}; } \
  QRX_WITH_AVX2(inline Vec256 name(Vec256 a, Vec256 b) { return {_mm256_##of256(a.v, b.v)}; })
#define QRX_SHIFT(name, intrinsic)        \
  template <int kBits>                    \
  inline Vec128 name(Vec128 a) {          \
    return {_mm_##intrinsic(a.v, kBits)}; \
  }                                       \
  QRX_WITH_AVX2(template <int kBits>      \
                inline Vec256 name(Vec256 a) { return {_mm256_##intrinsic(a.v, kBits)}; })

// clang-format off
QRX_BINARY(bitAnd, and_si128, and_si256)
QRX_BINARY(bitOr, or_si128, or_si256)
QRX_BINARY(bitXor, xor_si128, xor_si256)
QRX_BINARY(add16, add_epi16, add_epi16)
QRX_BINARY(add32, add_epi32, add_epi32)
QRX_BINARY(addSaturated16, adds_epi16, adds_epi16)
QRX_BINARY(sub8, sub_epi8, sub_epi8)
QRX_BINARY(sub16, sub_epi16, sub_epi16)
QRX_BINARY(sub32, sub_epi32, sub_epi32)
QRX_BINARY(subSaturated16, subs_epi16, subs_epi16)
QRX_BINARY(average8, avg_epu8, avg_epu8)  // of unsigned bytes, halves go up
QRX_BINARY(equal8, cmpeq_epi8, cmpeq_epi8)
QRX_BINARY(equal16, cmpeq_epi16, cmpeq_epi16)
QRX_BINARY(greater8, cmpgt_epi8, cmpgt_epi8)
QRX_BINARY(greater16, cmpgt_epi16, cmpgt_epi16)
QRX_BINARY(larger16, max_epi16, max_epi16)
QRX_BINARY(lowerProduct, mullo_epi16, mullo_epi16)
QRX_BINARY(upperProduct, mulhi_epi16, mulhi_epi16)
QRX_BINARY(upperProductUnsigned, mulhi_epu16, mulhi_epu16)
QRX_BINARY(pairProducts, madd_epi16, madd_epi16)  // the sum of the two products of each pair
QRX_BINARY(interleaveLow8, unpacklo_epi8, unpacklo_epi8)
QRX_BINARY(interleaveHigh8, unpackhi_epi8, unpackhi_epi8)
QRX_BINARY(interleaveLow16, unpacklo_epi16, unpacklo_epi16)
QRX_BINARY(interleaveHigh16, unpackhi_epi16, unpackhi_epi16)
QRX_BINARY(interleaveLow64, unpacklo_epi64, unpacklo_epi64)
QRX_BINARY(interleaveHigh64, unpackhi_epi64, unpackhi_epi64)
QRX_BINARY(narrow32, packs_epi32, packs_epi32)    // to 16 bits
QRX_BINARY(narrow16, packs_epi16, packs_epi16)    // to signed bytes
QRX_BINARY(clamp16, packus_epi16, packus_epi16)   // to bytes
QRX_SHIFT(left16, slli_epi16)
QRX_SHIFT(right16, srli_epi16)
QRX_SHIFT(signedRight16, srai_epi16)
QRX_SHIFT(signedRight32, srai_epi32)
QRX_SHIFT(shuffle32, shuffle_epi32)               // places of lanes, two bits each
QRX_SHIFT(shuffleLow16, shufflelo_epi16)          // of the four lower lanes of each half
QRX_SHIFT(shuffleHigh16, shufflehi_epi16)
#ifdef __SSSE3__
QRX_BINARY(choose8, shuffle_epi8, shuffle_epi8)   // the bytes of `a` at the places `b`
QRX_BINARY(bytePairProducts, maddubs_epi16, maddubs_epi16)  // unsigned `a`, signed `b`
QRX_BINARY(roundedProduct, mulhrs_epi16, mulhrs_epi16)  // 15 fraction bits
#endif
// clang-format on

#undef QRX_BINARY
#undef QRX_SHIFT
#undef QRX_WITH_AVX2

// Places of bytes for choose8.
struct alignas(16) Places {
  signed char place[16];
  template <typename Vec>
  Vec vector() const {
    return Vec::repeat(Vec128::load(place));
  }
};

// Two factors for pairProducts, in all lanes.
template <typename Vec>
inline Vec factors(int first, int second) {
  return Vec::all32(static_cast<int>((static_cast<unsigned>(first) & 0xFFFF) |
                                     static_cast<unsigned>(second) << 16));
}

// The bytes of `b` where `mask` is all ones, and of `a` where it is zero.
template <typename Vec>
inline Vec chooseByMask8(Vec a, Vec b, Vec mask) {
#if defined(__AVX2__)
  if constexpr (Vec::kBytes == 32) return {_mm256_blendv_epi8(a.v, b.v, mask.v)};
#endif
#ifdef __SSE4_1__
  if constexpr (Vec::kBytes == 16) return {_mm_blendv_epi8(a.v, b.v, mask.v)};
#endif
  return bitXor(a, bitAnd(bitXor(a, b), mask));
}

// The top bit of each byte.
inline unsigned signs8(Vec128 a) { return static_cast<unsigned>(_mm_movemask_epi8(a.v)); }
#ifdef __AVX2__
inline unsigned signs8(Vec256 a) { return static_cast<unsigned>(_mm256_movemask_epi8(a.v)); }
#endif

#ifdef __AVX2__
// The second and the third of the four quarters change places.
inline Vec256 exchangeMiddle64(Vec256 a) { return {_mm256_permute4x64_epi64(a.v, 0xD8)}; }
#endif

inline void store(void* p, Vec128 a) { _mm_storeu_si128(static_cast<__m128i*>(p), a.v); }
inline void storeLower(void* p, Vec128 a) { _mm_storel_epi64(static_cast<__m128i*>(p), a.v); }
inline void storeUpper(void* p, Vec128 a) { storeLower(p, interleaveHigh64(a, a)); }
#ifdef __AVX2__
inline void store(void* p, Vec256 a) { _mm256_storeu_si256(static_cast<__m256i*>(p), a.v); }
#endif

// Each half of 128 bits to an address of its own, `apart` bytes after the one before.
inline void storeHalves(Ipp8u* p, int, Vec128 a) { store(p, a); }
#ifdef __AVX2__
inline void storeHalves(Ipp8u* p, int apart, Vec256 a) {
  store(p, a.lower());
  store(p + apart, a.upper());
}
#endif

// Clamps and stores a vector of 16-bit values as bytes.
inline void storeClamped(Ipp8u* p, Vec128 words) { storeLower(p, clamp16(words, words)); }
#ifdef __AVX2__
inline void storeClamped(Ipp8u* p, Vec256 words) {
  store(p, clamp16(words.lower(), words.upper()));
}
#endif

// Stores the results of two interleavings in the order of their elements.
inline void storeInterleaved(Ipp8u* p, Vec128 low, Vec128 high) {
  store(p, low);
  store(p + 16, high);
}
#ifdef __AVX2__
inline void storeInterleaved(Ipp8u* p, Vec256 low, Vec256 high) {
  storeInterleaved(p, low.lower(), high.lower());
  storeInterleaved(p + 32, low.upper(), high.upper());
}
#endif

// Calls step(i, vector) for as many wide vectors, then narrow ones, as `count` elements fill;
// `vector` tells the type. A step does kBytes / kPart elements. Returns the first that is left.
template <int kPart, typename Step>
inline ptrdiff_t forVectors(ptrdiff_t count, Step step) {
  ptrdiff_t i = 0;
#ifdef __AVX2__
  for (; i + Vec256::kBytes / kPart <= count; i += Vec256::kBytes / kPart) step(i, Vec256());
#endif
  for (; i + Vec128::kBytes / kPart <= count; i += Vec128::kBytes / kPart) step(i, Vec128());
  return i;
}

}  // namespace simd
}  // namespace

#endif  // QRX_PRIMITIVES_SIMD_H_
