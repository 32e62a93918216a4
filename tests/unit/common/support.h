// Temporary folders and environments for tests of the common layer.
#ifndef QRX_TESTS_UNIT_COMMON_SUPPORT_H_
#define QRX_TESTS_UNIT_COMMON_SUPPORT_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/process.h"

namespace qrx::test {

// Null: unset.
void setVariable(const char* name, const char* value);

// The content of a text from malloc, which is freed; "(null)" for null.
std::string take(char* text);

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& content);

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
