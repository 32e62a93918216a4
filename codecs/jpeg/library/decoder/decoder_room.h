// What a decoder keeps beside its stated fields, from image to image: made on first use, and
// without throwing.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_ROOM_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_ROOM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "codecs/jpeg/library/plane_room.h"
#include "primitives/strips/wide_tables.h"
#include "qrx/jpeg_decoder.h"

namespace qrx::jpeg {

// Where the pixels of a packet go in its rectangle, instead of to lines of their own: its first row
// starts `left` pixels from the rectangle's left edge, the others there.
struct PacketWindow {
  Ipp8u* pixels;       // of the rectangle's line where the packet's first row starts
  std::int64_t count;  // of pixels from there to the end of what may be written
  int width;           // of the rectangle
  int left;
  std::ptrdiff_t step = 0;  // bytes from line to line; 0 for lines without a gap
};

// What the tables of a packet came to. Where packets follow each other they need not be made again.
struct PacketTables {
  bool made = false;
  int quality;
  Ipp8u raw[2][64];
  Ipp16u inverse[2][64];
  IppiDecodeHuffmanSpec specs[4];  // in the order of DefaultHuffmanTables
};

// Which of the things made of a decoder's tables are known to be in step with them. Where others
// get at the decoder nothing is known for longer than a scan.
struct KnownTables {
  bool lasts = false;
  bool packet = false;
  bool dc[4] = {}, ac[4] = {};

  void forget() { *this = {lasts}; }
};

// What is kept of a progressive image beside its coefficients: per block of a component, which of
// them hold something.
struct BandRoom {
  // Sees to room for `blocks` blocks; what it held is kept, unless it was too small or far too
  // large. False without memory.
  bool fit(std::ptrdiff_t blocks);
  std::uint64_t* places() { return reinterpret_cast<std::uint64_t*>(memory.get()); }
  // None of the blocks holds anything.
  void clear(std::ptrdiff_t blocks);
  void forget();
  void startRun();
  void endRun() { inRun = false; }

  bool inRun = false;  // over the data: nobody else gets at the coefficients
  bool known[3] = {};  // by component, whether it is in step with the coefficients
  strips::WideTable tables[4] = {};
  std::unique_ptr<Ipp8u[]> memory;
  std::int64_t size = 0;
};

struct DecoderRoom {
  // Null without memory.
  static DecoderRoom* of(CJPEGDecoder& decoder);
  // Null where none was made yet.
  static DecoderRoom* existing(const CJPEGDecoder& decoder) { return decoder.room_; }

  // Notes that a row of `mcus` MCUs was decoded up to MCU `done`.
  void noteRow(int done, int mcus) {
    if (isFaulty) return;
    goodMcus += done;
    isFaulty = done < mcus;
    if (!isFaulty) ++goodRows;
  }

  // A sequential scan shows the whole image anew, whatever became of the one before.
  void startScan() {
    goodMcus = 0;
    goodRows = 0;
    isFaulty = false;
  }

  // Forget what belongs to one image, and of that what belongs to its destination.
  void startImage();
  void forgetDestination();

  int linesWritten = 0;          // of the destination, by this image
  int scansSeen = 0;             // of the data run so far
  std::int64_t pixelsShown = 0;  // before its end
  // What became of the entropy-coded data, which no result tells: MCUs, and rows of them from the
  // top, in front of the first fault. Only its own rows count for a progressive image.
  std::int64_t goodMcus = 0;
  int goodRows = 0;
  bool isFaulty = false;
  bool lacksMemory = false;  // where the result says JPEG_INTERNAL_ERROR
  bool outputDue = false;    // a complete progressive image whose last scan was not shown yet

  // Of the destination, beside what SetDestination tells; SetSource forgets it.
  bool fourBytes = false;  // pixels of three channels have a fourth byte, which stays as it is
  std::optional<PacketWindow> window;
  std::ptrdiff_t wideStep = 0;  // in the place of dest_step; 0 for none

  bool isQuiet = false;  // nothing goes to the standard error stream

  PacketTables packetTables;
  KnownTables known;
  std::optional<int> heldMcus;  // of block_buffer, the first that hold blocks, unless all do

  // What the fused routes work with.
  PlaneRoom planes;
  strips::WideTable dcTables[4] = {};
  strips::AcTable acTables[4] = {};
  BandRoom bands;
  std::unique_ptr<Ipp8u[]> pixels;  // of a strip, on their way to a place of another kind
  std::int64_t pixelsSize = 0;
};

// Notes that a step failed for want of memory, which its result does not tell.
void noteLackOfMemory(const CJPEGDecoder& decoder);

// Lines of the destination that the image has written, from the top.
int linesWritten(const CJPEGDecoder& decoder);

// Tell more of the destination, after SetDestination. JPEG_OUT_OF_MEMORY.
int setFourByteDestination(CJPEGDecoder& decoder);
// A step outside of what dest_step can say: below 0, or beyond an int.
int setWideStep(CJPEGDecoder& decoder, std::ptrdiff_t step);
// Of ReadDataTiles: the packet's own pixels go to their places in the rectangle, and no others.
int setPacketWindow(CJPEGDecoder& decoder, const PacketWindow& window);

// Nobody but the library gets at the decoder: its tables change where data brings some.
void keepTables(CJPEGDecoder& decoder);
// Notes that a table is about to change.
void noteTableChange(const CJPEGDecoder& decoder);

// Keeps the decoder from the standard error stream, from now on. JPEG_OUT_OF_MEMORY.
int silence(CJPEGDecoder& decoder);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_ROOM_H_
