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

TEST_F(ApplicationChecksTest, Blacklist) {
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
}

TEST_F(ApplicationChecksTest, Messages) {
  setenv("QRX_LOG_LEVEL", "info", 1);
  const std::string start = " QRX (bool qrxIsBlacklisted()): QRX WRAPPER: ", hit = runAs("firefox");
  EXPECT_EQ(hit.substr(0, 2), "I ");
  EXPECT_NE(hit.find(start + (folder / "firefox").string() + " is blacklisted, QRX disabled.\n"),
            std::string::npos)
      << hit;
  setenv("QRX_PROBE_HIDDEN", "1", 1);
  const std::string hidden = runAs("firefox");
  unsetenv("QRX_PROBE_HIDDEN");
  EXPECT_EQ(hidden.substr(0, 2), "W ");
  EXPECT_NE(hidden.find(start + "Could not obtain process name\n0 0\n"), std::string::npos)
      << hidden;
}

TEST_F(ApplicationChecksTest, RenderingServer) {
  const char* const rows[][3] = {
      {"", "false", "0 0\n"}, {"host", "false", "0 1\n"}, {"host", "true", "0 0\n"}};
  for (const auto& [server, local, answers] : rows) {
    setenv("QRX_RENDERING_SERVER", server, 1);
    setenv("QRX_FORCE_LOCAL_RENDERING", local, 1);
    EXPECT_EQ(runAs("application"), answers);
  }
}

}  // namespace
