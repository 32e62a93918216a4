// Base of settings objects: typed values from configuration files and the environment.
//
// For a file name N up to three files are looked for (qrx/ini_file.h tells their form):
//
//   admin file   R/conf/N.admin               R is the product's root, see qrxGetRoot
//   user's file  D/N                          D is the environment variable QRX_USER_CONFIG_DIR
//                HOME/.qrx/conf/N             if that is unset, empty or "<null>"
//   system file  R/conf/N
//
// There is no user's file without an absolute HOME of less than 1024 characters. A
// QRX_USER_CONFIG_DIR of 1024 characters or more leaves N alone as the path.
//
// A value is looked for in the admin file, the environment, the user's file, the system file, in
// this order, and the first usable one counts; if there is none, the default. An empty text,
// "<null>" and a text of the wrong form are not usable. Numbers are read the same in every locale.
//
// Threads. No lock is taken. An object that no thread changes (parse, closeIniFiles) may be read by
// any number of threads.
//
// Errors. A file with a line outside the grammar is told on the standard error stream and drops
// out whole; the others stay. std::bad_alloc passes through when memory runs out.
#ifndef QRX_SETTINGS_H_
#define QRX_SETTINGS_H_

#include <memory>

#include "qrx/export.h"
#include "qrx/ini_file.h"

namespace qrx {

class QRX_API Settings {
 public:
  // Looks which of the files exist; reads none of them yet.
  explicit Settings(const char* name);
  virtual ~Settings();
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  // Reads the files that existed at construction, and have not dropped out, again.
  virtual void parse();

  // Lets go of the files: from then on they have no values.
  void closeIniFiles();

  // A copy of the text, which the caller releases with free; null for no value.
  static char* toString(const char* text);
  // The text as a decimal integer, as a floating-point number, and as one of the words "false" and
  // "true" in any case or the integers 0 and 1. *failed tells whether the text is none, or is out
  // of range; the result is then -1, 0.0 and false. White space and a sign may stand before a
  // number, and nothing behind it.
  static int toInt(const char* text, bool* failed);
  static double toDouble(const char* text, bool* failed);
  static bool toBool(const char* text, bool* failed);

 protected:
  // One setting each, by environment variable, and by section and key in the files. White space
  // round the text of the environment variable is dropped; a text of more characters than told
  // counts as unset.

  // Text, up to 1023 characters in the environment. The caller releases the result with free; null
  // where there is neither a value nor a default.
  char* stringSetting(const char* envName, const char* section, const char* key,
                      const char* defaultValue) const;
  // A number, up to 31 characters in the environment.
  int intSetting(const char* envName, const char* section, const char* key, int defaultValue) const;
  double doubleSetting(const char* envName, const char* section, const char* key,
                       double defaultValue) const;
  // A switch, up to 7 characters in the environment.
  bool boolSetting(const char* envName, const char* section, const char* key,
                   bool defaultValue) const;

 private:
  Settings();
  template <typename Use>
  bool lookUp(const char* envName, const char* section, const char* key, char* buffer, int capacity,
              Use use) const;
  template <typename T>
  T numberSetting(const char* envName, const char* section, const char* key, char* buffer,
                  int capacity, T defaultValue, T (*convert)(const char*, bool*)) const;

  std::unique_ptr<IniFile> userFile;  // each null where the file is absent or has dropped out
  std::unique_ptr<IniFile> systemFile;
  std::unique_ptr<IniFile> adminFile;
};

}  // namespace qrx

#endif  // QRX_SETTINGS_H_
