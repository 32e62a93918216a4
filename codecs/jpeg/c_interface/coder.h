// The coder of the C interface: its own encoder and decoder, and what its last call came to.
#ifndef QRX_CODECS_JPEG_C_INTERFACE_CODER_H_
#define QRX_CODECS_JPEG_C_INTERFACE_CODER_H_

#include <array>
#include <cstdint>
#include <new>

#include "qrx/jpeg_decoder.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/qrx.h"

struct qrxc_coder {
  CJPEGEncoder encoder;
  CJPEGDecoder decoder;
  qrxc_message_function messages = nullptr;
  void* user = nullptr;
  std::array<char, 160> text = {};
  // The packet in the making. Far larger than any, so that the fast routes have their room.
  std::array<std::uint8_t, 1 << 15> packet;
};

namespace qrx::codec {

// Takes a result's text, as printf does, and gives the result back.
[[gnu::format(printf, 3, 4)]] qrxc_code tell(qrxc_coder* coder, qrxc_code code, const char* format,
                                             ...);
qrxc_code done(qrxc_coder* coder);
// The result that stands for a decoder's error. Throws std::bad_alloc where that is the reason.
qrxc_code tellDecoderError(qrxc_coder* coder, int error);

// A call of the interface: nothing passes to the host but what its own functions throw.
template <typename Work>
qrxc_code call(qrxc_coder* coder, const Work& work) {
  if (coder == nullptr) return QRXC_BAD_ARGUMENT;
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return tell(coder, QRXC_NO_MEMORY, "out of memory");
  }
}

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_C_INTERFACE_CODER_H_
