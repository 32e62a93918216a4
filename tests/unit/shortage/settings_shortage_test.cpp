// Memory that runs out at every place of settings, configuration files and the log.
#include "qrx/log.h"
#include "qrx/product_settings.h"
#include "qrx/utilities.h"
#include "tests/unit/common/support.h"
#include "tests/unit/shortage/shortage_kit.h"

namespace qrx::test {
namespace {

char g_path[1024], g_otherPath[1024];  // of the case's files

constexpr int kNotWritten = 1, kNotRead = 2;

Work iniFile() {
  return [](Part, Outcome* outcome) {
    IniFile file(g_path, true);
    file.setValue("s", "new", "value", false);
    file.setValue("s", "kept", "changed", true);
    file.removeValue("s", "gone");
    IniFile copy(nullptr, false);
    copy.setFilename(g_path, false);
    outcome->code = kNotWritten;
    if (!file.write(g_otherPath)) return;
    outcome->code = kNotRead;
    if (file.getParserState() != nullptr || !copy.parse(g_otherPath)) return;
    outcome->code = 0;
    outcome->put(0, copy.getValue("S", "kept"));
    outcome->put(1, copy.getValue("S", "gone"));
    outcome->put(2, copy.getValue("S", "new"));
  };
}

// A value of each source.
void putSettings(const conf::Settings& settings, Outcome* outcome) {
  int place = 0;
  for (const char* const text : {settings.log_level, settings.conference_id, settings.codec_tcp,
                                 settings.codec_udp, settings.external_transport}) {
    outcome->put(static_cast<std::size_t>(place++), text);
  }
  outcome->code = settings.subsampling * 1000 + settings.image_quality;
}

Work ownSettings() {
  return [](Part, Outcome* outcome) {
    conf::Settings settings;
    settings.parse();
    putSettings(settings, outcome);
  };
}

Work texts() {
  return [](Part, Outcome* outcome) {
    char* words[6] = {qrxFormatSize(1000), qrxBuildFilename("a", "b", nullptr), qrxGetLibDir()};
    const unsigned count = qrxStrsplit("one two three", words + 3, 3, " ");
    for (unsigned i = 0; i < 3 + count; ++i) {
      outcome->put(i, words[i]);
      std::free(words[i]);
    }
  };
}

class SettingsShortage : public CommonTest {
 protected:
  SettingsShortage() {
    writeFile(root / "conf" / "qrx.conf.admin", "[JPEG]\nsubsampling = 4\n");
    writeFile(user / "qrx.conf", "[Remotization]\nconference_id = mine\nimage_quality = 50\n");
    writeFile(root / "conf" / "qrx.conf",
              "[Logging]\nlog_level = debug\n[Remotization]\nimage_quality = 60\n");
    setenv("ZMT_CODEC_TCP", "other", 1);
    const fs::path file = folder / "case.ini";
    writeFile(file, "[s]\nkept = 1\ngone = 2\n");
    std::snprintf(g_path, sizeof g_path, "%s", file.c_str());
    std::snprintf(g_otherPath, sizeof g_otherPath, "%s.copy", file.c_str());
  }
};

TEST_F(SettingsShortage, IniFile) {
  expectToStandShortages(
      {"ini", iniFile, {{kNotWritten, ""}, {kNotWritten, ".ini file"}, {kNotRead, ".ini file"}}});
}

TEST_F(SettingsShortage, OwnSettings) {
  // A file that cannot be opened, for whatever reason, is told about and drops out.
  expectToStandShortages({"settings", ownSettings, {{kAnyOutcome, ".ini file"}}});
}

// The process's object is made by the first call that has the memory.
TEST_F(SettingsShortage, SharedSettings) {
  runInChild([] {
    using Shared = Singleton<conf::Settings>;
    int failures = 0;
    for (bool met = true; met; ++failures) {
      const int live = liveBlocks();
      const Shortage shortage(Lack::kFromThereOn, failures);
      try {
        conf::Settings::init();
      } catch (const std::bad_alloc&) {
      }
      met = Shortage::met();
      EXPECT_TRUE(Shared::s_instance != nullptr || liveBlocks() == live) << failures;
      if (Shared::s_instance != nullptr) break;
    }
    EXPECT_GT(failures, 10);
    EXPECT_NE(Shared::s_instance, nullptr);
  });
}

Work log() {
  return [](Part, Outcome* outcome) {
    const bool opened = qrx_open_log();
    qrx_printlog("QRX", 1, "ERROR", "bool test()", true, "message %d", 1);
    outcome->code = 10 * opened + qrx_close_log();
  };
}

// Without memory for its record there is no log, without memory for a line no line; the next one is
// there again.
TEST_F(SettingsShortage, Log) {
  conf::Settings::init();
  expectToStandShortages({"log", log, {{0, "message 1"}, {1, "message 1"}}});
}

TEST_F(SettingsShortage, Texts) { expectToStandShortages({"texts", texts, {{0, ""}}}); }

}  // namespace
}  // namespace qrx::test
