// Allocation of the entropy primitives' records, for the table classes of both coders.
#ifndef QRX_CODECS_JPEG_LIBRARY_OWNED_RECORD_H_
#define QRX_CODECS_JPEG_LIBRARY_OWNED_RECORD_H_

#include "qrx/jpeg_types.h"
#include "qrx/primitives.h"

// Stores a new record of the size that `getBufSize` tells in *record.
template <typename Record>
int createRecord(IppStatus (*getBufSize)(int*), Record** record) {
  int size = 0;
  if (getBufSize(&size) != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  *record = static_cast<Record*>(ippMalloc(size));
  return *record != nullptr ? JPEG_NO_ERROR : JPEG_OUT_OF_MEMORY;
}

template <typename Record>
void destroyRecord(Record** record) {
  ippFree(*record);
  *record = nullptr;
}

#endif  // QRX_CODECS_JPEG_LIBRARY_OWNED_RECORD_H_
