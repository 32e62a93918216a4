// Clears a block of coefficients.
#ifndef QRX_PRIMITIVES_CLEAR_BLOCK_H_
#define QRX_PRIMITIVES_CLEAR_BLOCK_H_

#include "qrx/primitives.h"
#ifndef QRX_SCALAR
#include "primitives/simd.h"
#endif

namespace {

// In vectors: the string instruction that compilers take for a block's size needs longer to begin
// than a block takes to decode.
inline void clearBlock(Ipp16s* block) {
#ifdef QRX_SCALAR
  __builtin_memset(block, 0, 64 * sizeof(Ipp16s));
#else
#ifdef __AVX2__
  using Vec = simd::Vec256;
#else
  using Vec = simd::Vec128;
#endif
  constexpr int kWidth = sizeof(Vec) / sizeof(Ipp16s);
  for (int i = 0; i < 64; i += kWidth) simd::store(block + i, Vec::all16(0));
#endif
}

}  // namespace

#endif  // QRX_PRIMITIVES_CLEAR_BLOCK_H_
