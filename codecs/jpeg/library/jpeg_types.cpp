// Error texts, and the component record that encoder and decoder share.
#include "qrx/jpeg_types.h"

#include "qrx/primitives.h"

const char* GetErrorStr(_JPEG_ERROR code) {
  switch (code) {
    case JPEG_NO_ERROR: return "no error";
    case JPEG_NOT_SUPPORTED: return "not supported";
    case JPEG_INTERNAL_ERROR: return "internal error";
    case JPEG_BUFFER_TOO_SMALL: return "buffer too small";
    case JPEG_OUT_OF_MEMORY: return "out of memory";
    case JPEG_BAD_SEGMENT_LENGTH: return "bad segment length";
    case JPEG_BAD_HUFFMAN_TABLE: return "bad huffman table";
    case JPEG_BAD_QUANT_SEGMENT: return "bad quant segment";
    case JPEG_BAD_SCAN_SEGMENT: return "bad scan segment";
    case JPEG_BAD_FRAME_SEGMENT: return "bad frame segment";
    case JPEG_BAD_COMPONENT_ID: return "bad component id";
    case JPEG_BAD_SAMPLING: return "bad sampling factors";
    case JPEG_BAD_RESTART: return "wrong restart marker";
  }
  return "unknown code";
}

CJPEGColorComponent::~CJPEGColorComponent() {
  ippFree(cc_buffer);
  ippFree(ss_buffer);
  ippFree(row_buffer);
  ippFree(spare_buffer);
}
