// Path and text utilities, and the mutex.
#include "qrx/utilities.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qrx/mutex.h"

namespace {

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
      {"::", 9, ":", {"(null)"}},
      {"", 9, ":", {}},
      {"a:b", 0, ":", {}},
  };
  for (const auto& row : rows) {
    char* entries[9] = {};
    const unsigned count = qrxStrsplit(row.text, entries, row.capacity, row.delimiters);
    std::vector<std::string> found;
    for (unsigned i = 0; i < count; ++i) found.push_back(take(entries[i]));
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
  } extensions[] = {{"abc abcd", "abc", true}, {"abcd", "abc", false},    {"x abc", "abc", true},
                    {"xabc", "abc", false},    {"abcd abc", "abc", true}, {"abcabc", "abc", true},
                    {"a b", "a b", false},     {"abc", "", false},        {nullptr, "abc", false}},
    names[] = {{"firefox", "/usr/bin/firefox", true},
               {"firefox", "/usr/bin/notfirefox", true},
               {"firefox", "firefox", true},
               {"firefox", "/usr/bin/firefox-bin", false},
               {"firefox", "fox", false},
               {"x", nullptr, false}};
  for (const auto& row : extensions)
    EXPECT_EQ(qrxMatchExtension(row.list, row.word), row.expected) << row.word;
  for (const auto& row : names) EXPECT_EQ(qrxMatchAppName(row.list, row.word), row.expected);
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
}

}  // namespace
