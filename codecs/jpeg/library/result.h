// Results of the coders' operations: a _JPEG_ERROR code as an int, passed on at the first failure.
#ifndef QRX_CODECS_JPEG_LIBRARY_RESULT_H_
#define QRX_CODECS_JPEG_LIBRARY_RESULT_H_

#include "qrx/jpeg_types.h"

// Returns from the calling function with the result of `operation`, unless that is 0.
#define QRX_TRY(operation)                                               \
  do {                                                                   \
    if (const int qrxResult = (operation); qrxResult != JPEG_NO_ERROR) { \
      return qrxResult;                                                  \
    }                                                                    \
  } while (false)

namespace qrx::jpeg {

// A primitive's status as an operation's result. Warnings, which are positive, pass.
inline int resultOf(IppStatus status) { return status < 0 ? JPEG_INTERNAL_ERROR : JPEG_NO_ERROR; }

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_RESULT_H_
