// Blocks of a strip from samples to entropy-coded bits: transform and quantisation of two MCUs at
// once, then the coefficients that are not zero, found by a mask.
#ifndef QRX_PRIMITIVES_STRIPS_CODE_ROW_H_
#define QRX_PRIMITIVES_STRIPS_CODE_ROW_H_

#include "primitives/huffman/codes.h"
#include "primitives/strips/clean_writer.h"
#include "primitives/transform/forward_simd.h"
#include "primitives/zigzag.h"

namespace {
namespace strips {

constexpr int kMaxBlocksPerMcu = 6;

// A block on its way from the transform to the coder, in natural order.
struct CodedBlock {
  alignas(32) Ipp16s values[64];  // of AC those alone that are not zero need be there
  uint64_t places;                // which values are not zero
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

#ifdef __AVX2__
// Two blocks side by side, one in each half of a vector.
inline void transformPair(const Ipp8u* from, int step, const Ipp16u* quant, CodedBlock* left,
                          CodedBlock* right) {
  using namespace simd;
  Rows<Vec256> rows;
  for (int j = 0; j < 8; ++j) {
    rows.row[j] = sub16(Vec256::widened(from + ptrdiff_t{j} * step), Vec256::all16(128));
  }
  forwardTransform(&rows, quant);
  left->places = right->places = 0;
  for (int j = 0; j < 8; j += 2) {
    const Vec256 bytes = narrow16(rows.row[j], rows.row[j + 1]);
    const unsigned places = ~signs8(equal8(bytes, Vec256::all16(0)));
    left->places |= uint64_t{places & 0xFFFF} << 8 * j;
    right->places |= uint64_t{places >> 16} << 8 * j;
  }
  for (int j = 0; j < 8; ++j) {
    store(left->values + 8 * j, rows.row[j].lower());
    store(right->values + 8 * j, rows.row[j].upper());
  }
}
#else
inline void transformBlock(const Ipp8u* from, int step, const Ipp16u* quant, CodedBlock* block) {
  using namespace simd;
  Rows<Vec128> rows;
  for (int j = 0; j < 8; ++j) rows.row[j] = levelShifted(from + ptrdiff_t{j} * step);
  forwardTransform(&rows, quant);
  block->places = 0;
  for (int j = 0; j < 8; j += 2) {
    const Vec128 bytes = narrow16(rows.row[j], rows.row[j + 1]);
    const unsigned places = ~signs8(equal8(bytes, Vec128::all16(0))) & 0xFFFF;
    block->places |= uint64_t{places} << 8 * j;
  }
  for (int j = 0; j < 8; ++j) store(block->values + 8 * j, rows.row[j]);
}

inline void transformPair(const Ipp8u* from, int step, const Ipp16u* quant, CodedBlock* left,
                          CodedBlock* right) {
  transformBlock(from, step, quant, left);
  transformBlock(from + 8, step, quant, right);
}
#endif

// Two blocks of component `i` side by side, or neither transformed where one value fills each.
inline void codedPair(const ScanOut& scan, int i, const Ipp8u* from, CodedBlock* left,
                      CodedBlock* right) {
  const int step = scan.planes.step[i];
  if (scan.flat[i] != nullptr && areFlat(from, step)) {
    takeFlat(*scan.flat[i], from[0], left);
    takeFlat(*scan.flat[i], from[8], right);
  } else {
    transformPair(from, step, scan.quant[i], left, right);
  }
}

// The blocks of MCUs `column` and the next one, in the order of the scan.
template <int kAcross, int kDown>
inline void transformMcus(const ScanOut& scan, int column, CodedBlock (*blocks)[kMaxBlocksPerMcu]) {
  const auto from = [&](int i, int width, int line) {
    return scan.planes.plane[i] + ptrdiff_t{line} * scan.planes.step[i] + ptrdiff_t{width} * column;
  };
  if constexpr (kAcross == 1) {
    codedPair(scan, 0, from(0, 8, 0), &blocks[0][0], &blocks[1][0]);
  } else {
    for (int mcu = 0; mcu < 2; ++mcu) {
      for (int v = 0; v < kDown; ++v) {
        codedPair(scan, 0, from(0, 16, 8 * v) + 16 * mcu, &blocks[mcu][2 * v],
                  &blocks[mcu][2 * v + 1]);
      }
    }
  }
  for (int i = 1; i < kComponents; ++i) {
    constexpr int kLuma = kAcross * kDown;
    codedPair(scan, i, from(i, 8, 0), &blocks[0][kLuma + i - 1], &blocks[1][kLuma + i - 1]);
  }
}

// By zig-zag place.
struct NaturalPlaces {
  Ipp8u of[64];
};

constexpr NaturalPlaces naturalPlaces() {
  NaturalPlaces places = {};
  for (int k = 0; k < 64; ++k) places.of[k] = static_cast<Ipp8u>(own_pj_izigzag_index[k]);
  return places;
}

constexpr NaturalPlaces kNaturalPlaces = naturalPlaces();

inline uint64_t zigzagMask(uint64_t places) {
  const auto row = [&](int j) { return kZigzagMasks.of[j][places >> 8 * j & 255]; };
  return row(0) | row(1) | row(2) | row(3) | row(4) | row(5) | row(6) | row(7);
}

inline bool isJoined(unsigned run, int value) {
  const int half = kJoinedRuns.half[run];
  return static_cast<unsigned>(value + half) < static_cast<unsigned>(2 * half);
}

// A value that is too large for the joined codes. False where it has no code.
inline bool putLarge(const WideCodes& codes, unsigned run, int value, unsigned largestSize,
                     CleanBits* bits) {
  const auto size = static_cast<unsigned>(category(value));
  if (size > largestSize) return false;
  const uint32_t code = codes.symbols[run << 4 | size];
  bits->put(uint64_t{code >> 8} << size | extraBits(value, static_cast<int>(size)),
            (code & 255) + size);
  return true;
}

// The coefficients of a block that are not zero, in zig-zag order.
class Coefficients {
 public:
  explicit Coefficients(const CodedBlock& block)
      : block_(block), mask_(block.places >> 1 != 0 ? zigzagMask(block.places) >> 1 : 0) {}

