// Process, path and text utilities, and the mutex.
#include "qrx/utilities.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qrx/mutex.h"
#include "tests/unit/common/support.h"

namespace {

using qrx::test::runInChild;

// The content of a new text, which is freed; "(null)" for null.
std::string take(char* text) {
  const std::unique_ptr<char, decltype(&free)> owner(text, free);
  return text == nullptr ? "(null)" : text;
}

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

TEST(Utilities, SprintfStoresWhatFits) {
  char buffer[] = "untouched!";
  EXPECT_EQ(qrxSprintf(buffer, 5, "%s", "0123456789"), 4);
  EXPECT_STREQ(buffer, "0123");
  EXPECT_EQ(buffer[5], 'c');
  EXPECT_EQ(qrxSprintf(buffer, 11, "%d", 42), 2);
  EXPECT_EQ(qrxSprintf(buffer, 1, "%d", 42), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(qrxSprintf(nullptr, 5, "x"), -1);
  EXPECT_EQ(qrxSprintf(buffer, 0, "x"), -1);
  EXPECT_EQ(qrxSprintf(buffer, -1, "x"), -1);
}

TEST(Utilities, Strsplit) {
  const struct {
    const char* text;
    unsigned capacity;
    const char* delimiters;
    std::vector<std::string> entries;
  } rows[] = {
      {"a:b:c", 2, ":", {"a", "b"}},
      {"a:b:c", 9, ":", {"a", "b", "c"}},
      {"::a, b", 9, ":, ", {"a", "b"}},
      {"abc", 9, "", {"abc"}},
      {"abc", 9, nullptr, {"abc"}},
      {"::", 9, ":", {"(null)"}},
      {"", 9, ":", {}},
      {nullptr, 9, ":", {}},
      {"a:b", 0, ":", {}},
  };
  for (const auto& row : rows) {
    char* entries[9] = {};
    const unsigned count = qrxStrsplit(row.text, entries, row.capacity, row.delimiters);
    std::vector<std::string> found;
    for (unsigned i = 0; i < count; ++i) found.push_back(take(entries[i]));
    EXPECT_EQ(found, row.entries);
  }
  EXPECT_EQ(qrxStrsplit("a", nullptr, 1, ":"), 0u);
}

TEST(Utilities, BuildFilename) {
  EXPECT_EQ(take(qrxBuildFilename("/opt", "lib", nullptr)), "/opt/lib");
  EXPECT_EQ(take(qrxBuildFilename("/opt/", "lib/", nullptr)), "/opt/lib");
  EXPECT_EQ(take(qrxBuildFilename("a\\", "", "b\\", nullptr)), "a\\b");
  EXPECT_EQ(take(qrxBuildFilename("", "a", nullptr)), "a");
  EXPECT_EQ(take(qrxBuildFilename("", nullptr)), "");
  EXPECT_EQ(take(qrxBuildFilename("/", nullptr)), "");
  EXPECT_EQ(take(qrxBuildFilename(nullptr, nullptr)), "(null)");

  const std::string longest(4094, 'x');
  EXPECT_EQ(take(qrxBuildFilename(longest.c_str(), nullptr)), longest);
  EXPECT_EQ(take(qrxBuildFilename(longest.c_str(), "", nullptr)), longest);
  EXPECT_EQ(take(qrxBuildFilename(longest.c_str(), "y", nullptr)), "(null)");
  EXPECT_EQ(take(qrxBuildFilename((longest + "x").c_str(), nullptr)), "(null)");
  const std::string half(2046, 'x');
  EXPECT_EQ(take(qrxBuildFilename(half.c_str(), (half + "x").c_str(), nullptr)).size(), 4094u);
  EXPECT_EQ(take(qrxBuildFilename(half.c_str(), (half + "xx").c_str(), nullptr)), "(null)");
}

TEST(Utilities, Matching) {
  const struct {
    const char* list;
    const char* word;
    bool expected;
  } extensions[] = {{"abc abcd", "abc", true}, {"abcd", "abc", false},    {"x abc", "abc", true},
                    {"xabc", "abc", false},    {"abcd abc", "abc", true}, {"abcabc", "abc", true},
                    {"a b", "a b", false},     {"abc", "", false},        {nullptr, "abc", false},
                    {"abc", nullptr, false}};
  for (const auto& row : extensions) {
    EXPECT_EQ(qrxMatchExtension(row.list, row.word), row.expected)
        << (row.list == nullptr ? "null" : row.list);
  }
  EXPECT_TRUE(qrxMatchAppName("firefox", "/usr/bin/firefox"));
  EXPECT_TRUE(qrxMatchAppName("firefox", "/usr/bin/notfirefox"));
  EXPECT_TRUE(qrxMatchAppName("firefox", "firefox"));
  EXPECT_FALSE(qrxMatchAppName("firefox", "/usr/bin/firefox-bin"));
  EXPECT_FALSE(qrxMatchAppName("firefox", "fox"));
  EXPECT_FALSE(qrxMatchAppName(nullptr, "x"));
  EXPECT_FALSE(qrxMatchAppName("x", nullptr));

  EXPECT_STREQ(qrxBasename("/usr/bin/x"), "x");
  EXPECT_STREQ(qrxBasename("x"), "x");
  EXPECT_STREQ(qrxBasename("/usr/"), "");
  EXPECT_EQ(qrxBasename(nullptr), nullptr);
}

TEST(Utilities, ProcessExe) {
  const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
  char path[PATH_MAX] = "";
  EXPECT_EQ(qrxGetCurrentProcessExe(path, sizeof path), static_cast<int>(exe.size()));
  EXPECT_EQ(path, exe);
  char cut[5] = "....";
  EXPECT_EQ(qrxGetCurrentProcessExe(cut, 4), 3);
  EXPECT_EQ(cut, exe.substr(0, 3));
  EXPECT_EQ(qrxGetCurrentProcessExe(cut, 1), 0);
  EXPECT_EQ(qrxGetCurrentProcessExe(cut, 0), -1);
  EXPECT_EQ(qrxGetCurrentProcessExe(nullptr, 4), -1);
}

TEST(Utilities, ProcessName) {
  char name[PATH_MAX] = "";
  qrxGetCurrentProcessName(name, sizeof name);
  EXPECT_STREQ(name, program_invocation_name);
  qrxGetCurrentProcessName(name, 4);
  EXPECT_EQ(std::string(name), std::string(program_invocation_name).substr(0, 3));
  qrxGetCurrentProcessName(nullptr, 8);
  qrxGetCurrentProcessName(name, 0);
  runInChild([] {
    program_invocation_name[0] = '\0';  // the first word of the command line is now empty
    char unknown[8] = "before";
    qrxGetCurrentProcessName(unknown, 7);
    EXPECT_STREQ(unknown, "");
    qrxGetCurrentProcessName(unknown, 8);
    EXPECT_STREQ(unknown, "Unknown");
  });
}

TEST(Utilities, Home) {
  char buffer[8] = "before";
  setenv("HOME", "/home/a", 1);
  qrxGetHome(nullptr, 8);
  qrxGetHome(buffer, 7);
  EXPECT_STREQ(buffer, "before");
  qrxGetHome(buffer, 0);
  qrxGetHome(buffer, -1);
  EXPECT_STREQ(buffer, "before");
  qrxGetHome(buffer, 8);
  EXPECT_STREQ(buffer, "/home/a");
  unsetenv("HOME");
  qrxGetHome(buffer, 8);
  EXPECT_STREQ(buffer, "");
}

TEST(Utilities, RootAndLibraryFolder) {
  char root[32] = "";
  setenv("QRX_ROOT", "/somewhere/else", 1);
  qrxGetRoot(root, sizeof root);
  EXPECT_STREQ(root, "/somewhere/else");
  EXPECT_EQ(take(qrxGetLibDir()), "/somewhere/else/lib");
  qrxGetRoot(root, 14);
  EXPECT_STREQ(root, "/opt/brel/qrx");
  unsetenv("QRX_ROOT");
  EXPECT_EQ(take(qrxGetLibDir()), "/opt/brel/qrx/lib");
}

TEST(Mutex, TrylockWaitsAsLongAsAsked) {
  using Clock = std::chrono::steady_clock;
  const qrxWhereInfo where;
  qrx::Mutex mutex;
  ASSERT_TRUE(mutex.trylock(0, where));
  std::thread([&] {
    EXPECT_FALSE(mutex.trylock(0, where));
    EXPECT_FALSE(mutex.trylock(-5, where));
    const auto start = Clock::now();
    EXPECT_FALSE(mutex.trylock(100, where));
    const auto waited = Clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(90));
    EXPECT_LT(waited, std::chrono::seconds(30));
  }).join();
  EXPECT_TRUE(mutex.unlock(where));
  EXPECT_TRUE(mutex.trylock(INT_MAX, where));
  EXPECT_TRUE(mutex.unlock(where));
  EXPECT_TRUE(mutex.lock(where));
  EXPECT_TRUE(mutex.unlock(where));
}

}  // namespace
