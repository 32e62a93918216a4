// Table classes of the encoder.
#include <cstring>
#include <numeric>

#include "codecs/jpeg/library/owned_record.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

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
  id = idAndPrecision & 15;
  precision = idAndPrecision >> 4 & 15;
  std::memcpy(raw, source, 64);
  if (ippiQuantFwdRawTableInit_JPEG_8u(raw, quality) != ippStsNoErr) return JPEG_INTERNAL_ERROR;
  if (ippiQuantFwdTableInit_JPEG_8u16u(raw, fwd_table) != ippStsNoErr) return JPEG_INTERNAL_ERROR;
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
  id = tableId & 15;
  hclass = tableClass & 15;
  std::memcpy(bits, listBits, sizeof bits);
  const int count = std::accumulate(bits, bits + 16, 0);
  if (count > 256) return JPEG_INTERNAL_ERROR;
  std::memcpy(values, listValues, static_cast<std::size_t>(count));
  const IppStatus status = ippiEncodeHuffmanSpecInit_JPEG_8u(bits, values, spec);
  return status == ippStsNoErr ? JPEG_NO_ERROR : JPEG_INTERNAL_ERROR;
}

int CJPEGEncoderHuffmanTable::Destroy() {
  id = 0;
  hclass = 0;
  std::memset(bits, 0, sizeof bits);
  std::memset(values, 0, sizeof values);
  destroyRecord(&spec);
  return JPEG_NO_ERROR;
}

CJPEGEncoderHuffmanState::CJPEGEncoderHuffmanState() : state(nullptr) {}

CJPEGEncoderHuffmanState::~CJPEGEncoderHuffmanState() { Destroy(); }

int CJPEGEncoderHuffmanState::Create() {
  Destroy();
  return createRecord(ippiEncodeHuffmanStateGetBufSize_JPEG_8u, &state);
}

int CJPEGEncoderHuffmanState::Init() {
  return ippiEncodeHuffmanStateInit_JPEG_8u(state) == ippStsNoErr ? JPEG_NO_ERROR
                                                                  : JPEG_INTERNAL_ERROR;
}

int CJPEGEncoderHuffmanState::Destroy() {
  destroyRecord(&state);
  return JPEG_NO_ERROR;
}
