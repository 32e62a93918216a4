// A small generator of repeatable random numbers (splitmix64).
#ifndef QRX_TOOLS_LIVE_RANDOM_H_
#define QRX_TOOLS_LIVE_RANDOM_H_

#include <cstdint>

namespace qrx::tool {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }
  // 0 to bound - 1.
  std::uint64_t below(std::uint64_t bound) { return next() % bound; }
  bool chance(double probability) {
    return static_cast<double>(next() >> 11) * 0x1p-53 < probability;
  }

 private:
  std::uint64_t state_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_RANDOM_H_
