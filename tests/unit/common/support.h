// Temporary folders and environments for tests of the common layer.
#ifndef QRX_TESTS_UNIT_COMMON_SUPPORT_H_
#define QRX_TESTS_UNIT_COMMON_SUPPORT_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/process.h"

namespace qrx::test {

namespace fs = std::filesystem;

// Null: unset.
inline void setVariable(const char* name, const char* value) {
  unsetenv(name);
  if (value != nullptr) setenv(name, value, 1);
}

// The content of a text from malloc, which is freed; "(null)" for null.
inline std::string take(char* text) {
  std::string content = text == nullptr ? "(null)" : text;
  std::free(text);
  return content;
}

inline std::string readFile(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

// A temporary folder, and an environment in which nothing of the product is set but the places of
// its configuration files, which are empty folders in the temporary one.
class CommonTest : public testing::Test {
 protected:
  CommonTest() {
#define QRX_SETTING(variable, section, key, type, default_value, field) unsetenv(variable);
#include "qrx/product_settings.def"
    fs::create_directories(root / "conf");
    fs::create_directories(user);
    setenv("QRX_ROOT", root.c_str(), 1);
    setenv("QRX_USER_CONFIG_DIR", user.c_str(), 1);
  }
  ~CommonTest() override { fs::remove_all(folder); }

  const fs::path folder = [] {
    std::string path = testing::TempDir() + "qrx_XXXXXX";
    EXPECT_NE(mkdtemp(path.data()), nullptr);
    return path;
  }();
  const fs::path root = folder / "root";
  const fs::path user = folder / "user";
};

}  // namespace qrx::test

#endif  // QRX_TESTS_UNIT_COMMON_SUPPORT_H_
