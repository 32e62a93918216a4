// The table of the product's settings, and the process's one object.
#include "qrx/product_settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/unit/common/support.h"

namespace {

using qrx::conf::Settings;
using qrx::test::runInChild;
using qrx::test::runOnThreads;
using qrx::test::writeFile;
using Shared = qrx::Singleton<Settings>;

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
std::map<std::string, std::string> fieldsOf(const Settings& settings) {
  return {
#define QRX_SETTING(variable, section, key, type, default_value, field) \
  {#field, show(settings.field)},
#include "qrx/product_settings.def"
  };
}

class ProductSettingsTest : public qrx::test::CommonTest {};

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
  const std::map<std::string, std::string> fields = fieldsOf(Settings());
  for (const Row& row : kRows) EXPECT_EQ(fields.at(row.field), row.defaultValue) << row.field;
  const char* const expected[][2] = {{"log_level", "warning"},
                                     {"local_display", "(null)"},
                                     {"local_display_list", ":0.0"},
                                     {"subsampling", "0"},
                                     {"codec_tcp", "jpeg"},
                                     {"image_quality", "80"},
                                     {"quality_update_quality", "95"},
                                     {"udp_quality", "80"},
                                     {"udp_start_port", "7300"},
                                     {"conference_id", "tide482"},
                                     {"max_compression_threads", "2"}};
  for (const auto& [field, value] : expected) EXPECT_EQ(fields.at(field), value) << field;
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
  EXPECT_EQ(fieldsOf(Settings()), fromVariable);
  for (const Row& row : kRows) unsetenv(row.variable.c_str());
  EXPECT_EQ(fieldsOf(Settings()), fromFile);
}

TEST_F(ProductSettingsTest, RacingInitsGiveOneObjectWhichReloads) {
  setenv("QRX_LOG_FILE", "first", 1);
  runInChild([] {
    Settings* seen[8] = {};
    runOnThreads(8, [&seen](int i) {
      Settings::init();
      seen[i] = Shared::s_instance;
      EXPECT_STREQ(seen[i]->log_file, "first");
    });
    setenv("QRX_LOG_FILE", "second", 1);
    Settings::reload();
    for (const Settings* settings : seen) EXPECT_EQ(settings, Shared::s_instance);
    EXPECT_STREQ(seen[0]->log_file, "second");
  });
}

}  // namespace
