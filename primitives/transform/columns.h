// The column stages of both transforms, eight rows in place. `Lanes` says what a row is and how its
// 16-bit lanes are worked: one sample, or a register of them.
#ifndef QRX_PRIMITIVES_TRANSFORM_COLUMNS_H_
#define QRX_PRIMITIVES_TRANSFORM_COLUMNS_H_

#include "primitives/transform/transform_ref.h"

namespace {

namespace scalar {

// Where no sum leaves 16 bits. Keeping them there lets a compiler run eight columns at once.
struct PlainLanes {
  using Value = Ipp16s;
  static Value add(int a, int b) { return static_cast<Value>(a + b); }
  static Value sub(int a, int b) { return static_cast<Value>(a - b); }
  static Value high(int c, int a) { return static_cast<Value>(mulhi(c, a)); }
  static Value odd(int a) { return static_cast<Value>(a | 1); }
  template <int kBits>
  static Value left(int a) {
    return static_cast<Value>(a * (1 << kBits));
  }
};

// The inverse stage saturates, which damaged streams reach.
struct SaturatingLanes {
  using Value = int;
  static Value add(int a, int b) { return clampTo16s(a + b); }
  static Value sub(int a, int b) { return clampTo16s(a - b); }
  static Value high(int c, int a) { return mulhi(c, a); }
};

// `stage` on each column of a block.
template <typename Lanes, typename Stage>
inline void eachColumn(Ipp16s (&block)[8][8], Stage stage) {
  for (int i = 0; i < 8; ++i) {
    typename Lanes::Value column[8];
    for (int j = 0; j < 8; ++j) column[j] = block[j][i];
    stage(column);
    for (int j = 0; j < 8; ++j) block[j][i] = static_cast<Ipp16s>(column[j]);
  }
}

}  // namespace scalar

template <typename Lanes>
inline void forwardColumns(typename Lanes::Value* x) {
  using Value = typename Lanes::Value;
  const auto add = [](Value a, Value b) { return Lanes::add(a, b); };
  const auto sub = [](Value a, Value b) { return Lanes::sub(a, b); };
  const Value p = add(x[0], x[7]);
  const Value q = add(x[3], x[4]);
  const Value sum16 = Lanes::template left<3>(add(x[1], x[6]));
  const Value sum25 = Lanes::template left<3>(add(x[2], x[5]));
  const Value diff16 = Lanes::template left<4>(sub(x[1], x[6]));
  const Value diff25 = Lanes::template left<4>(sub(x[2], x[5]));
  const Value g = Lanes::template left<3>(sub(x[3], x[4]));
  const Value j = Lanes::template left<3>(sub(x[0], x[7]));

  const Value a = sub(sum16, sum25);
  const Value b = add(sum16, sum25);
  const Value c = Lanes::template left<3>(sub(p, q));
  const Value d = Lanes::template left<3>(add(p, q));
  x[0] = add(d, b);
  x[4] = sub(d, b);
  x[2] = Lanes::odd(add(Lanes::high(kTan2, a), c));
  x[6] = Lanes::odd(sub(Lanes::high(kTan2, c), a));

  const Value e = Lanes::odd(Lanes::high(kCos4, add(diff16, diff25)));
  const Value f = Lanes::high(kCos4, sub(diff16, diff25));
  const Value h = add(g, f);
  const Value k = sub(g, f);
  const Value m = sub(j, e);
  const Value l = add(j, e);
  x[1] = Lanes::odd(add(Lanes::high(kTan1, h), l));
  x[7] = sub(Lanes::high(kTan1, l), h);
  x[3] = sub(m, add(Lanes::high(kTan3, k), k));
  x[5] = add(add(Lanes::high(kTan3, m), m), k);
}

// Leaves 6 fraction bits.
template <typename Lanes>
__attribute__((always_inline)) inline void inverseColumns(typename Lanes::Value* x) {
  using Value = typename Lanes::Value;
  const auto add = [](Value a, Value b) { return Lanes::add(a, b); };
  const auto sub = [](Value a, Value b) { return Lanes::sub(a, b); };
  const Value a = add(add(Lanes::high(kTan3, x[5]), x[5]), x[3]);
  const Value b = add(Lanes::high(kTan3, x[3]), x[3]);
  const Value c = sub(x[5], b);
  const Value d = sub(Lanes::high(kTan1, x[1]), x[7]);
  const Value e = add(Lanes::high(kTan1, x[7]), x[1]);
  const Value f = add(a, e);
  const Value g = sub(e, a);
  const Value h = add(Lanes::high(kTan2, x[6]), x[2]);
  const Value i = sub(Lanes::high(kTan2, x[2]), x[6]);
  const Value j = sub(d, c);
  const Value k = add(d, c);
  const Value l = add(g, j);
  const Value m = sub(g, j);
  const Value o = add(l, Lanes::high(kCos4m1, l));
  const Value r = add(Lanes::high(kCos4m1, m), m);
  const Value p = add(x[4], x[0]);
  const Value q = sub(x[0], x[4]);
  const Value s = add(p, h);
  const Value t = sub(p, h);
  const Value u = add(q, i);
  const Value v = sub(q, i);
  x[0] = add(f, s);
  x[1] = add(u, o);
  x[2] = add(v, r);
  x[3] = add(k, t);
  x[4] = sub(t, k);
  x[5] = sub(v, r);
  x[6] = sub(u, o);
  x[7] = sub(s, f);
}

}  // namespace

#endif  // QRX_PRIMITIVES_TRANSFORM_COLUMNS_H_
