// Child processes, threads and the standard error stream, for tests of process-wide state.
#include "tests/support/process.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <latch>
#include <thread>
#include <vector>

namespace qrx::test {

std::string errorsOf(const std::function<void()>& body) {
  testing::internal::CaptureStderr();
  body();
  return testing::internal::GetCapturedStderr();
}

std::string runInChild(const std::function<void()>& body) {
  return errorsOf([&] {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      body();
      std::fflush(nullptr);
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child ended with " << status;
  });
}

void runOnThreads(int count, const std::function<void(int)>& body) {
  std::latch start(count);
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      body(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

std::size_t heapBytes() { return mallinfo2().uordblks + mallinfo2().hblkhd; }

}  // namespace qrx::test
