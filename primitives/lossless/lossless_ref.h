// Predictors of the lossless mode (T.81 table H.1). Samples and differences are modulo 2^16.
#ifndef QRX_PRIMITIVES_LOSSLESS_LOSSLESS_REF_H_
#define QRX_PRIMITIVES_LOSSLESS_LOSSLESS_REF_H_

namespace {

// From the samples to the left, above, and above to the left.
template <int kPredictor>
inline int predict(int left, int above, int aboveLeft) {
  switch (kPredictor) {
    case 1: return left;
    case 2: return above;
    case 3: return aboveLeft;
    case 4: return left + above - aboveLeft;
    case 5: return left + ((above - aboveLeft) >> 1);
    case 6: return above + ((left - aboveLeft) >> 1);
    default: return (left + above) >> 1;
  }
}

}  // namespace

#endif  // QRX_PRIMITIVES_LOSSLESS_LOSSLESS_REF_H_
