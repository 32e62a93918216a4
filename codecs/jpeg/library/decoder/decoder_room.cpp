#include "codecs/jpeg/library/decoder/decoder_room.h"

#include <new>

namespace qrx::jpeg {

DecoderRoom* DecoderRoom::of(CJPEGDecoder& decoder) {
  if (decoder.room_ == nullptr) decoder.room_ = new (std::nothrow) DecoderRoom;
  return decoder.room_;
}

void DecoderRoom::startImage() {
  linesWritten = 0;
  scansSeen = 0;
  outputDue = false;
  forgetDestination();
}

void DecoderRoom::forgetDestination() {
  fourBytes = false;
  window.reset();
}

int setFourByteDestination(CJPEGDecoder& decoder) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->fourBytes = true;
  return JPEG_NO_ERROR;
}

int setPacketWindow(CJPEGDecoder& decoder, const PacketWindow& window) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->window = window;
  return JPEG_NO_ERROR;
}

int linesWritten(const CJPEGDecoder& decoder) {
  const DecoderRoom* const room = DecoderRoom::existing(decoder);
  return room != nullptr ? room->linesWritten : 0;
}

}  // namespace qrx::jpeg
