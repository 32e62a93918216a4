// Table classes of the decoder.
#include <cstring>
#include <numeric>

#include "codecs/jpeg/library/owned_record.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

CJPEGDecoderQuantTable::CJPEGDecoderQuantTable()
    : id(0),
      precision(0),
      raw_storage{},
      inverse_storage{},
      raw(static_cast<Ipp8u*>(ippAlignPtr(raw_storage, kAlignment))),
      inverse(static_cast<Ipp16u*>(ippAlignPtr(inverse_storage, kAlignment))),
      initialized(0) {}

CJPEGDecoderQuantTable::~CJPEGDecoderQuantTable() { initialized = 0; }

int CJPEGDecoderQuantTable::Init(int tableId, Ipp8u* source) {
  id = tableId & 15;
  precision = 0;
  std::memcpy(raw, source, 64);
  return buildInverse();
}

int CJPEGDecoderQuantTable::Init(int idAndPrecision, int quality, const Ipp8u* source) {
  id = idAndPrecision & 15;
  precision = idAndPrecision >> 4 & 15;
  std::memcpy(raw, source, 64);
  if (ippiQuantFwdRawTableInit_JPEG_8u(raw, quality) != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  return buildInverse();
}

int CJPEGDecoderQuantTable::buildInverse() {
  if (ippiQuantInvTableInit_JPEG_8u16u(raw, inverse) != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  initialized = 1;
  return JPEG_NO_ERROR;
}

CJPEGDecoderHuffmanTable::CJPEGDecoderHuffmanTable()
    : id(0), table_class(0), spec(nullptr), bits{}, values{}, empty(true) {}

CJPEGDecoderHuffmanTable::~CJPEGDecoderHuffmanTable() { Destroy(); }

int CJPEGDecoderHuffmanTable::Create() {
  Destroy();
  const int result = createRecord(ippiDecodeHuffmanSpecGetBufSize_JPEG_8u, &spec);
  empty = result != JPEG_NO_ERROR;
  return result;
}

int CJPEGDecoderHuffmanTable::Destroy() {
  id = 0;
  table_class = 0;
  std::memset(bits, 0, sizeof bits);
  std::memset(values, 0, sizeof values);
  destroyRecord(&spec);
  empty = true;
  return JPEG_NO_ERROR;
}

int CJPEGDecoderHuffmanTable::Init(int tableId, int tableClass, Ipp8u* listBits,
                                   Ipp8u* listValues) {
  return Init(tableId, tableClass, const_cast<const Ipp8u*>(listBits),
              const_cast<const Ipp8u*>(listValues));
}

int CJPEGDecoderHuffmanTable::Init(int tableId, int tableClass, const Ipp8u* listBits,
                                   const Ipp8u* listValues) {
  id = tableId & 15;
  table_class = tableClass & 15;
  std::memcpy(bits, listBits, sizeof bits);
  const int count = std::accumulate(bits, bits + 16, 0);
  if (count > 256) return JPEG_INTERNAL_ERROR;
  std::memcpy(values, listValues, static_cast<std::size_t>(count));
  const IppStatus status = ippiDecodeHuffmanSpecInit_JPEG_8u(bits, values, spec);
  return status == ippStsNoErr ? JPEG_NO_ERROR : JPEG_INTERNAL_ERROR;
}

CJPEGDecoderHuffmanState::CJPEGDecoderHuffmanState() : state(nullptr) {}

CJPEGDecoderHuffmanState::~CJPEGDecoderHuffmanState() { Destroy(); }

int CJPEGDecoderHuffmanState::Create() {
  Destroy();
  return createRecord(ippiDecodeHuffmanStateGetBufSize_JPEG_8u, &state);
}

int CJPEGDecoderHuffmanState::Init() {
  return ippiDecodeHuffmanStateInit_JPEG_8u(state) == ippStsNoErr ? JPEG_NO_ERROR
                                                                  : JPEG_INTERNAL_ERROR;
}

int CJPEGDecoderHuffmanState::Destroy() {
  destroyRecord(&state);
  return JPEG_NO_ERROR;
}
