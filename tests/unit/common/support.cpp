// Temporary folders and environments for tests of the common layer.
#include "tests/unit/common/support.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace qrx::test {
namespace {

namespace fs = std::filesystem;

fs::path makeTemporaryFolder() {
  std::string path = (fs::path(testing::TempDir()) / "qrx_XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  return path;
}

}  // namespace

void setVariable(const char* name, const char* value) {
  unsetenv(name);
  if (value != nullptr) setenv(name, value, 1);
}

std::string take(char* text) {
  const std::string content = text == nullptr ? "(null)" : text;
  std::free(text);
  return content;
}

std::string readFile(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
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
