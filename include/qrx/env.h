// Single environment variables, read with a default.
//
// What counts as a value. A variable has a value if it is set, is not empty, is not the text
// "<null>" and has fewer than 256 characters. In every other case, and for a null name, the
// default is the answer.
//
// Threads. Any number of threads may read at once. As with getenv, no thread may change the
// environment (setDefault, setenv, putenv) while others read it.
#ifndef QRX_ENV_H_
#define QRX_ENV_H_

#include "qrx/export.h"

namespace qrx {

class QRX_API Env {
 public:
  Env() = default;
  ~Env() = default;

  // A decimal integer. White space and a sign may stand before it, and what follows it is ignored:
  // "12abc" gives 12. The default for a text without digits and for a number that an int can't
  // hold.
  static int getInt(const char* name, int defaultValue);

  // Whether the decimal integer at the start of the text is 1 (true) or 0 (false); the default for
  // any other number. A text without digits counts as 0, so "true" gives false here.
  static bool getBool(const char* name, bool defaultValue);

  // A floating-point number with a decimal point, whatever the locale of the host; otherwise as
  // getInt. The default for a number beyond the range of a double, and for infinities and NaN.
  static double getDouble(const char* name, double defaultValue);

  // Copies the text of the variable, or the default, to `destination` with its terminator.
  //   size          bytes at destination; 0 or less: nothing is written
  //   defaultValue  null: destination stays as it was where the variable has no usable value
  // A value that does not fit is not usable. A default that does not fit gives the empty text.
  static void getString(const char* name, char* destination, int size, const char* defaultValue);

  // Sets a variable; one that is set already is replaced only with `overwrite`. True if it is now
  // set as asked for. False for a null name or value, for a name that setenv refuses, and without
  // memory. With QRX_DISABLE_SETENV set to 1 at the first call in the process, this and every
  // later call returns true and leaves the environment alone.
  static bool setDefault(const char* name, const char* value, bool overwrite);
};

}  // namespace qrx

#endif  // QRX_ENV_H_
