// A piece of work, done again and again with one more allocation that it gets.
#ifndef QRX_TESTS_UNIT_SHORTAGE_SHORTAGE_KIT_H_
#define QRX_TESTS_UNIT_SHORTAGE_SHORTAGE_KIT_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/shortage.h"

namespace qrx::test {

// What came of the work. It takes no memory: the shortage is the library's alone.
struct Outcome {
  static constexpr std::uint8_t kUntouched = 0xA5;

  Outcome() { bytes.fill(kUntouched); }
  void add(const void* data, std::size_t length) {
    length = std::min(length, bytes.size() - size);
    std::memcpy(bytes.data() + size, data, length);
    size += length;
  }
  // A text, or the room for one, at place `place`.
  void put(std::size_t place, const char* text) {
    if (text != nullptr) std::strncpy(reinterpret_cast<char*>(&bytes[place * 64]), text, 63);
  }
  bool operator==(const Outcome&) const = default;
  // Whether nothing in it is wrong, though some may be missing.
  bool isPartOf(const Outcome& whole) const {
    return std::equal(bytes.begin(), bytes.end(), whole.bytes.begin(),
                      [](auto byte, auto right) { return byte == kUntouched || byte == right; });
  }

  int code = 0;
  std::size_t size = 0;
  std::array<std::uint8_t, 6144> bytes;
};

enum class Part { kWarmUp, kWhole };
using Work = std::function<void(Part, Outcome*)>;

// Of a failure: the outcome is another one altogether.
constexpr int kAnyOutcome = INT_MIN;

struct Road {
  const char* name;
  Work (*open)();  // makes the objects that the work takes
  // The codes that it may fail with, with nothing that is wrong in the outcome, and what stands in
  // the text that it then writes to the standard error stream; empty: it writes nothing.
  std::vector<std::pair<int, std::string>> failures;
  bool later = false;  // smaller work has been done before
};

struct Tried {
  Outcome outcome;
  bool threw = false, met = false;
  int leaked = 0;  // blocks
  std::string messages;
};

// The work on a new thread, so that what threads own is made and freed. It has to come out right
// with the same objects once there is memory again.
inline Tried tryWith(const Road& road, const Outcome* right, Lack lack, int index) {
  Tried tried;
  const auto once = [&] {
    const Work work = road.open();
    Outcome outcome;
    if (road.later) work(Part::kWarmUp, &outcome);
    {
      const Shortage shortage(lack, index);
      try {
        work(Part::kWhole, &tried.outcome);
      } catch (const std::bad_alloc&) {
        tried.threw = true;
      }
    }
    tried.met = Shortage::met();
    outcome = {};
    if (right == nullptr) return;
    work(Part::kWhole, &outcome);
    EXPECT_TRUE(outcome == *right) << "afterwards";
  };
  tried.messages = errorsOf([&] {
    const int live = liveBlocks();
    std::thread(once).join();
    tried.leaked = liveBlocks() - live;
  });
  return tried;
}

inline bool isStated(const Road& road, const Tried& tried, const Outcome& right) {
  const auto matches = [&](const auto& failure) {
    const auto& [code, says] = failure;
    return (code == kAnyOutcome || (code == tried.outcome.code && tried.outcome.isPartOf(right))) &&
           says.empty() == tried.messages.empty() && tried.messages.find(says) != std::string::npos;
  };
  return std::any_of(road.failures.begin(), road.failures.end(), matches);
}

// Every allocation of the work fails once, and every one with all that follow it. The work then
// throws std::bad_alloc, or fails as it is stated to, or does without, and it leaves nothing.
inline void expectToStandShortages(const Road& road) {
  SCOPED_TRACE(road.name);
  const Tried right = tryWith(road, nullptr, Lack::kOnce, 1 << 30);
  ASSERT_FALSE(right.threw || right.met);
  int failures = 0;
  for (const Lack lack : {Lack::kOnce, Lack::kFromThereOn}) {
    for (int index = 0;; ++index) {
      SCOPED_TRACE(testing::Message()
                   << "allocation " << index << (lack == Lack::kOnce ? "" : "+"));
      const Tried tried = tryWith(road, &right.outcome, lack, index);
      EXPECT_EQ(tried.leaked, 0);
      if (!tried.met) break;
      if (tried.threw || tried.outcome == right.outcome) continue;
      ++failures;
      EXPECT_TRUE(isStated(road, tried, right.outcome))
          << "code " << tried.outcome.code << ", " << tried.messages;
    }
  }
  // What a road is said to fail with has happened.
  EXPECT_EQ(failures > 0, !road.failures.empty());
}

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_SHORTAGE_SHORTAGE_KIT_H_
