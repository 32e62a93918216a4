// Blocks of a strip from samples to entropy-coded bits: transform and quantisation of two MCUs at
// once, then the coefficients that are not zero, found by a mask.
#ifndef QRX_PRIMITIVES_STRIPS_CODE_ROW_H_
#define QRX_PRIMITIVES_STRIPS_CODE_ROW_H_

#include "primitives/huffman/codes.h"
#include "primitives/strips/clean_writer.h"
#include "primitives/strips/zigzag_order.h"
#include "primitives/transform/forward_simd.h"

namespace {
namespace strips {

// How the blocks of an MCU are made up.
struct McuShape {
  Layout layout;
  int components;

  static constexpr int kMostBlocks = 10;  // T.81 B.2.3

  // The first component has blocks all over the layout, and so has a fourth.
  constexpr int full() const { return layout.across * layout.down; }
  constexpr int blocks() const {
    return components == 1 ? full() : components == 3 ? full() + 2 : 2 * full() + 2;
  }
  constexpr int blocksOf(int i) const { return i == 0 || i == 3 ? full() : 1; }
  constexpr int componentOf(int block) const {
    return block < full() ? 0 : block < full() + 2 ? block - full() + 1 : 3;
  }
};

#ifdef __SSSE3__
constexpr bool kReorders = true;  // before the coder, by shuffles
#else
constexpr bool kReorders = false;  // the coder looks each value up
#endif

// A block on its way from the transform to the coder.
struct CodedBlock {
  // In zig-zag order if kReorders, else in natural order. Of AC those alone that are not zero need
  // be there.
  alignas(32) Ipp16s values[64];
  uint64_t places;  // which of them are not zero

  // The places of AC, by zig-zag place.
  uint64_t acPlaces() const {
    const bool areInZigzag = kReorders || places >> 1 == 0;
    return (areInZigzag ? places : zigzagMask(places)) & ~uint64_t{1};
  }
};

inline uint64_t lineOfBlock(const Ipp8u* from, int step, int line) {
  uint64_t samples;
  __builtin_memcpy(&samples, from + ptrdiff_t{line} * step, sizeof samples);
  return samples;
}

// What keeps the first and the last line of a block from being of one value; 0 if nothing does.
inline uint64_t unevenness(const Ipp8u* from, int step) {
  const uint64_t first = lineOfBlock(from, step, 0);
  return (first ^ (first >> 8 | first << 56)) | (first ^ lineOfBlock(from, step, 7));
}

// Whether each of two blocks side by side is of one value. Most that are not show it at once.
inline bool areFlat(const Ipp8u* from, int step) {
  if (__builtin_expect((unevenness(from, step) | unevenness(from + 8, step)) != 0, 1)) return false;
  uint64_t different = 0;
  for (int j = 1; j < 7; ++j) {
    different |= lineOfBlock(from, step, j) ^ lineOfBlock(from, step, 0);
    different |= lineOfBlock(from + 8, step, j) ^ lineOfBlock(from + 8, step, 0);
  }
  return different == 0;
}

inline void takeFlat(const FlatBlocks& flat, Ipp8u sample, CodedBlock* block) {
  block->values[0] = flat.dc[sample];
  block->places = block->values[0] != 0 ? 1 : 0;
}

// A block, or one in each half of the rows.
template <typename Vec>
class KeptBlocks {
 public:
  explicit KeptBlocks(CodedBlock* const* blocks) : blocks_(blocks) {}

  // Rows j and j + 1.
  void take(int j, Vec first, Vec second) {
    const unsigned places = ~signs8(equal8(narrow16(first, second), Vec::all16(0)));
    for (int i = 0; i < kBlocks; ++i) {
      places_[i] |= uint64_t{places >> 16 * i & 0xFFFF} << 8 * j;
      store(blocks_[i]->values + 8 * j, first.half(i));
      store(blocks_[i]->values + 8 * j + 8, second.half(i));
    }
  }

  void finish() const {
    for (int i = 0; i < kBlocks; ++i) blocks_[i]->places = places_[i];
  }

 private:
  static constexpr int kBlocks = Vec::kBytes / 16;

