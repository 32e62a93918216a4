// Questions about the running application. Both read the product's settings as they were when they
// were first needed, and may be asked on any thread.
#ifndef QRX_APPLICATION_CHECKS_H_
#define QRX_APPLICATION_CHECKS_H_

#include <stdbool.h>

#include "qrx/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Whether the product must leave this application alone: the path of its executable ends in
// "/usr/bin/nvidia-settings", in "firefox", or in one of the names that the setting "blacklist"
// lists (separated by colons or white space). A hit is logged at level 3; false, and a warning in
// the log, if the path of the executable is not known.
QRX_API bool qrxIsBlacklisted(void);

// Whether a rendering server is to be used: the setting "external_rendering_server" names one, and
// "force_local_rendering" is off.
QRX_API bool qrxIsJolEnabled(void);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // QRX_APPLICATION_CHECKS_H_
