// Answers about applications of several names and settings.
#include "qrx/application_checks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/unit/common/support.h"

namespace {

namespace fs = std::filesystem;

class ApplicationChecksTest : public qrx::test::CommonTest {
 protected:
  // What the probe prints, on both streams, when it runs under this name.
  std::string runAs(const std::string& name) {
    const fs::path path = folder / name, output = folder / "output";
    fs::create_directories(path.parent_path());
    fs::copy_file(QRX_PROBE_PATH, path, fs::copy_options::overwrite_existing);
    EXPECT_EQ(std::system((path.string() + " >" + output.string() + " 2>&1").c_str()), 0);
    return qrx::test::readFile(output);
  }
};

TEST_F(ApplicationChecksTest, BlacklistAndRenderingServer) {
  std::string names;
  for (int i = 0; i < 200; ++i) names += "a:";
  const struct {
    std::string name, list, answer;
  } rows[] = {{"application", "<null>", "0"},
              {"firefox", "", "1"},
              {"notfirefox", "", "1"},
              {"firefox-bin", "", "0"},
              {"usr/bin/nvidia-settings", "", "1"},
              {"nvidia-settings", "", "0"},
              {"application", "other \tcation\nmore", "1"},
              {"application", "other:applications", "0"},
              {"application", ":: :", "0"},
              {"application", names + "application", "1"}};
  for (const auto& row : rows) {
    setenv("QRX_BLACKLIST", row.list.c_str(), 1);
    EXPECT_EQ(runAs(row.name), row.answer + " 0\n") << row.name << " " << row.list;
  }
  setenv("QRX_RENDERING_SERVER", "host", 1);
  EXPECT_EQ(runAs("firefox"), "1 1\n");
  setenv("QRX_FORCE_LOCAL_RENDERING", "true", 1);
  EXPECT_EQ(runAs("firefox"), "1 0\n");
}

}  // namespace