  CodedBlock* const* blocks_;
  uint64_t places_[kBlocks] = {};
};

template <typename Vec>
inline void keepBlocks(const simd::Rows<Vec>& rows, CodedBlock* const* blocks) {
  KeptBlocks<Vec> kept(blocks);
#ifdef __SSSE3__
  kept.take(0, zigzagRow<0>(rows), zigzagRow<1>(rows));
  if (!fillsTwoZigzagRows(rows)) {
    kept.take(2, zigzagRow<2>(rows), zigzagRow<3>(rows));
    kept.take(4, zigzagRow<4>(rows), zigzagRow<5>(rows));
    kept.take(6, zigzagRow<6>(rows), zigzagRow<7>(rows));
  }
#else
  for (int j = 0; j < 8; j += 2) kept.take(j, rows.row[j], rows.row[j + 1]);
#endif
  kept.finish();
}

#ifdef __AVX2__
// Two blocks side by side, one in each half of a vector.
inline void transformPair(const Ipp8u* from, int step, const simd::Quantiser& quantiser,
                          CodedBlock* left, CodedBlock* right) {
  using namespace simd;
  Rows<Vec256> rows = loadBlock<Vec256>(from, step);
  forwardTransform(&rows, quantiser);
  CodedBlock* const blocks[] = {left, right};
  keepBlocks(rows, blocks);
}
#else
inline void transformBlock(const Ipp8u* from, int step, const simd::Quantiser& quantiser,
                           CodedBlock* block) {
  using namespace simd;
  Rows<Vec128> rows = loadBlock<Vec128>(from, step);
  forwardTransform(&rows, quantiser);
  keepBlocks(rows, &block);
}

inline void transformPair(const Ipp8u* from, int step, const simd::Quantiser& quantiser,
                          CodedBlock* left, CodedBlock* right) {
  transformBlock(from, step, quantiser, left);
  transformBlock(from + 8, step, quantiser, right);
}
#endif

// Two blocks of component `i` side by side, or neither transformed where one value fills each.
inline void codedPair(const ScanOut& scan, int i, const simd::Quantiser& quantiser,
                      const Ipp8u* from, CodedBlock* left, CodedBlock* right) {
  const int step = scan.planes.step[i];
  if (scan.flat[i] != nullptr && areFlat(from, step)) {
    takeFlat(*scan.flat[i], from[0], left);
    takeFlat(*scan.flat[i], from[8], right);
  } else {
    transformPair(from, step, quantiser, left, right);
  }
}

// The blocks of MCUs `column` and the next one, in the order of the scan.
__attribute__((always_inline)) inline void transformMcus(
    const ScanOut& scan, McuShape shape, const simd::Quantiser* quantisers, int column,
    CodedBlock (*blocks)[McuShape::kMostBlocks]) {
  for (int i = 0, b = 0; i < shape.components; b += shape.blocksOf(i), ++i) {
    const int width = shape.blocksOf(i) == 1 ? 8 : 16;
    const auto from = [&](int line) {
      return scan.planes.plane[i] + ptrdiff_t{line} * scan.planes.step[i] +
             ptrdiff_t{width} * column;
    };
    if (width == 8) {
      codedPair(scan, i, quantisers[i], from(0), &blocks[0][b], &blocks[1][b]);
      continue;
    }
    for (int mcu = 0; mcu < 2; ++mcu) {
      for (int v = 0; v < shape.layout.down; ++v) {
        CodedBlock* const pair = &blocks[mcu][b + 2 * v];
        codedPair(scan, i, quantisers[i], from(8 * v) + 16 * mcu, pair, pair + 1);
      }
    }
  }
}

// False where the value has no joined code.
__attribute__((always_inline)) inline bool putJoined(const WideCodes& codes, uint64_t run,
                                                     int value, CleanBits* bits) {
  const unsigned place = static_cast<unsigned>(value) + kJoinedRuns.half[run];
  if (__builtin_expect(place >= kJoinedRuns.count[run], 0)) return false;
  bits->putJoined(codes.joined[kJoinedRuns.first[run] + place]);
  return true;
}

// A value that is too large for the joined codes. False where it has no code.
inline bool putLarge(const WideCodes& codes, uint64_t run, int value, unsigned largestSize,
                     CleanBits* bits) {
  const auto size = static_cast<unsigned>(category(value));
  if (size > largestSize) return false;
  const uint32_t code = codes.symbols[run << 4 | size];
  bits->put(uint64_t{code >> 8} << size | extraBits(value, static_cast<int>(size)),
            (code & 255) + size);
  return true;
}

// A coefficient without a joined code, and a flush. False where it has no code at all.
inline bool putRare(const WideCodes& ac, uint64_t run, int value, CleanBits* bits) {
  for (; run > 15; run -= 16) {
    bits->flush();
    bits->put(ac.symbols[0xF0] >> 8, ac.symbols[0xF0] & 255);
  }
  if (!putJoined(ac, run, value, bits) && !putLarge(ac, run, value, kLargestAcSize, bits)) {
    return false;
  }
  bits->flush();
  return true;
}

// The AC coefficients of a block that are not zero, in zig-zag order.
class Coefficients {
 public:
  explicit Coefficients(const CodedBlock& block)
      : values_(block.values), mask_(block.acPlaces() >> 1) {}

  bool isDone() const { return mask_ == 0; }

  // Writes the next one. False where it has no code.
  __attribute__((always_inline)) bool put(const WideCodes& ac, CleanBits* bits) {
    const auto run = static_cast<uint64_t>(__builtin_ctzll(mask_));
    mask_ = mask_ >> run >> 1;
    place_ += run + 1;
    const int value = values_[kReorders ? place_ : kNaturalPlaces.of[place_]];
    return putJoined(ac, run, value, bits) || putRare(ac, run, value, bits);
  }

