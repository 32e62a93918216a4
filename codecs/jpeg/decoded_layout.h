// How an image of some number of components is decoded for the host.
#ifndef QRX_CODECS_JPEG_DECODED_LAYOUT_H_
#define QRX_CODECS_JPEG_DECODED_LAYOUT_H_

#include "qrx/jpeg_types.h"

namespace qrx::codec {

struct DecodedLayout {
  int channels;  // 0 for component counts that can't be shown
  _JPEG_COLOR color;
};

inline DecodedLayout decodedLayout(int components) {
  switch (components) {
    case 1: return {3, JPEG_COLOR_RGB};  // widened to three equal channels
    case 3: return {3, JPEG_COLOR_BGR};
    case 4: return {4, JPEG_COLOR_CMYK};
    default: return {0, JPEG_COLOR_NONE};
  }
}

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_DECODED_LAYOUT_H_
