// Path and text utilities, answers about applications of several names, and the mutex.
#include "qrx/utilities.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "qrx/application_checks.h"
#include "qrx/mutex.h"
#include "tests/unit/common/support.h"

namespace qrx::test {
namespace {

TEST(Utilities, FormatSize) {
  const struct {
    uint64_t size;
    const char* text;
  } rows[] = {{0, "0 bytes"},          {1, "1 bytes"},
              {1023, "1023 bytes"},    {1024, "1.0 KiB"},
              {1536, "1.5 KiB"},       {1048575, "1024.0 KiB"},
              {1048576, "1.0 MiB"},    {1073741823, "1024.0 MiB"},
              {1073741824, "1.0 GiB"}, {UINT64_MAX, "17179869184.0 GiB"}};
  for (const auto& row : rows) EXPECT_EQ(take(qrxFormatSize(row.size)), row.text);
}

TEST(Utilities, Strsplit) {
  const struct {
    const char* text;
    unsigned capacity;
    const char *delimiters, *entries;
  } rows[] = {{"a:b:c", 2, ":", "a|b|"}, {"a:b:c", 9, ":", "a|b|c|"}, {"::a, b", 9, ":, ", "a|b|"},
              {"abc", 9, "", "abc|"},    {"::", 9, ":", "(null)|"},   {"", 9, ":", ""},
              {"a:b", 0, ":", ""}};
  for (const auto& row : rows) {
    char* entries[9] = {};
    const unsigned count = qrxStrsplit(row.text, entries, row.capacity, row.delimiters);
    std::string found;
    for (unsigned i = 0; i < count; ++i) found += take(entries[i]) + "|";
    EXPECT_EQ(found, row.entries);
  }
}

TEST(Utilities, BuildFilename) {
  const std::string longest(4094, 'x'), half(2046, 'x');
  const struct {
    std::string first, second, path;
  } rows[] = {{"/opt", "lib", "/opt/lib"},
              {"/opt/", "lib/", "/opt/lib"},
              {"a\\", "b\\", "a\\b"},
              {"", "a", "a"},
              {"/", "", ""},
              {longest, "", longest},
              {longest, "y", "(null)"},
              {longest + "x", "", "(null)"},
              {half, half + "xx", "(null)"},
              {half, half + "x", half + "/" + half + "x"}};
  for (const auto& row : rows) {
    EXPECT_EQ(take(qrxBuildFilename(row.first.c_str(), row.second.c_str(), nullptr)), row.path);
  }
  EXPECT_EQ(take(qrxBuildFilename(nullptr, nullptr)), "(null)");
}

TEST(Utilities, Matching) {
  const struct {
    const char *list, *word;
    bool expected;
  } rows[] = {{"abc abcd", "abc", true}, {"abcd", "abc", false},    {"x abc", "abc", true},
              {"xabc", "abc", false},    {"abcd abc", "abc", true}, {"abcabc", "abc", true},
              {"a b", "a b", false},     {"abc", "", false},        {nullptr, "abc", false}};
  for (const auto& row : rows)
    EXPECT_EQ(qrxMatchExtension(row.list, row.word), row.expected) << row.word;
  EXPECT_TRUE(qrxMatchAppName("firefox", "firefox"));
  EXPECT_FALSE(qrxMatchAppName("firefox", "fox"));
  EXPECT_FALSE(qrxMatchAppName("x", nullptr));
  EXPECT_STREQ(qrxBasename("/usr/bin/x"), "x");
  EXPECT_STREQ(qrxBasename("/usr/"), "");
}

TEST(Utilities, Home) {
  char buffer[8] = "before";
  setenv("HOME", "/home/a", 1);
  qrxGetHome(nullptr, 8);
  qrxGetHome(buffer, 7);
  EXPECT_STREQ(buffer, "before");
  qrxGetHome(buffer, 8);
  EXPECT_STREQ(buffer, "/home/a");
  unsetenv("HOME");
  qrxGetHome(buffer, 8);
  EXPECT_STREQ(buffer, "");
}

TEST(Utilities, ProcessAndLibraryFolder) {
  char buffer[4096] = "before", first[3] = "";
  qrxGetCurrentProcessName(buffer, 0);
  EXPECT_STREQ(buffer, "before");
  qrxGetCurrentProcessName(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, program_invocation_name);
  qrxGetCurrentProcessName(first, sizeof first);
  EXPECT_EQ(std::string(first), std::string(buffer, 2));
  const fs::path executable = fs::read_symlink("/proc/self/exe");
  const int length = qrxGetCurrentProcessExe(buffer, sizeof buffer);
  EXPECT_EQ(buffer, executable);
  EXPECT_EQ(length, static_cast<int>(executable.string().size()));
  EXPECT_EQ(qrxGetCurrentProcessExe(first, sizeof first), 2);
  setenv("QRX_ROOT", "/some/root/", 1);
  EXPECT_EQ(take(qrxGetLibDir()), "/some/root/lib");
  unsetenv("QRX_ROOT");
  EXPECT_EQ(take(qrxGetLibDir()), "/opt/brel/qrx/lib");
}

class ApplicationChecksTest : public CommonTest {
 protected:
  // What the probe prints, on both streams, when it runs under this name.
  std::string runAs(const std::string& name) {
    const fs::path path = folder / name, output = folder / "output";
    fs::create_directories(path.parent_path());
    fs::copy_file(QRX_PROBE_PATH, path, fs::copy_options::overwrite_existing);
    EXPECT_EQ(std::system((path.string() + " >" + output.string() + " 2>&1").c_str()), 0);
    return readFile(output);
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
              {"application", "other cation\tmore", "1"},
              {"application", "other\ncation", "1"},
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

TEST(Mutex, TrylockWaitsAsLongAsAsked) {
  const qrxWhereInfo where;
  Mutex mutex;
  ASSERT_TRUE(mutex.trylock(0, where));
  std::thread([&] {
    EXPECT_FALSE(mutex.trylock(-5, where));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(mutex.trylock(100, where));
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    EXPECT_GE(seconds.count(), 0.09);
    EXPECT_LT(seconds.count(), 30);
  }).join();
  EXPECT_TRUE(mutex.unlock(where));
}

}  // namespace
}  // namespace qrx::test