 private:
  const Ipp16s* values_;
  uint64_t mask_;
  uint64_t place_ = 0;  // of the last one
};

// False, with an unknown number of bits written, where a value has no code. Two symbols of at most
// 27 bits go between flushes.
__attribute__((always_inline)) inline bool codeBlock(const CodedBlock& block, const WideCodes& dc,
                                                     const WideCodes& ac, Ipp16s* lastDc,
                                                     CleanBits* bits) {
  const int difference = block.values[0] - *lastDc;
  *lastDc = block.values[0];
  if (!putJoined(dc, 0, difference, bits) && !putLarge(dc, 0, difference, kLargestDcSize, bits)) {
    return false;
  }
  Coefficients left(block);
  while (!left.isDone()) {
    if (!left.put(ac, bits)) return false;
    bits->flush();
    if (left.isDone()) break;
    if (!left.put(ac, bits)) return false;
  }
  if (block.places >> 63 == 0) bits->put(ac.symbols[0] >> 8, ac.symbols[0] & 255);
  bits->flush();
  return true;
}

// Bytes that an MCU of so many blocks takes at most, all of them stuffed, with what is pending
// before it: of a DC coefficient 16 and 11 bits, of the others 16 and 10.
constexpr int worstMcu(int blocks) { return 2 * ((27 + 63 * 26) * blocks / 8 + 1 + 8 + 8); }

__attribute__((always_inline)) inline int codeRow(const ScanOut& scan, McuShape shape, int column,
                                                  int count, int stopAt) {
  const int position = load(scan.position);
  if (position < 0 || position > scan.length) return 0;
  CodedBlock blocks[2][McuShape::kMostBlocks];
  Ipp16s lastDc[kMostComponents];
  simd::Quantiser quantisers[kMostComponents];
  for (int i = 0; i < shape.components; ++i) {
    lastDc[i] = load(scan.lastDc[i]);
    quantisers[i] = simd::quantiserOf(scan.quant[i]);
  }
  StuffedBytes bytes(scan.bytes, position);
  CleanBits bits(bytes.begin(), *scan.state);
  const auto writeBytes = [&] {
    bytes.write(bits.to());
    bits.moveTo(bytes.begin());
  };
  int done = 0;
  while (done < count) {
    transformMcus(scan, shape, quantisers, column + done, blocks);
    const int together = count - done < 2 ? 1 : 2;
    for (int mcu = 0; mcu < together; ++mcu) {
      const int lastStart = scan.length - worstMcu(shape.blocks());
      if (bytes.isFull(bits.to()) || bytes.highestPosition(bits.to()) > lastStart) writeBytes();
      const CleanBits before = bits;
      Ipp16s dcBefore[kMostComponents];
      for (int i = 0; i < shape.components; ++i) dcBefore[i] = lastDc[i];
      bool coded = bytes.highestPosition(bits.to()) <= lastStart;
      for (int b = 0; b < shape.blocks() && coded; ++b) {
        const int i = shape.componentOf(b);
        coded = codeBlock(blocks[mcu][b], *scan.dc[i], *scan.ac[i], &lastDc[i], &bits);
      }
      if (__builtin_expect(!coded, 0)) {
        bits = before;
        for (int i = 0; i < shape.components; ++i) lastDc[i] = dcBefore[i];
        count = done;
        break;
      }
      ++done;
      if (bytes.highestPosition(bits.to()) <= stopAt) continue;
      writeBytes();
      if (bytes.position() > stopAt) {
        count = done;
        break;
      }
    }
  }
  writeBytes();
  store(scan.position, bytes.position());
  bits.close(scan.state);
  for (int i = 0; i < shape.components; ++i) store(scan.lastDc[i], lastDc[i]);
  return done;
}

// For the shapes of Y, Cb, Cr, each with loops of its own, and for all others together.
template <int kAcross, int kDown>
int codeColourRow(const ScanOut& scan, int column, int count, int stopAt) {
  return codeRow(scan, {{kAcross, kDown}, kComponents}, column, count, stopAt);
}

int codeOtherRow(const ScanOut& scan, int column, int count, int stopAt) {
  return codeRow(scan, {scan.layout, scan.components}, column, count, stopAt);
}

int code(const ScanOut& scan, int column, int count, int stopAt) {
  if (scan.components != kComponents) return codeOtherRow(scan, column, count, stopAt);
  if (scan.layout.across == 1) return codeColourRow<1, 1>(scan, column, count, stopAt);
  return scan.layout.down == 1 ? codeColourRow<2, 1>(scan, column, count, stopAt)
                               : codeColourRow<2, 2>(scan, column, count, stopAt);
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_CODE_ROW_H_
