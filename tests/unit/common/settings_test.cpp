// Which source of a setting counts, what is a usable value, and the product's settings.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "qrx/product_settings.h"
#include "tests/unit/common/support.h"

namespace qrx::test {
namespace {

using Product = qrx::conf::Settings;
using Shared = qrx::Singleton<Product>;

constexpr char kVariable[] = "QRX_TEST_VARIABLE";

// One setting, [s] k, of each type.
class OneSetting : public qrx::Settings {
 public:
  explicit OneSetting(const char* name = "one.conf") : qrx::Settings(name) { Settings::parse(); }

  std::string text(const char* defaultValue) const {
    return take(stringSetting(kVariable, "s", "k", defaultValue));
  }
  int number(int defaultValue) const { return intSetting(kVariable, "s", "k", defaultValue); }
  double real(double defaultValue) const {
    return doubleSetting(kVariable, "s", "k", defaultValue);
  }
  bool on(bool defaultValue) const { return boolSetting(kVariable, "s", "k", defaultValue); }
};

class SettingsTest : public CommonTest {
 protected:
  SettingsTest() { unsetenv(kVariable); }

  // The administrator's file, the environment, the user's file, the system's; null: none.
  void setSources(const char* const (&values)[4]) {
    setFile(root / "conf" / "one.conf.admin", values[0]);
    setVariable(kVariable, values[1]);
    setFile(user / "one.conf", values[2]);
    setFile(root / "conf" / "one.conf", values[3]);
  }

