// Answers about applications of several names and settings.
#include "qrx/application_checks.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/unit/common/support.h"

namespace {

namespace fs = std::filesystem;

class ApplicationChecksTest : public qrx::test::CommonTest {
 protected:
  // What the probe prints, on both streams, when it runs under this name.
  std::string runAs(const std::string& name) {
    const fs::path path = folder / name;
    fs::create_directories(path.parent_path());
    fs::copy_file(QRX_PROBE_PATH, path, fs::copy_options::overwrite_existing);
    std::FILE* pipe = popen((path.string() + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return "not started";
    std::string output;
    for (int c; (c = std::fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    EXPECT_EQ(pclose(pipe), 0);
    return output;
  }
};

TEST_F(ApplicationChecksTest, Blacklist) {
  const struct {
    std::string name;
    const char* list;  // null: unset
    const char* answer;
  } rows[] = {
      {"application", nullptr, "0"},
      {"firefox", nullptr, "1"},
      {"notfirefox", nullptr, "1"},
      {"firefox-bin", nullptr, "0"},
      {"usr/bin/nvidia-settings", nullptr, "1"},
      {"nvidia-settings", nullptr, "0"},
      {"application", "other:application", "1"},
      {"application", "other \tcation\nmore", "1"},
      {"application", "other:applications", "0"},
      {"application", ":: :", "0"},
      {"application", "<null>", "0"},
  };
  for (const auto& row : rows) {
    unsetenv("QRX_BLACKLIST");
    if (row.list != nullptr) setenv("QRX_BLACKLIST", row.list, 1);
    EXPECT_EQ(runAs(row.name), row.answer + std::string(" 0\n"))
        << row.name << " " << (row.list == nullptr ? "unset" : row.list);
  }
}

TEST_F(ApplicationChecksTest, LongBlacklist) {
  std::string names;
  for (int i = 0; i < 200; ++i) names += "a:";
  setenv("QRX_BLACKLIST", (names + "application").c_str(), 1);
  EXPECT_EQ(runAs("application"), "1 0\n");
}

TEST_F(ApplicationChecksTest, Messages) {
  setenv("QRX_LOG_LEVEL", "info", 1);
  const std::string hit = runAs("firefox");
  const std::string path = (folder / "firefox").string();
  EXPECT_NE(hit.find(" QRX (bool qrxIsBlacklisted()): QRX WRAPPER: " + path +
                     " is blacklisted, QRX disabled.\n"),
            std::string::npos)
      << hit;
  EXPECT_EQ(hit.substr(0, 2), "I ");
  setenv("QRX_PROBE_HIDDEN", "1", 1);
  const std::string hidden = runAs("firefox");
  unsetenv("QRX_PROBE_HIDDEN");
  EXPECT_EQ(hidden.substr(0, 2), "W ");
  EXPECT_NE(hidden.find(" QRX (bool qrxIsBlacklisted()): QRX WRAPPER: Could not obtain process "
                        "name\n0 0\n"),
            std::string::npos)
      << hidden;
}

TEST_F(ApplicationChecksTest, RenderingServer) {
  const struct {
    const char *server, *local, *answer;
  } rows[] = {{"", "false", "0"}, {"host", "false", "1"}, {"host", "true", "0"}, {"", "1", "0"}};
  for (const auto& row : rows) {
    setenv("QRX_RENDERING_SERVER", row.server, 1);
    setenv("QRX_FORCE_LOCAL_RENDERING", row.local, 1);
    EXPECT_EQ(runAs("application"), std::string("0 ") + row.answer + "\n");
  }
}

}  // namespace
