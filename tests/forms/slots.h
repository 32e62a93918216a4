// The dispatch slots whose forms this processor can run, by its own feature flags: a forced slot
// overwrites the features that the library detected.
#ifndef QRX_TESTS_FORMS_SLOTS_H_
#define QRX_TESTS_FORMS_SLOTS_H_

#include <vector>

struct Slot {
  int index;
  const char* code;
  bool runs;
};

inline std::vector<Slot> allSlots() {
  __builtin_cpu_init();
  const bool ssse3 = __builtin_cpu_supports("ssse3");
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                    __builtin_cpu_supports("bmi2");
  return {{0, "w7", true},
          {1, "w7", true},
          {2, "v8", ssse3},
          {3, "s8", ssse3},
          {4, "p8", __builtin_cpu_supports("sse4.1") != 0},
          {5, "g9", __builtin_cpu_supports("avx") != 0},
          {6, "h9", avx2}};
}

inline std::vector<Slot> runnableSlots() {
  std::vector<Slot> slots;
  for (const Slot& slot : allSlots()) {
    if (slot.runs) slots.push_back(slot);
  }
  return slots;
}

#endif  // QRX_TESTS_FORMS_SLOTS_H_
