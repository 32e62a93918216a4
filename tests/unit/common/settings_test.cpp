// Which source of a setting counts, and what is a usable value.
#include "qrx/settings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "tests/unit/common/support.h"

namespace {

namespace fs = std::filesystem;
using qrx::test::errorsOf;
using qrx::test::writeFile;

constexpr char kVariable[] = "QRX_TEST_VARIABLE";

// One setting, [s] k, of each type.
class OneSetting : public qrx::Settings {
 public:
  explicit OneSetting(const char* name = "one.conf") : qrx::Settings(name) { Settings::parse(); }

  std::string text(const char* defaultValue) const {
    const std::unique_ptr<char, decltype(&free)> value(
        stringSetting(kVariable, "s", "k", defaultValue), free);
    return value == nullptr ? "(null)" : value.get();
  }
  int number(int defaultValue) const { return intSetting(kVariable, "s", "k", defaultValue); }
  double real(double defaultValue) const {
    return doubleSetting(kVariable, "s", "k", defaultValue);
  }
  bool on(bool defaultValue) const { return boolSetting(kVariable, "s", "k", defaultValue); }
};

class SettingsTest : public qrx::test::CommonTest {
 protected:
  SettingsTest() { unsetenv(kVariable); }

  // Null: no such source.
  void setSources(const char* adminValue, const char* variable, const char* userValue,
                  const char* systemValue) {
    setFile(root / "conf" / "one.conf.admin", adminValue);
    setFile(user / "one.conf", userValue);
    setFile(root / "conf" / "one.conf", systemValue);
    unsetenv(kVariable);
    if (variable != nullptr) setenv(kVariable, variable, 1);
  }

  static void setFile(const fs::path& path, const char* value) {
    fs::remove(path);
    if (value != nullptr) writeFile(path, std::string("[S]\nK = ") + value + "\n");
  }
};

TEST_F(SettingsTest, PrecedenceOfSources) {
  for (int present = 0; present < 16; ++present) {
    const auto value = [present](int source, const char* text) {
      return (present >> source & 1) != 0 ? text : nullptr;
    };
    setSources(value(0, "1"), value(1, "2"), value(2, "3"), value(3, "4"));
    int first = 5;
    for (int source = 3; source >= 0; --source) {
      if ((present >> source & 1) != 0) first = source + 1;
    }
    const OneSetting settings;
    EXPECT_EQ(settings.number(5), first);
    EXPECT_EQ(settings.real(5), first);
    EXPECT_EQ(settings.text("5"), std::to_string(first));
  }
}

TEST_F(SettingsTest, UnusableValuesGoToTheNextSource) {
  const struct {
    const char *admin, *variable, *user, *system;
    int number;        // with the default 9
    const char* text;  // with the default null
    bool on;           // with the default true
  } rows[] = {
      {"abc", "7", nullptr, nullptr, 7, "abc", true},
      {nullptr, nullptr, "<null>", "0", 0, "0", false},
      {"", "<null>", "12abc", "False", 9, "12abc", false},
      {nullptr, "  42  ", nullptr, nullptr, 42, "42", true},
      {nullptr, "  a b  ", nullptr, nullptr, 9, "a b", true},
      {nullptr, " \t ", "3", nullptr, 3, "3", true},
      {"2147483648", "-2147483648", nullptr, nullptr, -2147483647 - 1, "2147483648", true},
      {"2", "TRUE", "0", nullptr, 2, "2", true},
      {nullptr, " False ", nullptr, nullptr, 9, "False", false},
      // One character too many for a switch, but not for a number or a text; then for a number.
      {nullptr, "   0    ", "1", nullptr, 0, "0", true},
      {nullptr, "                             42", nullptr, nullptr, 42, "42", true},
      {nullptr, "                              42", nullptr, nullptr, 9, "42", true},
  };
  for (const auto& row : rows) {
    setSources(row.admin, row.variable, row.user, row.system);
    const OneSetting settings;
    EXPECT_EQ(settings.number(9), row.number);
    EXPECT_EQ(settings.text(nullptr), row.text);
    EXPECT_EQ(settings.on(true), row.on);
  }
}

TEST_F(SettingsTest, PlaceOfTheUsersFile) {
  const fs::path home = folder / "home";
  setFile(home / ".qrx" / "conf" / "one.conf", "home");
  setFile(folder / "one.conf", "working folder");
  setFile(folder / ".qrx" / "conf" / "one.conf", "working folder");
  setFile(user / "one.conf", "user");
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  const std::string path1023 = "/" + std::string(1022, 'x'), path1024 = path1023 + "x";
  const struct {
    const char *variable, *home, *expected;
  } rows[] = {
      {user.c_str(), home.c_str(), "user"},
      {nullptr, home.c_str(), "home"},
      {"<null>", home.c_str(), "home"},
      {nullptr, nullptr, "none"},
      {nullptr, ".", "none"},
      {nullptr, path1024.c_str(), "none"},
      {path1023.c_str(), home.c_str(), "none"},
      {path1024.c_str(), home.c_str(), "working folder"},
  };
  for (const auto& row : rows) {
    unsetenv("QRX_USER_CONFIG_DIR");
    unsetenv("HOME");
    if (row.variable != nullptr) setenv("QRX_USER_CONFIG_DIR", row.variable, 1);
    if (row.home != nullptr) setenv("HOME", row.home, 1);
    EXPECT_EQ(OneSetting().text("none"), row.expected);
  }
  fs::current_path(before);
}

TEST_F(SettingsTest, FileWithAnErrorDropsOut) {
  const std::string bad = (user / "one.conf").string();
  setSources(nullptr, nullptr, nullptr, "system");
  writeFile(bad, "[s]\nk = user\n\nnonsense\n");
  EXPECT_EQ(errorsOf([] {
              OneSetting settings;
              EXPECT_EQ(settings.text("none"), "system");
              settings.parse();  // the file is not tried again
            }),
            "Cannot parse .ini file \"" + bad + "\": Parser error. (line 4)\n" +
                "Cannot parse .ini file \"" + bad +
                "\":<errnum 1> <linenum 4> <errstr Parser error.>\n");
}

}  // namespace
