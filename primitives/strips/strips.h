// Fused routes for a strip: a row of MCUs at a time, where the primitives take a block or a row of
// samples. They are what is fast; the primitives stay the contract, and every route gives what the
// primitives give one after another (strips_ref.h): bytes, samples, pixels, positions, records.
//
// Each processor form has all routes, in a constant table by slot. Callers read the slot word
// before each strip, so that a host that changes it is obeyed.
//
// Where the wide tables and registers do not serve, a block goes through the form's primitives.
#ifndef QRX_PRIMITIVES_STRIPS_STRIPS_H_
#define QRX_PRIMITIVES_STRIPS_STRIPS_H_

#include <stddef.h>

#include "primitives/strips/flat_blocks.h"
#include "primitives/strips/wide_tables.h"
#include "qrx/primitives.h"

namespace qrx::strips {

// Y, Cb, Cr, as everywhere below.
constexpr int kComponents = 3;
// Other colours have one to four. The routes code one, three or four, and decode one or three.
constexpr int kMostComponents = 4;

// Luma blocks of an MCU: 1x1, 2x1 or 2x2. Chroma has one block of each component.
struct Layout {
  int across, down;
};

// How a pixel lies in memory: 3 or 4 bytes, of which the fourth is neither read nor changed; red at
// place 0 and blue at place 2, or the other way round.
struct PixelFormat {
  int bytes;
  int red;
};

// One plane per component for a strip. A line holds whole MCUs, rounded up to an even number of
// them, and has kGuard bytes in front of it and behind it that belong to it too.
constexpr int kGuard = 64;
struct Planes {
  Ipp8u* plane[kMostComponents];  // the first sample
  int step[kMostComponents];      // bytes from line to line
};

// --- Out

struct PixelsIn {
  PixelFormat format;
  const Ipp8u* pixels;
  ptrdiff_t step;  // bytes from line to line
  int width;       // of the image: how a pixel is rounded depends on it
  int lines;       // of the image in this strip, 1 to 8 * layout.down
};

// What quantisation tables give (32768 for a step of 1); the primitive takes others too.
constexpr int kLargestMultiplier = 32768;

// What one scan codes with, and where to.
struct ScanOut {
  Layout layout;
  int components;  // 1, whose layout is 1x1; 3; 4, the last of which has as many blocks as the
                   // first
  Planes planes;
  const Ipp16u* quant[kMostComponents];  // of the forward transform, up to kLargestMultiplier
  // Made with these, and complete; null where there are none.
  const FlatBlocks* flat[kMostComponents];
  const WideCodes* dc[kMostComponents];
  const WideCodes* ac[kMostComponents];
  Ipp16s* lastDc[kMostComponents];
  Ipp8u* bytes;
  int length;
  int* position;
  IppiEncodeHuffmanState* state;
};

// --- In

// Entropy-coded data that was read ahead: a stretch of it without its stuffing (clean_bytes.h).
struct ReadAhead {
  // In hand at the front, the longest MCU, 6 blocks of 248 bytes, with what is read at a time, the
  // rest of a word, and zeros for a block of 64 symbols of 31 bits and a word.
  static constexpr int kInHand = 8;
  static constexpr int kRoom = 2048;
  static constexpr int kBehind = 8 * 34;

  struct Bits {
    const Ipp8u* from;  // what is read next
    uint64_t bits;      // in front of it, at the top; below stand bits that come next
    int count;
  };

  bool isInForce = false;  // then `next` stands for position and state
  bool hasMore;            // whether there may be more to read
  int inHand, size;        // clean bytes: of those in hand at first, and in all
  Bits next;               // among the clean bytes
  Bits begun;              // in the data, where reading ahead began
  const Ipp8u* from;       // in the data, what is read next
  const Ipp8u* end;        // of the data
  Ipp8u bytes[kRoom + 8 + kBehind];
};

// What one scan is decoded with, and from where.
struct ScanIn {
  Layout layout;
  int components;  // 3, or 1, whose layout is 1x1
  Planes planes;
  const Ipp16u* quant[kComponents];  // factors of the inverse transform
  const WideTable* dc[kComponents];
  const AcTable* ac[kComponents];
  Ipp16s* lastDc[kComponents];
  Ipp16s* blocks;  // a strip's coefficients, MCU after MCU; from the row above until decoded anew
  int held;        // those of the first MCUs; behind them memory is unwritten
  const Ipp8u* bytes;
  int length;
  int* position;
  int* marker;
  IppiDecodeHuffmanState* state;
  // Where given, data is read ahead, and stays so from call to call: position and state hold after
  // `settle` alone. They may stand elsewhere than the primitives leave them, with more bits in hand
  // or fewer, as long as the data goes on at the same bit. Where fewer than 8 bits are in hand and
  // no byte of data follows, they stand where the primitives leave them.
  ReadAhead* ahead;
};

struct PixelsOut {
  PixelFormat format;
  Ipp8u* pixels;  // where column `first` of the first line goes
  ptrdiff_t step;
  int width;        // of the destination: how a pixel is rounded depends on it
  int first, last;  // the columns that are written, [first, last)
  int lines;        // that are written, 1 to 8 * layout.down
  int samples;      // of luma in a line of the planes: the filter repeats the sample at either end
  const Ipp8u* above[kComponents];  // 4:2:0: line of chroma above the strip, guards included
};

// --- The routes

struct Routes {
  // Converts, reduces and pads a strip: colour as ippiBGRToYCbCr and ippiRGBToYCbCr, reduction as
  // ippiSampleDown, the last pixel and the last line repeated up to `mcus` whole MCUs.
  void (*toPlanes)(const PixelsIn& in, Layout layout, int mcus, const Planes& planes);

  // Transforms, quantises and codes `count` MCUs from `column` on, none after the first behind
  // which the position is above `stopAt`. Returns how many were coded; fewer than that where the
  // next one has to go through the primitives, because its worst case does not fit or it holds a
  // value without a code. Reads MCUs in twos: with an odd count, samples of the one behind them
  // too.
  int (*code)(const ScanOut& scan, int column, int count, int stopAt);

  // Decodes `count` MCUs from `column` on into blocks and planes. Returns how many; fewer where the
  // data of the next one is damaged or ends. That one's blocks are as far as they were decoded,
  // what lies behind them and the samples are as before; if it was not held, zeros lie behind.
  int (*decode)(const ScanIn& scan, int column, int count);

  // Gives position and state back from what was read ahead. Once behind the last call of `decode`.
  void (*settle)(const ScanIn& scan);

  // Blocks of `count` MCUs from `column` on, whatever they hold, to samples.
  void (*transform)(const ScanIn& scan, int column, int count);

  // Enlarges chroma and converts to pixels, as ippiSampleUp and ippiYCbCrTo(RGB, BGR). Sets guards.
  void (*toPixels)(const PixelsOut& out, Layout layout, const Planes& planes);
};

// By slot, which is read anew for each strip.
extern const Routes* const kRoutes[7];

}  // namespace qrx::strips

#endif  // QRX_PRIMITIVES_STRIPS_STRIPS_H_
