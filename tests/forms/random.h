// The tests' source of random numbers: the same on every run.
#ifndef QRX_TESTS_FORMS_RANDOM_H_
#define QRX_TESTS_FORMS_RANDOM_H_

#include <cstdint>
#include <random>

class Random {
 public:
  explicit Random(unsigned seed) : generator_(seed) {}
  uint32_t operator()() { return static_cast<uint32_t>(generator_()); }
  uint8_t byte() { return static_cast<uint8_t>(generator_()); }

 private:
  std::mt19937 generator_;
};

#endif  // QRX_TESTS_FORMS_RANDOM_H_
