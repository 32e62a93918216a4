// First use of the one object from many threads, and with a constructor that fails.
#include "qrx/singleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "tests/unit/common/support.h"

namespace {

constexpr int kThreads = 8;
constexpr qrxWhereInfo kWhere{};

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

template <int Tag>
struct Failing {
  Failing() {
    if (failuresLeft-- > 0) throw std::runtime_error("not yet");
  }
  static std::atomic<int> failuresLeft;
};
template <int Tag>
std::atomic<int> Failing<Tag>::failuresLeft{0};

TEST(Singleton, FailedConstructorLeavesTheMutexUnlocked) {
  using One = qrx::Singleton<Failing<0>>;
  Failing<0>::failuresLeft = 1000;
  EXPECT_THROW(One::init(), std::runtime_error);
  EXPECT_THROW(One::init(), std::runtime_error);
  EXPECT_EQ(One::s_instance, nullptr);
  EXPECT_TRUE(One::getMutex().trylock(0, kWhere));
  EXPECT_TRUE(One::getMutex().unlock(kWhere));
  Failing<0>::failuresLeft = 0;
  One::init();
  EXPECT_NE(One::s_instance, nullptr);
  delete One::s_instance;
}

TEST(Singleton, RacingFirstUsersSurviveFailures) {
  using One = qrx::Singleton<Failing<1>>;
  Failing<1>::failuresLeft = 5;
  std::atomic<int> done{0};
  qrx::test::runOnThreads(kThreads, [&done](int) {
    try {
      One::init();
      EXPECT_NE(One::s_instance, nullptr);
      ++done;
    } catch (const std::runtime_error&) {
    }
  });
  EXPECT_GE(done, kThreads - 5);
  One::init();
  delete One::s_instance;
}

}  // namespace
