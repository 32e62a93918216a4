// The grammar of configuration files, and the store of their entries.
#include "qrx/ini_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/common/support.h"

namespace qrx::test {
namespace {

class IniTest : public CommonTest {
 protected:
  // The file with this content.
  const char* fileWith(const std::string& content) {
    writeFile(path, content);
    return path.c_str();
  }

  const std::string path = (folder / "test.ini").string();
};

using Entries = std::vector<std::string>;

int collect(void* user, const char* section, const char* name, const char* value) {
  static_cast<Entries*>(user)->push_back(std::string(section) + "|" + name + "|" + value);
  return 1;
}

std::string show(const ErrorState* state) {
  if (state == nullptr) return "";
  return std::to_string(state->code) + " " + std::to_string(state->line) + " " + state->message;
}

TEST_F(IniTest, Grammar) {
  using namespace std::string_literals;
  const std::string x60(60, 'x'), x49(49, 'x'), x190(190, 'x'), y7(7, 'y'), y49(49, 'y');
  const struct {
    std::string text;
    Entries entries;
    int errorLine;  // 0: none
  } rows[] = {
      {"\n  \n; c\n# c\n  ;c\n", {}, 0},
      {"a:b=c\n", {"|a:b|c"}, 0},
      {"a=b:c", {"|a|b:c"}, 0},
      {"  key   =   value   ; note\r\n", {"|key|value"}, 0},
      {"a=b;c\n", {"|a|b;c"}, 0},
      {"a=b ;c\n", {"|a|b"}, 0},
      {"a= ;c\n", {"|a|;c"}, 0},
      {"a=b #c\n", {"|a|b #c"}, 0},
      {"key=\n=value\n", {"|key|", "||value"}, 0},
      {"a ;b=c\n", {}, 1},
      {"a: b ;=c\n", {"|a|b"}, 0},
      {"[s] ; c\nk=v\n[ t ]x\nk=v\n[]\nk=v", {"s|k|v", " t |k|v", "|k|v"}, 0},
      {"[" + x60 + "]\nk=v\n", {x49 + "|k|v"}, 0},
      {"k=v\n[sect\nl=w\n", {"|k|v"}, 2},
      {"\n[sect ;x]\n", {}, 2},
      {"\n\nno separator\n", {}, 3},
      // 250 characters: the second piece is a line of its own, here without a separator.
      {"k=" + x190 + y7 + y49 + "yy" + "\n", {"|k|" + x190 + y7}, 2},
      {"k=" + x190 + y7 + y49 + "=z\nbad\n", {"|k|" + x190 + y7, "|" + y49 + "|z"}, 3},
      {"a=b\0c\n\0\nd=e\n"s, {"|a|b", "|d|e"}, 0},
      {"\xff\xfe = \x80\n", {"|\xff\xfe|\x80"}, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    Entries entries;
    IniReader reader(fileWith(row.text));
    EXPECT_EQ(reader.parseIniFile(collect, &entries), row.errorLine == 0);
    EXPECT_EQ(entries, row.entries);
    EXPECT_EQ(show(reader.getParserState()),
              row.errorLine == 0 ? "" : "1 " + std::to_string(row.errorLine) + " Parser error.");
  }
}

TEST_F(IniTest, ReaderErrors) {
  Entries entries;
  IniReader unnamed(nullptr);
  EXPECT_EQ(show(unnamed.getParserState()), "4 0 Invalid argument");
  IniReader absent((folder / "absent").c_str());
  EXPECT_EQ(show(absent.getParserState()), "6 0 No such file or directory.");
  EXPECT_FALSE(absent.parseIniFile(collect, &entries));

  IniReader refused(fileWith("a=1\nb=2\nc=3\n"));
  EXPECT_FALSE(refused.parseIniFile(
      [](void*, const char*, const char* name, const char*) { return *name == 'b' ? 0 : 1; },
      nullptr));
  EXPECT_EQ(show(refused.getParserState()), "2 2 User function error.");
  IniReader without(path.c_str());
  EXPECT_FALSE(without.parseIniFile(nullptr, nullptr));
  EXPECT_EQ(show(without.getParserState()), "3 0 No user function available.");
}

TEST_F(IniTest, ValueOperationsTellWhatIsWrong) {
  IniFile good, bad(nullptr, true);
  EXPECT_EQ(good.getParserState(), nullptr);
  EXPECT_EQ(show(bad.getParserState()), "6 0 No such file or directory.");
  const struct {
    IniFile* file;
    const char *section, *name, *what;
  } rows[] = {{&bad, nullptr, "k", "Parser is in error state"},
              {&good, nullptr, nullptr, "Section is empty"},
              {&good, "", "k", "Section is empty"},
              {&good, "s", nullptr, "Name is empty"},
              {&good, "s", "", "Name is empty"}};
  for (const auto& row : rows) {
    std::string lines;
    for (const char* verb : {"get", "set", "remove"}) {
      lines.append("Cannot ").append(verb).append(" value: ").append(row.what).append("\n");
    }
    EXPECT_EQ(errorsOf([&row] {
                EXPECT_EQ(row.file->getValue(row.section, row.name), nullptr);
                row.file->setValue(row.section, row.name, nullptr, false);
                row.file->removeValue(row.section, row.name);
              }),
              lines);
  }
  for (const char* value : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(errorsOf([&] { good.setValue("s", "k", value, false); }),
              "Cannot set value: Value is empty\n");
  }
}

TEST_F(IniTest, ChangesAndLookUps) {
  IniFile file(fileWith("[Sect]\nKey=1\nKEY=2\nempty=\n"), true);
  EXPECT_STREQ(file.getFilename(), path.c_str());
  EXPECT_STREQ(file.getValue("sECT", "key"), "2");
  EXPECT_STREQ(file.getValue("Sect", "empty"), "");
  EXPECT_EQ(file.getValue("other", "key"), nullptr);
  file.setValue("SECT", "KEY", "w", true);
  EXPECT_STREQ(file.getValue("sect", "key"), "2");
  file.setValue("sect", "key", "w", false);
  file.setValue("sect", "key", file.getValue("sect", "key"), false);
  EXPECT_STREQ(file.getValue("sect", "key"), "w");
  file.removeValue("sect", "other");
  file.removeValue("sect", "key");
  EXPECT_EQ(file.getValue("sect", "key"), nullptr);
}

TEST_F(IniTest, FailedLoads) {
  const std::string absent = (folder / "absent.ini").string();
  IniFile file;
  EXPECT_EQ(errorsOf([&] { EXPECT_FALSE(file.parse(nullptr)); }),
            "Cannot parse file: Filename is empty\n");
  EXPECT_EQ(errorsOf([&] { EXPECT_FALSE(file.parse(absent.c_str())); }),
            "Cannot open .ini file \"" + absent + "\": No such file or directory.\n");
  EXPECT_EQ(show(file.getParserState()), "6 0 No such file or directory.");

  fileWith("[s]\nk=v\nbad\n");
  EXPECT_EQ(errorsOf([&] { EXPECT_FALSE(file.parse(path.c_str())); }),
            "Cannot parse .ini file \"" + path + "\": Parser error. (line 3)\n");
  EXPECT_EQ(show(file.getParserState()), "1 3 Parser error.");

  fileWith("[s]\nl=w\n");
  EXPECT_TRUE(file.parse(file.getFilename()));
  EXPECT_EQ(file.getParserState(), nullptr);
  EXPECT_EQ(file.getValue("s", "k"), nullptr);
  EXPECT_STREQ(file.getValue("s", "l"), "w");
}

// What was set by hand stays with the first name, and goes with the next.
TEST_F(IniTest, OtherNames) {
  IniFile file;
  file.setValue("s", "hand", "1", false);
  file.setFilename(fileWith("[s]\nk=v\n"), true);
  EXPECT_STREQ(file.getValue("s", "k"), "v");
  EXPECT_STREQ(file.getValue("s", "hand"), "1");
  file.setFilename("elsewhere", false);
  EXPECT_STREQ(file.getFilename(), "elsewhere");
  EXPECT_STREQ(file.getValue("s", "k"), "v");
  fileWith("[s]\nl=w\n");
  file.setFilename(path.c_str(), true);
  EXPECT_STREQ(file.getValue("s", "l"), "w");
  EXPECT_EQ(file.getValue("s", "hand"), nullptr);
  EXPECT_EQ(file.getParserState(), nullptr);
  file.setFilename(nullptr, false);
  EXPECT_EQ(file.getFilename(), nullptr);
}

// The buckets by hand: AB::K2 10, ABC::K1 13, B::K and A::K 15 (the newer first), AB::K1 29.
TEST_F(IniTest, Write) {
  IniFile file;
  file.setValue("ab", "k1", "1", false);
  file.setValue("abc", "k1", "2", false);
  file.setValue("ab", "k2", "3", false);
  file.setValue("b", "k", "Four", false);
  file.setValue("a", "k", "5", false);
  EXPECT_TRUE(file.write(path.c_str()));
  EXPECT_EQ(readFile(path),
            "[AB]\nK2 = 3\nK1 = 1\n\n[ABC]\nK1 = 2\n\n[A]\nK = 5\n\n[B]\nK = Four\n");
  EXPECT_FALSE(file.write("/dev/full"));
}

}  // namespace
}  // namespace qrx::test
