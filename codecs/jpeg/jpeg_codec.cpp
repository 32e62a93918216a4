// Entry points, and the codec object that the host gets from them.
#include "codecs/jpeg/jpeg_codec.h"

#include "codecs/jpeg/thread_coders.h"
#include "qrx/front_end.h"

namespace qrx::codec {
namespace {

constexpr std::uint32_t kCodecId = 0x10000;

}  // namespace

JpegCodec::JpegCodec() = default;

// The compressor goes first.
JpegCodec::~JpegCodec() { compressor_.reset(); }

const char* JpegCodec::getName() { return "JPEG"; }

bool JpegCodec::getIsLossless() { return false; }

bool JpegCodec::getSupportsUDP() { return true; }

std::uint32_t JpegCodec::id() { return kCodecId; }

Compressor* JpegCodec::getCompressor() {
  if (compressor_ == nullptr) compressor_ = std::make_unique<JpegCompressor>(this);
  return compressor_.get();
}

Decompressor* JpegCodec::getDecompressor() {
  if (decompressor_ == nullptr) decompressor_ = std::make_unique<JpegDecompressor>(this);
  return decompressor_.get();
}

void JpegCodec::release() { delete this; }

}  // namespace qrx::codec

extern "C" {

int version() { return 1; }

int initCodec() {
  jpeg_init();
  if (!qrx::codec::tilesStarted()) tiles_init();
  return 1;
}

qrx::codec::Codec* createCodec() { return new qrx::codec::JpegCodec; }

}  // extern "C"
