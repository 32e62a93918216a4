// Environment variables with a default.
#include "qrx/env.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "tests/unit/common/support.h"

namespace qrx::test {
namespace {

constexpr char kName[] = "QRX_TEST_VARIABLE";

void set(const char* value) { setVariable(kName, value); }

TEST(Env, NumbersAndSwitches) {
  const std::string zeros(254, '0');
  const struct {
    std::string text;  // "<null>" counts as unset
    int number;        // with the default 5
    bool on;           // with the default true
    double real;       // with the default 7
  } rows[] = {{"", 5, true, 7},
              {"<null>", 5, true, 7},
              {"  42  ", 42, true, 42},
              {"12abc", 12, true, 12},
              {"-3", -3, true, -3},
              {"+-1", 5, false, 7},
              {"TRUE", 5, false, 7},
              {"0", 0, false, 0},
              {"1x", 1, true, 1},
              {"2147483647", 2147483647, true, 2147483647},
              {"-2147483648", -2147483647 - 1, true, -2147483648.0},
              {"2147483648", 5, true, 2147483648.0},
              {"99999999999999999999", 5, true, 1e20},
              {zeros + "7", 7, true, 7},
              {zeros + "08", 5, true, 7},
              {" -2.25e1 ", -2, true, -22.5},
              {"3,5", 3, true, 3},
              {".5x", 5, false, 0.5},
              {"1e999", 1, true, 7},
              {"nan", 5, false, 7},
              {"inf", 5, false, 7},
              {"1e-310", 1, true, 1e-310},
              {"1e-999", 1, true, 7}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    set(row.text.c_str());
    EXPECT_EQ(Env::getInt(kName, 5), row.number);
    EXPECT_EQ(Env::getBool(kName, true), row.on);
    EXPECT_EQ(Env::getDouble(kName, 7), row.real);
  }
  set("0x10");
  EXPECT_EQ(Env::getInt(kName, 5), 0);
  set("2");
  EXPECT_FALSE(Env::getBool(kName, false));
  EXPECT_EQ(Env::getInt(nullptr, 9), 9);
}

using LocaleTest = CommonTest;

TEST_F(LocaleTest, DecimalPointDoesNotDependOnIt) {
  const std::string make = "localedef -i de_DE -f UTF-8 " + (folder / "de_DE.UTF-8").string();
  setenv("LOCPATH", folder.c_str(), 1);
  if (std::system((make + " >/dev/null 2>&1").c_str()) != 0 ||
      std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
    GTEST_SKIP() << "no locale with a decimal comma can be made on this machine";
  }
  EXPECT_EQ(std::stod("1,5"), 1.5);
  set("1.5");
  EXPECT_EQ(Env::getDouble(kName, 7), 1.5);
  set("1,5");
  EXPECT_EQ(Env::getDouble(kName, 7), 1);
  std::setlocale(LC_ALL, "C");
}

TEST(Env, Strings) {
  const struct {
    const char* value;
    int size;
    const char* defaultValue;
    const char* expected;
  } rows[] = {
      {"123456789", 10, "x", "123456789"}, {"123456789", 9, "x", "x"},
      {"123456789", 9, nullptr, "before"}, {"123456789", 0, "x", "before"},
      {"123456789", -1, "x", "before"},    {nullptr, 10, "default", "default"},
      {"", 8, "default", "default"},       {"<null>", 7, "default", ""},
      {nullptr, 10, nullptr, "before"},
  };
  for (const auto& row : rows) {
    set(row.value);
    char buffer[16] = "before";
    Env::getString(kName, buffer, row.size, row.defaultValue);
    EXPECT_STREQ(buffer, row.expected);
  }
  Env::getString(kName, nullptr, 10, "x");
}

// The first call of a process settles whether defaults are set at all.
TEST(Env, SetDefaultAndItsRacingFirstCallers) {
  runInChild([] {
    unsetenv("QRX_DISABLE_SETENV");
    set("old");
    EXPECT_TRUE(Env::setDefault(kName, "new", false));
    EXPECT_STREQ(getenv(kName), "old");
    setenv("QRX_DISABLE_SETENV", "1", 1);
    EXPECT_TRUE(Env::setDefault(kName, "new", true));
    EXPECT_STREQ(getenv(kName), "new");
    EXPECT_FALSE(Env::setDefault(nullptr, "new", true));
    EXPECT_FALSE(Env::setDefault("a=b", "new", true));
  });
  runInChild([] {
    setenv("QRX_DISABLE_SETENV", "1", 1);
    set("old");
    runOnThreads(8, [](int) { EXPECT_TRUE(Env::setDefault(kName, "new", true)); });
    EXPECT_STREQ(getenv(kName), "old");
  });
}

}  // namespace
}  // namespace qrx::test
