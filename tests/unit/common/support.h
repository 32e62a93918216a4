// Temporary folders, environments and child processes for tests of the common layer.
#ifndef QRX_TESTS_UNIT_COMMON_SUPPORT_H_
#define QRX_TESTS_UNIT_COMMON_SUPPORT_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace qrx::test {

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& content);

// Runs the body in a child process, whose settings and log are untouched so far, and returns what
// it wrote to the standard error stream. Failed expectations of the body fail the test.
std::string runInChild(const std::function<void()>& body);

// Runs the body on this many threads, all let go at the same moment.
void runOnThreads(int count, const std::function<void(int)>& body);

// What the body writes to the standard error stream.
std::string errorsOf(const std::function<void()>& body);

// A temporary folder, and an environment in which nothing of the product is set but the places of
// its configuration files, which are empty folders in the temporary one.
class CommonTest : public testing::Test {
 protected:
  CommonTest();
  ~CommonTest() override;

  const std::filesystem::path folder;
  const std::filesystem::path root = folder / "root";
  const std::filesystem::path user = folder / "user";
};

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_COMMON_SUPPORT_H_
