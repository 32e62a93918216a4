// What the log writes, where, and from how many threads.
#include "qrx/log.h"

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>

#include "tests/unit/common/support.h"

namespace qrx::test {
namespace {

constexpr char kWhere[] = "bool test()";
constexpr const char* kNames[] = {"", "ERROR", "WARNING", "INFO", "DEBUG"};

void print(int level, bool echo = false) {
  qrx_printlog("QRX", level, kNames[level], kWhere, echo, "message %d", level);
}

// A log with its lines cut down to letter, tag, origin and message. A line of another form stays.
std::string strip(const std::string& log) {
  constexpr char kForm[] =
      "[A-Z?] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]:"
      "[0-9][0-9][0-9][0-9][0-9][0-9] [0-9]*:[0-9]* *";
  std::string result;
  std::istringstream lines(log);
  for (std::string text; std::getline(lines, text);) {
    const std::size_t process = 25;
    if (fnmatch(kForm, text.c_str(), 0) == 0) text.erase(1, text.find(' ', process) - 1);
    result += text + "\n";
  }
  return result;
}

// What print() leaves of a stripped line.
std::string line(int level) {
  return std::string(1, *kNames[level]) + " QRX (" + kWhere + "): message " +
         std::to_string(level) + "\n";
}

class LogTest : public CommonTest {};

TEST_F(LogTest, Levels) {
  const struct {
    const char *verbose, *level;
    int highest;
  } rows[] = {{nullptr, nullptr, 2}, {nullptr, "error", 1}, {nullptr, "Warning", 2},
              {nullptr, "INFO", 3},  {nullptr, "DEBUG", 4}, {nullptr, "nonsense", 2},
              {nullptr, "", 2},      {"true", "error", 4},  {"0", "error", 1}};
  for (const auto& row : rows) {
    setVariable("QRX_VERBOSE", row.verbose);
    setVariable("QRX_LOG_LEVEL", row.level);
    std::string expected;
    for (int level = 1; level <= row.highest; ++level) expected += line(level);
    const std::string log = runInChild([] {
      for (int level = 1; level <= 4; ++level) print(level);
    });
    EXPECT_EQ(strip(log), expected);
  }
}

TEST_F(LogTest, LineTellsProcessAndThread) {
  const std::string log = runInChild([] {
    std::fprintf(stderr, "%d\n", static_cast<int>(getpid()));
    print(1);
  });
  const std::string pid = log.substr(0, log.find('\n'));
  EXPECT_NE(log.find(" " + pid + ":" + pid + " QRX (bool test()): message 1\n"), std::string::npos)
      << log;
}

TEST_F(LogTest, EchoAndOddArguments) {
  EXPECT_EQ(strip(runInChild([] {
              print(3, true);  // is echoed whatever the level
              print(2, true);
              qrx_printlog("QRX", 1, "ERROR", kWhere, true, nullptr);
              qrx_printlog(nullptr, 1, nullptr, nullptr, false, "%s", "100%");
              qrx_printlog("", 1, "", "", true, "%s", "x");
            })),
            "INFO: message 3\nWARNING: message 2\n" + line(2) + "?  (): 100%\n: x\n?  (): x\n");
}

TEST_F(LogTest, OpensWhereItIsClosed) {
  const std::string log = runInChild([] {
    EXPECT_FALSE(qrx_close_log());
    EXPECT_TRUE(qrx_open_log());
    EXPECT_FALSE(qrx_open_log());
    EXPECT_TRUE(qrx_close_log());
    print(1);
    EXPECT_FALSE(qrx_open_log());
  });
  EXPECT_EQ(strip(log), line(1));
}

// All messages arrive whole, though the log is first opened, and closed again, by many at once.
TEST_F(LogTest, RacingThreadsLoseNothing) {
  constexpr int kThreads = 8, kMessages = 40;
  static const std::string kLong(2000, 'x');
  const fs::path logs = folder / "logs";
  fs::create_directories(logs);
  setenv("QRX_LOG_FILE", (logs / "app.log").c_str(), 1);
  const std::string errors = runInChild([] {
    runOnThreads(kThreads, [](int thread) {
      for (int i = 0; i < kMessages; ++i) {
        qrx_printlog("QRX", 1, "ERROR", kWhere, false, "%d.%d %s", thread, i, kLong.c_str());
        if (thread == 0 && i % 10 == 5) qrx_close_log();
      }
    });
  });
  EXPECT_EQ(errors, "");
  std::multiset<std::string> found, expected;
  for (const auto& file : fs::directory_iterator(logs)) {
    std::istringstream lines(strip(readFile(file.path())));
    for (std::string text; std::getline(lines, text);) found.insert(text);
  }
  for (int i = 0; i < kThreads * kMessages; ++i) {
    expected.insert("E QRX (bool test()): " + std::to_string(i / kMessages) + "." +
                    std::to_string(i % kMessages) + " " + kLong);
  }
  EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace qrx::test
