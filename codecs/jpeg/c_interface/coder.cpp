// Making and ending coders, and what they tell.
#include "codecs/jpeg/c_interface/coder.h"

#include <pthread.h>

#include <cstdarg>
#include <cstdio>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "qrx/primitives.h"

namespace qrx::codec {
namespace {

constexpr std::int32_t kVersion = 10100;

void choosesForms() { ippInit(); }

// Once in the process: a host that has chosen a slot of its own since then keeps it.
void start() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, choosesForms);
}

}  // namespace

qrxc_code tell(qrxc_coder* coder, qrxc_code code, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(coder->text.data(), coder->text.size(), format, arguments);
  va_end(arguments);
  if (coder->messages != nullptr) coder->messages(coder->user, code, coder->text.data());
  return code;
}

qrxc_code done(qrxc_coder* coder) {
  std::snprintf(coder->text.data(), coder->text.size(), "done");
  return QRXC_DONE;
}

qrxc_code tellDecoderError(qrxc_coder* coder, int error) {
  const auto* const room = jpeg::DecoderRoom::existing(coder->decoder);
  if (error == JPEG_OUT_OF_MEMORY || room->lacksMemory) throw std::bad_alloc();
  switch (error) {
    case JPEG_NOT_SUPPORTED:
      return tell(coder, QRXC_NOT_SUPPORTED, "a JPEG of a kind that is not served");
    default:
      return tell(coder, QRXC_BAD_DATA, "not a good JPEG: %s",
                  GetErrorStr(static_cast<_JPEG_ERROR>(error)));
  }
}

}  // namespace qrx::codec

using namespace qrx::codec;

extern "C" {

std::int32_t qrxc_version(void) { return kVersion; }

std::int32_t qrxc_slot(void) {
  start();
  return ippJumpIndexForMergedLibs;
}

qrxc_coder* qrxc_open(void) {
  start();
  auto* const coder = new (std::nothrow) qrxc_coder;
  if (coder == nullptr) return nullptr;
  if (qrx::jpeg::silence(coder->decoder) != JPEG_NO_ERROR) {
    delete coder;
    return nullptr;
  }
  done(coder);
  return coder;
}

void qrxc_close(qrxc_coder* coder) { delete coder; }

const char* qrxc_text(const qrxc_coder* coder) {
  return coder != nullptr ? coder->text.data() : "no coder";
}

void qrxc_set_messages(qrxc_coder* coder, qrxc_message_function function, void* user) {
  if (coder == nullptr) return;
  coder->messages = function;
  coder->user = user;
}

}  // extern "C"
