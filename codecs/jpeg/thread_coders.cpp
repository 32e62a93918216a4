// Thread keys, and the coders that threads hold under them.
#include "codecs/jpeg/thread_coders.h"

#include <cerrno>
#include <new>

#include "qrx/front_end.h"
#include "qrx/log.h"
#include "qrx/primitives.h"

namespace qrx {
namespace {

constexpr int kKeysPerProcess = 1024;

TLSKey tilesKey = kNoTLSKey;
TLSKey jpegKey = kNoTLSKey;

TLSKey createKey(void (*threadEnd)(void*)) {
  TLSKey key = kNoTLSKey;
  const int result = pthread_key_create(&key, threadEnd);
  if (result == 0) return key;
  if (result == EAGAIN) {
    qrx_printlog("QRX", 1, "ERROR", "qrx::TLSKey qrx::createTLSKey()", false,
                 "Reached the maximum number of keys per thread: %d", kKeysPerProcess);
  }
  return kNoTLSKey;
}

void deleteKey(TLSKey* key) {
  if (*key != kNoTLSKey) pthread_key_delete(*key);
  *key = kNoTLSKey;
}

void endThread(void* coders) { delete static_cast<codec::ThreadCoders*>(coders); }

codec::ThreadCoders* contextOf(TLSKey key) {
  if (key == kNoTLSKey) return nullptr;
  void* held = pthread_getspecific(key);
  if (held != nullptr) return static_cast<codec::ThreadCoders*>(held);
  auto coders = std::make_unique<codec::ThreadCoders>();
  if (pthread_setspecific(key, coders.get()) != 0) throw std::bad_alloc();
  return coders.release();
}

}  // namespace

TLSKey createTLSKey() { return createKey(TLSKeyVerifier); }

void TLSKeyVerifier(void*) {}

namespace codec {

ThreadCoders* getJpegContext() { return contextOf(jpegKey); }

ThreadCoders* getTilesContext() { return contextOf(tilesKey); }

bool tilesStarted() { return tilesKey != kNoTLSKey; }

}  // namespace codec
}  // namespace qrx

extern "C" {

void jpeg_init() {
  ippInit();
  qrx::jpegKey = qrx::createKey(qrx::endThread);
}

void tiles_init() {
  ippInit();
  qrx::tilesKey = qrx::createKey(qrx::endThread);
}

void jpeg_fini() { qrx::deleteKey(&qrx::jpegKey); }

void tiles_fini() { qrx::deleteKey(&qrx::tilesKey); }

}  // extern "C"
