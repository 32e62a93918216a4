// The dispatch slots whose forms this processor can run, by its own feature flags: a forced slot
// overwrites the features that the library detected.
#ifndef QRX_TESTS_FORMS_SLOTS_H_
#define QRX_TESTS_FORMS_SLOTS_H_

#include <vector>

struct Slot {
  int index;
  const char* code;
};

inline std::vector<Slot> runnableSlots() {
  __builtin_cpu_init();
  std::vector<Slot> slots = {{0, "w7"}, {1, "w7"}};
  if (__builtin_cpu_supports("ssse3")) slots.insert(slots.end(), {{2, "v8"}, {3, "s8"}});
  if (__builtin_cpu_supports("sse4.1")) slots.push_back({4, "p8"});
  if (__builtin_cpu_supports("avx")) slots.push_back({5, "g9"});
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
      __builtin_cpu_supports("bmi2")) {
    slots.push_back({6, "h9"});
  }
  return slots;
}

#endif  // QRX_TESTS_FORMS_SLOTS_H_
