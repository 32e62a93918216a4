// The table of the product's settings, and the process's one object.
#include "qrx/product_settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/common/support.h"

namespace {

using qrx::conf::Settings;
using qrx::test::runInChild;
using qrx::test::runOnThreads;
using qrx::test::writeFile;
using Shared = qrx::Singleton<Settings>;

std::string quoted(const std::string& text) {
  std::string result = "\"";
  return result.append(text).append("\"");
}

std::string show(const char* text) { return text == nullptr ? "null" : quoted(text); }
std::string show(std::nullptr_t) { return "null"; }
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
  const std::vector<std::pair<std::string, int>> sections = {
      {"Logging", 5}, {"Application", 44}, {"Wrapper", 3},       {"RenderingServer", 9},
      {"Network", 1}, {"Console", 1},      {"Remotization", 39}, {"JPEG", 1},
      {"KFL", 16},    {"Viewerpost", 14}};
  std::vector<std::pair<std::string, int>> found;
  std::set<std::pair<std::string, std::string>> keys;
  std::map<std::string, int> variables;
  for (const Row& row : kRows) {
    if (found.empty() || found.back().first != row.section) found.push_back({row.section, 0});
    ++found.back().second;
    EXPECT_TRUE(keys.insert({row.section, row.key}).second) << row.section << " " << row.key;
    ++variables[row.variable];
    if (row.field != row.key) {
      EXPECT_TRUE(row.field == "rendering_server_local_display_list" ||
                  row.field == "remotization_host" || row.field == "viewerpost_encryption")
          << row.field;
    }
  }
  EXPECT_EQ(found, sections);
  EXPECT_EQ(kRows.size(), 133u);
  EXPECT_EQ(variables.size(), 132u);
  EXPECT_EQ(variables["ZMT_LOCAL_DISPLAY"], 2);
}

TEST_F(ProductSettingsTest, DefaultsOfTheCodecAndItsHost) {
  const std::map<std::string, std::string> expected = {
      {"verbose", "QRX_VERBOSE false"},
      {"log_level", "QRX_LOG_LEVEL \"warning\""},
      {"external_rendering_server", "QRX_RENDERING_SERVER null"},
      {"local_display", "ZMT_LOCAL_DISPLAY null"},
      {"local_display_list", "ZMT_LOCAL_DISPLAY \":0.0\""},
      {"subsampling", "ZMT_SUBSAMPLING 0"},
      {"codec_tcp", "ZMT_CODEC_TCP \"jpeg\""},
      {"image_quality", "ZMT_IMAGE_QUALITY 80"},
      {"quality_update_quality", "ZMT_QUALITY_UPDATE_QUALITY 95"},
      {"use_udp", "ZMT_USE_UDP 0"},
      {"udp_start_port", "ZMT_UDP_START_PORT 7300"},
      {"conference_id", "ZMT_CONFERENCE_ID \"tide482\""},
      {"max_compression_threads", "QRX_MAX_COMPRESSION_THREADS 2"}};
  const std::map<std::string, std::string> fields = fieldsOf(Settings());
  std::map<std::string, std::string> found;
  for (const Row& row : kRows) {
    EXPECT_EQ(fields.at(row.field), row.defaultValue) << row.field;
    if (expected.count(row.field) != 0) found[row.field] = row.variable + " " + row.defaultValue;
  }
  EXPECT_EQ(found, expected);
}

// Each row's variable and each row's place in the file reach its own field.
TEST_F(ProductSettingsTest, EveryRowIsReadFromBothSources) {
  std::map<std::string, std::string> fromFile, fromEnvironment;
  std::string file, section;
  int number = 0;
  for (const Row& row : kRows) {
    if (row.section != section) file += "[" + (section = row.section) + "]\n";
    const bool isText = row.type == "string";
    const auto value = [&](int i) {
      if (row.type == "bool") return std::string(row.defaultValue == "true" ? "false" : "true");
      return std::to_string(row.variable == "ZMT_LOCAL_DISPLAY" && i >= 200000 ? 7 : i + number);
    };
    file += row.key + " = " + value(100000) + "\n";
    setenv(row.variable.c_str(), value(200000).c_str(), 1);
    fromFile[row.field] = isText ? quoted(value(100000)) : value(100000);
    fromEnvironment[row.field] = isText ? quoted(value(200000)) : value(200000);
    ++number;
  }
  EXPECT_EQ(fieldsOf(Settings()), fromEnvironment);
  for (const Row& row : kRows) unsetenv(row.variable.c_str());
  writeFile(root / "conf" / "qrx.conf", file);
  EXPECT_EQ(fieldsOf(Settings()), fromFile);
}

TEST_F(ProductSettingsTest, RacingInitsGiveOneObject) {
  setenv("ZMT_SUBSAMPLING", "2", 1);
  runInChild([] {
    EXPECT_EQ(Shared::s_instance, nullptr);
    Settings* seen[8] = {};
    runOnThreads(8, [&seen](int i) {
      Settings::init();
      seen[i] = Shared::s_instance;
      EXPECT_EQ(seen[i]->subsampling, 2);
    });
    for (const Settings* settings : seen) EXPECT_EQ(settings, seen[0]);
  });
}

TEST_F(ProductSettingsTest, ReloadReplacesTheFields) {
  setenv("QRX_LOG_FILE", "first", 1);
  runInChild([] {
    Settings::reload();  // makes the object
    const Settings* settings = Shared::s_instance;
    EXPECT_STREQ(settings->log_file, "first");
    setenv("QRX_LOG_FILE", "second", 1);
    Settings::reload();
    EXPECT_EQ(Shared::s_instance, settings);
    EXPECT_STREQ(settings->log_file, "second");
    Shared::s_instance->freeSettings();
    EXPECT_EQ(settings->log_file, nullptr);
  });
}

}  // namespace
