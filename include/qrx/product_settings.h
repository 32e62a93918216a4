// The settings of the product: one table of all of them, and one object for the process.
//
// qrx/product_settings.def names each setting with its environment variable, its section and key in
// the configuration files, its type and its default. The files are those of the name "qrx.conf";
// qrx/settings.h tells where they are and which source counts. To read a value:
//
//   qrx::conf::Settings::init();
//   int sampling = qrx::Singleton<qrx::conf::Settings>::s_instance->subsampling;
//
// Ownership. String fields belong to the object and may be null.
//
// Threads. init may be called by any number of threads; after it has returned, fields are read
// without a lock. reload replaces all fields and frees the strings: no other thread may be reading
// them, the log (qrx/log.h) as it opens included.
//
// Errors. Nothing is reported for a value of the wrong form: the next source counts. Files with
// errors drop out, as qrx/settings.h tells. std::bad_alloc passes through when memory runs out, and
// the next init tries again.
#ifndef QRX_PRODUCT_SETTINGS_H_
#define QRX_PRODUCT_SETTINGS_H_

#include "qrx/export.h"
#include "qrx/settings.h"
#include "qrx/singleton.h"

namespace qrx {

namespace conf {
class Settings;
}

extern template class QRX_API Singleton<conf::Settings>;

namespace conf {

class QRX_API Settings : public Singleton<Settings>, public qrx::Settings {
 public:
  // Reads the configuration files and the environment. Most users share the process's one object
  // instead of making their own.
  Settings();
  ~Settings() override;

  // Makes the process's object on the first call; later calls do nothing.
  static void init();
  // Makes the object, or reads the files and the environment again. Files that were not there when
  // it was made stay unknown.
  static void reload();

  // Fills all fields from the files and the environment.
  void parse() override;
  // Releases all strings; they are null afterwards.
  void freeSettings();

  // One field for each setting.
#define QRX_SETTING_TYPE_string char*
#define QRX_SETTING_TYPE_int int
#define QRX_SETTING_TYPE_bool bool
#define QRX_SETTING(variable, section, key, type, default_value, field) \
  QRX_SETTING_TYPE_##type field{};
#include "qrx/product_settings.def"
#undef QRX_SETTING_TYPE_string
#undef QRX_SETTING_TYPE_int
#undef QRX_SETTING_TYPE_bool

 private:
  explicit Settings(const char* name);
};

}  // namespace conf
}  // namespace qrx

#endif  // QRX_PRODUCT_SETTINGS_H_
