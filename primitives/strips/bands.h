// Fused routes for the scans of a progressive image, which work on the coefficients of the whole
// image. As with strips the primitives stay the contract: every route gives what they give one
// after another (bands_ref.h).
//
// A scan visits every block, but most blocks have nothing in its band. So the routes keep beside
// the coefficients which places of a block hold something, and look at nothing else.
#ifndef QRX_PRIMITIVES_STRIPS_BANDS_H_
#define QRX_PRIMITIVES_STRIPS_BANDS_H_

#include "primitives/strips/strips.h"

namespace qrx::strips {

// The coefficients of an image: MCU after MCU, each with its luma blocks, Cb and Cr.
struct Store {
  Layout layout;
  Ipp16s* coefficients;
  int mcusAcross, mcusDown;
};

// The blocks of a component that hold image data, as AC scans visit them: by line, then by column.
// What is kept of each block stands in that order.
struct Grid {
  int component;
  int lines, columns;
};

// --- Out

// Zig-zag places of AC coefficients whose magnitude is at least 1, 2 and 4: what is not zero after
// a point transform of 0, 1 and 2.
constexpr int kPointTransforms = 3;
struct Magnitudes {
  uint64_t atLeast[kPointTransforms];
};

struct StoreOut {
  Store store;
  Planes planes;                     // of the strip
  const Ipp16u* quant[kComponents];  // multipliers of the forward transform
  Grid grid[kComponents];
  Magnitudes* magnitudes[kComponents];
  Ipp16s* dc;  // of every block, in the order of the store
};

// Symbols of a scan with the bits that follow them, in the caller's room. What does not fit is
// worked out a second time. The rest is the routes' own.
constexpr int kLeastTokens = 2048;
struct Tokens {
  uint32_t* room;
  int capacity;  // kLeastTokens or more

  int64_t extraBits;      // of the whole scan
  int pieces;             // times that the room was filled
  int complete, pending;  // of the run of empty bands that is not over
  int eobRun, heldBits;
  int line, column;  // of the next block; line: of the next row of MCUs in a DC scan
  Ipp16s lastDc[kComponents];
  bool atEnd;
};

// A scan of one band of a component with a point transform of at most 2, a refinement with one of
// at most 1, or a scan of all DC coefficients. It has no restart intervals.
struct BandsOut {
  Store store;
  int Ss, Se, Ah, Al;
  Grid grid;                                         // of an AC scan
  const Magnitudes* magnitudes;                      // likewise
  const Ipp16s* dc;                                  // of a DC scan
  int* statistics[kComponents];                      // an AC scan takes the first
  const IppiEncodeHuffmanSpec* tables[kComponents];  // likewise
  Ipp8u* bytes;
  int length;
  int* position;
  IppiEncodeHuffmanState* state;
};

// --- In

struct BandsIn {
  Store store;
  int Ss, Se, Ah, Al;               // Ss 0: a scan of all DC coefficients
  Grid grid;                        // of an AC scan
  uint64_t* places;                 // likewise: AC coefficients that are not zero, by zig-zag place
  const IppiDecodeHuffmanSpec* ac;  // likewise
  const WideTable* first;           // made from it by makeBandTable, unless it is a refinement
  const WideTable* dc[kComponents];  // of a first DC scan
  Ipp16s* lastDc[kComponents];
  const Ipp8u* bytes;
  int length;
  int* position;
  int* marker;
  IppiDecodeHuffmanState* state;
};

// --- The routes

struct BandRoutes {
  // Transforms and quantises row `row` of MCUs into the store.
  void (*keep)(const StoreOut& out, int row);

  // Adds up the statistics of a scan. False where a value has no symbol.
  bool (*gather)(const BandsOut& scan, Tokens* tokens);

  // Codes the scan that was gathered last, with the last byte filled up, and clears the state.
  // False, with nothing done, where the worst case does not fit or a symbol has no code.
  bool (*code)(const BandsOut& scan, Tokens* tokens);

  // Decodes `count` blocks of an AC scan, or MCUs of a DC scan, from `from` on. Returns how many;
  // fewer where the next one has to go through the primitives, which find everything as it was
  // before it but for coefficients that they will set themselves.
  ptrdiff_t (*decode)(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count);

  // Sets the places of `count` blocks from `from` on, which the primitives have worked on.
  void (*note)(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count);
};

// By slot, which is read anew for each scan.
extern const BandRoutes* const kBandRoutes[7];

}  // namespace qrx::strips

#endif  // QRX_PRIMITIVES_STRIPS_BANDS_H_