  bool isDone() const { return mask_ == 0; }
  bool wasLastPlace() const { return place_ == kNaturalPlaces.of + 63; }

  // Writes the next one. False where it has no code.
  __attribute__((always_inline)) bool put(const WideCodes& ac, CleanBits* bits) {
    auto run = static_cast<unsigned>(__builtin_ctzll(mask_));
    mask_ = mask_ >> run >> 1;
    place_ += run + 1;
    const int value = block_.values[*place_];
    for (; __builtin_expect(run > 15, 0); run -= 16) {
      bits->flush();
      bits->put(ac.symbols[0xF0] >> 8, ac.symbols[0xF0] & 255);
    }
    if (__builtin_expect(isJoined(run, value), 1)) {
      bits->putJoined(ac.joined[kJoinedRuns.centre[run] + value]);
      return true;
    }
    return putLarge(ac, run, value, kLargestAcSize, bits);
  }

 private:
  const CodedBlock& block_;
  uint64_t mask_;
  const Ipp8u* place_ = kNaturalPlaces.of;  // of the last one
};

// False, with an unknown number of bits written, where a value has no code. Two symbols of at most
// 27 bits go between flushes.
__attribute__((always_inline)) inline bool codeBlock(const CodedBlock& block, const WideCodes& dc,
                                                     const WideCodes& ac, Ipp16s* lastDc,
                                                     CleanBits* bits) {
  const int difference = block.values[0] - *lastDc;
  *lastDc = block.values[0];
  if (__builtin_expect(isJoined(0, difference), 1)) {
    bits->putJoined(dc.joined[kJoinedRuns.centre[0] + difference]);
  } else if (!putLarge(dc, 0, difference, kLargestDcSize, bits)) {
    return false;
  }
  Coefficients left(block);
  while (!left.isDone()) {
    if (!left.put(ac, bits)) return false;
    bits->flush();
    if (left.isDone()) break;
    if (!left.put(ac, bits)) return false;
  }
  if (!left.wasLastPlace()) bits->put(ac.symbols[0] >> 8, ac.symbols[0] & 255);
  bits->flush();
  return true;
}

// Bytes that an MCU of so many blocks takes at most, all of them stuffed, with what is pending
// before it: of a DC coefficient 16 and 11 bits, of the others 16 and 10.
constexpr int worstMcu(int blocks) { return 2 * ((27 + 63 * 26) * blocks / 8 + 1 + 8 + 8); }

template <int kAcross, int kDown>
inline int codeRow(const ScanOut& scan, int column, int count, int stopAt) {
  constexpr int kLuma = kAcross * kDown, kBlocks = kLuma + 2;
  const int position = load(scan.position);
  if (position < 0 || position > scan.length) return 0;
  CodedBlock blocks[2][kMaxBlocksPerMcu];
  Ipp16s lastDc[kComponents];
  for (int i = 0; i < kComponents; ++i) lastDc[i] = load(scan.lastDc[i]);
  StuffedBytes bytes(scan.bytes, position);
  CleanBits bits(bytes.begin(), *scan.state);
  const auto writeBytes = [&] {
    bytes.write(bits.to());
    bits.moveTo(bytes.begin());
  };
  int done = 0;
  while (done < count) {
    transformMcus<kAcross, kDown>(scan, column + done, blocks);
    const int together = count - done < 2 ? 1 : 2;
    for (int mcu = 0; mcu < together; ++mcu) {
      const int lastStart = scan.length - worstMcu(kBlocks);
      if (bytes.isFull(bits.to()) || bytes.highestPosition(bits.to()) > lastStart) writeBytes();
      const CleanBits before = bits;
      Ipp16s dcBefore[kComponents];
      for (int i = 0; i < kComponents; ++i) dcBefore[i] = lastDc[i];
      bool coded = bytes.highestPosition(bits.to()) <= lastStart;
      for (int b = 0; b < kBlocks && coded; ++b) {
        const int i = b < kLuma ? 0 : b - kLuma + 1;
        coded = codeBlock(blocks[mcu][b], *scan.dc[i], *scan.ac[i], &lastDc[i], &bits);
      }
      if (__builtin_expect(!coded, 0)) {
        bits = before;
        for (int i = 0; i < kComponents; ++i) lastDc[i] = dcBefore[i];
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
  for (int i = 0; i < kComponents; ++i) store(scan.lastDc[i], lastDc[i]);
  return done;
}

int code(const ScanOut& scan, int column, int count, int stopAt) {
  if (scan.layout.across == 1) return codeRow<1, 1>(scan, column, count, stopAt);
  return scan.layout.down == 1 ? codeRow<2, 1>(scan, column, count, stopAt)
                               : codeRow<2, 2>(scan, column, count, stopAt);
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_CODE_ROW_H_
