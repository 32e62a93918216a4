#include "codecs/jpeg/library/decoder/decoder_room.h"

#include <algorithm>
#include <new>

namespace qrx::jpeg {

bool BandRoom::fit(std::ptrdiff_t blocks) {
  const Ipp8u* const before = memory.get();
  const bool fits = fitBuffer(&memory, &size, std::int64_t{sizeof(std::uint64_t)} * blocks);
  if (!fits || memory.get() != before) forget();
  return fits;
}

void BandRoom::clear(std::ptrdiff_t blocks) {
  std::fill_n(places(), blocks, 0);
  std::fill(known, known + 3, true);
}

void BandRoom::forget() { std::fill(known, known + 3, false); }

void BandRoom::startRun() {
  inRun = true;
  forget();
}

DecoderRoom* DecoderRoom::of(CJPEGDecoder& decoder) {
  if (decoder.room_ == nullptr) decoder.room_ = new (std::nothrow) DecoderRoom;
  return decoder.room_;
}

void DecoderRoom::startImage() {
  linesWritten = 0;
  scansSeen = 0;
  pixelsShown = 0;
  outputDue = false;
  goodMcus = 0;
  goodRows = 0;
  isFaulty = false;
  lacksMemory = false;
  forgetDestination();
}

void DecoderRoom::forgetDestination() {
  fourBytes = false;
  wideStep = 0;
  window.reset();
}

int setFourByteDestination(CJPEGDecoder& decoder) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->fourBytes = true;
  return JPEG_NO_ERROR;
}

int setWideStep(CJPEGDecoder& decoder, std::ptrdiff_t step) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->wideStep = step;
  return JPEG_NO_ERROR;
}

int silence(CJPEGDecoder& decoder) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->isQuiet = true;
  return JPEG_NO_ERROR;
}

void keepTables(CJPEGDecoder& decoder) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room != nullptr) room->known.lasts = true;
}

void noteTableChange(const CJPEGDecoder& decoder) {
  DecoderRoom* const room = DecoderRoom::existing(decoder);
  if (room != nullptr) room->known.forget();
}

int setPacketWindow(CJPEGDecoder& decoder, const PacketWindow& window) {
  DecoderRoom* const room = DecoderRoom::of(decoder);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->window = window;
  return JPEG_NO_ERROR;
}

void noteLackOfMemory(const CJPEGDecoder& decoder) {
  DecoderRoom* const room = DecoderRoom::existing(decoder);
  if (room != nullptr) room->lacksMemory = true;
}

int linesWritten(const CJPEGDecoder& decoder) {
  const DecoderRoom* const room = DecoderRoom::existing(decoder);
  return room != nullptr ? room->linesWritten : 0;
}

}  // namespace qrx::jpeg
