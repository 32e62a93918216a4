// Codes and texts of what can go wrong with a configuration file.
#ifndef QRX_COMMON_INI_ERROR_H_
#define QRX_COMMON_INI_ERROR_H_

#include "qrx/ini_file.h"

namespace qrx {

enum IniError {
  kIniParserError = 1,
  kIniHandlerError,
  kIniNoHandler,
  kIniInvalidArgument,
  kIniOutOfMemory,
  kIniNoSuchFile,
};

ErrorState makeErrorState(IniError code, int line);

}  // namespace qrx

#endif  // QRX_COMMON_INI_ERROR_H_