  static void setFile(const fs::path& path, const char* value) {
    fs::remove(path);
    if (value != nullptr) writeFile(path, std::string("[S]\nK = ") + value + "\n");
  }
};

TEST_F(SettingsTest, TheFirstSourceWithAUsableValueCounts) {
  const struct {
    const char* sources[4];
    double real;       // with the default 9
    const char* text;  // with the default null
    int number;        // with the default 9
    bool on;           // with the default true
  } rows[] = {
      {{"1", "2", "3", "4"}, 1, "1", 1, true},
      {{nullptr, "2", "3", "4"}, 2, "2", 2, true},
      {{nullptr, nullptr, "3", "4"}, 3, "3", 3, true},
      {{nullptr, nullptr, nullptr, "4"}, 4, "4", 4, true},
      {{}, 9, "(null)", 9, true},
      {{"abc", "7"}, 7, "abc", 7, true},
      {{nullptr, nullptr, "<null>", "0"}, 0, "0", 0, false},
      {{"", "<null>", "12abc", "False"}, 9, "12abc", 9, false},
      {{nullptr, "  42  "}, 42, "42", 42, true},
      {{nullptr, "  a b  "}, 9, "a b", 9, true},
      {{nullptr, " \t ", "3"}, 3, "3", 3, true},
      {{"2147483648", "-2147483648"}, 2147483648.0, "2147483648", -2147483647 - 1, true},
      {{"2", "TRUE", "0"}, 2, "2", 2, true},
      {{"0", nullptr, "1"}, 0, "0", 0, false},
      {{nullptr, " False "}, 9, "False", 9, false},
      // One character too many for a switch, but not for a number or a text; then for a number.
      {{nullptr, "   0    ", "1"}, 0, "0", 0, true},
      {{nullptr, "                             42"}, 42, "42", 42, true},
      {{nullptr, "                              42"}, 9, "42", 9, true},
  };
  for (const auto& row : rows) {
    setSources(row.sources);
    const OneSetting settings;
    EXPECT_EQ(settings.number(9), row.number) << &row - rows;
    EXPECT_EQ(settings.real(9), row.real) << &row - rows;
    EXPECT_EQ(settings.text(nullptr), row.text) << &row - rows;
    EXPECT_EQ(settings.on(true), row.on) << &row - rows;
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
    setVariable("QRX_USER_CONFIG_DIR", row.variable);
    setVariable("HOME", row.home);
    EXPECT_EQ(OneSetting().text("none"), row.expected);
  }
  fs::current_path(before);
}

TEST_F(SettingsTest, FileWithAnErrorDropsOut) {
  const std::string bad = (user / "one.conf").string();
  setSources({nullptr, nullptr, nullptr, "system"});
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

// The product's settings: their table, and the process's one object.

std::string show(const char* text) { return text == nullptr ? "(null)" : text; }
std::string show(std::nullptr_t) { return "(null)"; }
std::string show(int number) { return std::to_string(number); }
std::string show(bool on) { return on ? "true" : "false"; }

struct Row {
  std::string variable, section, key, type, defaultValue, field;
};

const std::vector<Row> kRows = {
#define QRX_SETTING(variable, section, key, type, default_value, field) \
  {variable, section, key, #type, show(default_value), #field},
#include "qrx/product_settings.def"
};

// All fields, by name.
std::map<std::string, std::string> fieldsOf(const Product& settings) {
  return {
#define QRX_SETTING(variable, section, key, type, default_value, field) \
  {#field, show(settings.field)},
#include "qrx/product_settings.def"
  };
}

class ProductSettingsTest : public CommonTest {};

TEST_F(ProductSettingsTest, Table) {
  std::map<std::string, int> sections;
  std::set<std::string> keys, variables;
  for (const Row& row : kRows) {
    ++sections[row.section];
    keys.insert(row.section + "." + row.key);
    variables.insert(row.variable);
  }
  const std::map<std::string, int> expected = {
      {"Logging", 5}, {"Application", 44}, {"Wrapper", 3},       {"RenderingServer", 9},
      {"Network", 1}, {"Console", 1},      {"Remotization", 39}, {"JPEG", 1},
      {"KFL", 16},    {"Viewerpost", 14}};
  EXPECT_EQ(sections, expected);
  EXPECT_EQ(keys.size(), kRows.size());
  EXPECT_EQ(variables.size(), kRows.size() - 1);  // two rows share ZMT_LOCAL_DISPLAY
}

TEST_F(ProductSettingsTest, Defaults) {
  const std::map<std::string, std::string> fields = fieldsOf(Product());
  for (const Row& row : kRows) EXPECT_EQ(fields.at(row.field), row.defaultValue) << row.field;
  std::string values;
  for (const char* field : {"log_level", "local_display", "local_display_list", "subsampling",
                            "codec_tcp", "image_quality", "quality_update_quality", "udp_quality",
                            "udp_start_port", "conference_id", "max_compression_threads"}) {
    values += fields.at(field) + " ";
  }
  EXPECT_EQ(values, "warning (null) :0.0 0 jpeg 80 95 80 7300 tide482 2 ");
}

// Each row's variable and each row's place in the file reach its own field.
TEST_F(ProductSettingsTest, EveryRowIsReadFromBothSources) {
  std::map<std::string, std::string> fromFile, fromVariable;
  std::string file;
  int number = 0;
  for (const Row& row : kRows) {
    const auto value = [&row](const std::string& text, int i) {
      if (row.type == "bool") return show(row.defaultValue == "false");
      return row.type == "int" ? show(i) : text;
    };
    std::string& inFile = fromFile[row.field] = value(row.section + "." + row.key, ++number);
    std::string& inVariable = fromVariable[row.field] = value(row.variable, 1000 + number);
    file += "[" + row.section + "]\n" + row.key + " = " + inFile + "\n";
    setenv(row.variable.c_str(), inVariable.c_str(), 1);
  }
  writeFile(root / "conf" / "qrx.conf", file);
  EXPECT_EQ(fieldsOf(Product()), fromVariable);
  for (const Row& row : kRows) unsetenv(row.variable.c_str());
  EXPECT_EQ(fieldsOf(Product()), fromFile);
}

TEST_F(ProductSettingsTest, RacingInitsGiveOneObjectWhichReloads) {
  setenv("QRX_LOG_FILE", "first", 1);
  runInChild([] {
    Product* seen[8] = {};
    runOnThreads(8, [&seen](int i) {
      Product::init();
      seen[i] = Shared::s_instance;
      EXPECT_STREQ(seen[i]->log_file, "first");
    });
    setenv("QRX_LOG_FILE", "second", 1);
    Product::reload();
    for (const Product* settings : seen) EXPECT_EQ(settings, Shared::s_instance);
    EXPECT_STREQ(seen[0]->log_file, "second");
  });
}

}  // namespace
}  // namespace qrx::test
