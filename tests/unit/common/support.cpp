// Temporary folders, environments and child processes for tests of the common layer.
#include "tests/unit/common/support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace qrx::test {
namespace {

namespace fs = std::filesystem;

fs::path makeTemporaryFolder() {
  std::string path = (fs::path(testing::TempDir()) / "qrx_XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  return path;
}

}  // namespace

std::string readFile(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

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
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      ++ready;
      while (ready < count) std::this_thread::yield();
      body(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

CommonTest::CommonTest() : folder(makeTemporaryFolder()) {
#define QRX_SETTING(variable, section, key, type, default_value, field) unsetenv(variable);
#include "qrx/product_settings.def"
  fs::create_directories(root / "conf");
  fs::create_directories(user);
  setenv("QRX_ROOT", root.c_str(), 1);
  setenv("QRX_USER_CONFIG_DIR", user.c_str(), 1);
}

CommonTest::~CommonTest() { fs::remove_all(folder); }

}  // namespace qrx::test
