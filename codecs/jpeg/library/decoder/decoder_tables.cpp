// Table classes of the decoder.
#include <cstring>

#include "codecs/jpeg/library/table_lists.h"
#include "qrx/jpeg_decoder.h"

using qrx::jpeg::resultOf;

namespace {

int buildInverse(CJPEGDecoderQuantTable* table) {
  QRX_TRY(resultOf(ippiQuantInvTableInit_JPEG_8u16u(table->raw, table->inverse)));
  table->initialized = 1;
  return JPEG_NO_ERROR;
}

}  // namespace

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
  return buildInverse(this);
}

int CJPEGDecoderQuantTable::Init(int idAndPrecision, int quality, const Ipp8u* source) {
  QRX_TRY(qrx::jpeg::scaleQuantTable(this, idAndPrecision, quality, source));
  return buildInverse(this);
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
  qrx::jpeg::clearHuffmanTable(this, &table_class);
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
  return qrx::jpeg::initHuffmanTable(this, &table_class, tableId, tableClass, listBits, listValues,
                                     ippiDecodeHuffmanSpecInit_JPEG_8u);
}

CJPEGDecoderHuffmanState::CJPEGDecoderHuffmanState() : state(nullptr) {}

CJPEGDecoderHuffmanState::~CJPEGDecoderHuffmanState() { Destroy(); }

int CJPEGDecoderHuffmanState::Create() {
  Destroy();
  return createRecord(ippiDecodeHuffmanStateGetBufSize_JPEG_8u, &state);
}

int CJPEGDecoderHuffmanState::Init() { return resultOf(ippiDecodeHuffmanStateInit_JPEG_8u(state)); }

int CJPEGDecoderHuffmanState::Destroy() {
  destroyRecord(&state);
  return JPEG_NO_ERROR;
}
