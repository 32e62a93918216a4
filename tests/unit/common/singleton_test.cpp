// First use of the one object from many threads, and with a constructor that fails.
#include "qrx/singleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "tests/unit/common/support.h"

namespace {

constexpr int kThreads = 8;

struct Counted {
  Counted() : number(++made) {}
  const int number;
  static std::atomic<int> made;
};
std::atomic<int> Counted::made{0};

TEST(Singleton, RacingFirstUsersGetOneObject) {
  using One = qrx::Singleton<Counted>;
  EXPECT_EQ(One::s_instance, nullptr);
  qrx::test::runOnThreads(kThreads, [](int) {
    One::init();
    EXPECT_EQ(One::s_instance->number, 1);
  });
  One::doInit();
  EXPECT_EQ(Counted::made, 1);
  delete One::s_instance;
}

struct Failing {
  Failing() {
    if (failuresLeft-- > 0) throw std::runtime_error("not yet");
  }
  static std::atomic<int> failuresLeft;
};
std::atomic<int> Failing::failuresLeft{5};

// A constructor that fails leaves the mutex unlocked, and its caller tries once more.
TEST(Singleton, RacingFirstUsersSurviveFailures) {
  using One = qrx::Singleton<Failing>;
  std::atomic<int> done{0};
  qrx::test::runOnThreads(kThreads, [&done](int) {
    try {
      One::init();
      EXPECT_NE(One::s_instance, nullptr);
      ++done;
    } catch (const std::runtime_error&) {
    }
  });
  EXPECT_EQ(done, kThreads - 4) << "one of the five was tried again";
  delete One::s_instance;
}

}  // namespace
