#include "codecs/jpeg/library/decoder/decoder_room.h"

#include <new>

namespace qrx::jpeg {

DecoderRoom* DecoderRoom::of(CJPEGDecoder& decoder) {
  if (decoder.room_ == nullptr) decoder.room_ = new (std::nothrow) DecoderRoom;
  return decoder.room_;
}

int linesWritten(const CJPEGDecoder& decoder) {
  const DecoderRoom* const room = DecoderRoom::existing(decoder);
  return room != nullptr ? room->linesWritten : 0;
}

}  // namespace qrx::jpeg
