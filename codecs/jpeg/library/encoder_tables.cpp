// Table classes of the encoder.
#include "codecs/jpeg/library/table_lists.h"
#include "qrx/jpeg_encoder.h"

using namespace qrx::jpeg;

CJPEGEncoderQuantTable::CJPEGEncoderQuantTable()
    : id(0),
      precision(0),
      raw(static_cast<Ipp8u*>(ippAlignPtr(raw_storage_, kAlignment))),
      fwd_table(static_cast<Ipp16u*>(ippAlignPtr(fwd_storage_, kAlignment))),
      ready(0),
      raw_storage_{},
      fwd_storage_{} {}

CJPEGEncoderQuantTable::~CJPEGEncoderQuantTable() { ready = 0; }

int CJPEGEncoderQuantTable::Init(int idAndPrecision, int quality, const Ipp8u* source) {
  QRX_TRY(scaleQuantTable(this, idAndPrecision, quality, source));
  QRX_TRY(resultOf(ippiQuantFwdTableInit_JPEG_8u16u(raw, fwd_table)));
  ready = 1;
  return JPEG_NO_ERROR;
}

CJPEGEncoderHuffmanTable::CJPEGEncoderHuffmanTable()
    : id(0), hclass(0), bits{}, values{}, spec(nullptr) {}

CJPEGEncoderHuffmanTable::~CJPEGEncoderHuffmanTable() { Destroy(); }

int CJPEGEncoderHuffmanTable::Create() {
  Destroy();
  return createRecord(ippiEncodeHuffmanSpecGetBufSize_JPEG_8u, &spec);
}

int CJPEGEncoderHuffmanTable::Init(int tableId, int tableClass, const Ipp8u* listBits,
                                   const Ipp8u* listValues) {
  return initHuffmanTable(this, &hclass, tableId, tableClass, listBits, listValues,
                          ippiEncodeHuffmanSpecInit_JPEG_8u);
}

int CJPEGEncoderHuffmanTable::Destroy() {
  clearHuffmanTable(this, &hclass);
  return JPEG_NO_ERROR;
}

CJPEGEncoderHuffmanState::CJPEGEncoderHuffmanState() : state(nullptr) {}

CJPEGEncoderHuffmanState::~CJPEGEncoderHuffmanState() { Destroy(); }

int CJPEGEncoderHuffmanState::Create() {
  Destroy();
  return createRecord(ippiEncodeHuffmanStateGetBufSize_JPEG_8u, &state);
}

int CJPEGEncoderHuffmanState::Init() { return resultOf(ippiEncodeHuffmanStateInit_JPEG_8u(state)); }

int CJPEGEncoderHuffmanState::Destroy() {
  destroyRecord(&state);
  return JPEG_NO_ERROR;
}
