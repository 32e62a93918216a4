// Allocation of the entropy primitives' records, for the table classes of both coders.
#ifndef QRX_CODECS_JPEG_LIBRARY_OWNED_RECORD_H_
#define QRX_CODECS_JPEG_LIBRARY_OWNED_RECORD_H_

#include <cstddef>
#include <cstring>

#include "qrx/jpeg_types.h"
#include "qrx/primitives.h"

// Stores a new record of the size that `getBufSize` tells in *record. It is zero, since a stream
// can bring a decoder to use a table that was never filled.
template <typename Record>
int createRecord(IppStatus (*getBufSize)(int*), Record** record) {
  int size = 0;
  if (getBufSize(&size) != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  void* const memory = ippMalloc(size);
  *record = static_cast<Record*>(memory);
  if (memory == nullptr) return JPEG_OUT_OF_MEMORY;
  std::memset(memory, 0, static_cast<std::size_t>(size));
  return JPEG_NO_ERROR;
}

template <typename Record>
void destroyRecord(Record** record) {
  ippFree(*record);
  *record = nullptr;
}

#endif  // QRX_CODECS_JPEG_LIBRARY_OWNED_RECORD_H_
