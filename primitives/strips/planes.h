// Lines of a strip's planes.
#ifndef QRX_PRIMITIVES_STRIPS_PLANES_H_
#define QRX_PRIMITIVES_STRIPS_PLANES_H_

#include "primitives/strips/strips.h"

namespace {
namespace strips {

using namespace qrx::strips;

inline Ipp8u* lineOf(const Planes& planes, int i, int line) {
  return planes.plane[i] + ptrdiff_t{line} * planes.step[i];
}

// Repeats the first and the last sample of each chroma line in the bytes beside them.
inline void setGuards(const Planes& planes, int samples) {
  for (int i = 1; i < kComponents; ++i) {
    for (int j = 0; j < 8; ++j) {
      Ipp8u* line = lineOf(planes, i, j);
      line[-1] = line[0];
      line[samples] = line[samples - 1];
    }
  }
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_PLANES_H_
