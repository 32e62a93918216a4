// Tests on eight bytes of entropy-coded data at once.
#ifndef QRX_PRIMITIVES_HUFFMAN_BYTES_H_
#define QRX_PRIMITIVES_HUFFMAN_BYTES_H_

#include <stdint.h>

namespace {

inline bool anyByteIsFF(uint64_t word) {
  return (word & 0x8080808080808080u & ~(word + 0x0101010101010101u)) != 0;
}

}  // namespace

#endif  // QRX_PRIMITIVES_HUFFMAN_BYTES_H_
