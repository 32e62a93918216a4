// Blocks of a strip from samples to entropy-coded bits: transform and quantisation of two MCUs at
// once, then the coefficients that are not zero, found by a mask.
#ifndef QRX_PRIMITIVES_STRIPS_CODE_ROW_H_
#define QRX_PRIMITIVES_STRIPS_CODE_ROW_H_

#include "primitives/huffman/codes.h"
#include "primitives/strips/row_writer.h"
#include "primitives/transform/forward_simd.h"
#include "primitives/zigzag.h"

namespace {
namespace strips {

constexpr int kMaxBlocksPerMcu = 6;

// A block on its way from the transform to the coder, in natural order.
struct CodedBlock {
  alignas(32) Ipp16s values[64];
  uint64_t places;  // which values are not zero
};

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

// The blocks of MCUs `column` and the next one, in the order of the scan.
template <int kAcross, int kDown>
inline void transformMcus(const ScanOut& scan, int column, CodedBlock (*blocks)[kMaxBlocksPerMcu]) {
  const auto from = [&](int i, int width, int line) {
    return scan.planes.plane[i] + ptrdiff_t{line} * scan.planes.step[i] + ptrdiff_t{width} * column;
  };
  if constexpr (kAcross == 1) {
    transformPair(from(0, 8, 0), scan.planes.step[0], scan.quant[0], &blocks[0][0], &blocks[1][0]);
  } else {
    for (int mcu = 0; mcu < 2; ++mcu) {
      for (int v = 0; v < kDown; ++v) {
        transformPair(from(0, 16, 8 * v) + 16 * mcu, scan.planes.step[0], scan.quant[0],
                      &blocks[mcu][2 * v], &blocks[mcu][2 * v + 1]);
      }
    }
  }
  for (int i = 1; i < kComponents; ++i) {
    constexpr int kLuma = kAcross * kDown;
    transformPair(from(i, 8, 0), scan.planes.step[i], scan.quant[i], &blocks[0][kLuma + i - 1],
                  &blocks[1][kLuma + i - 1]);
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
                     RowWriter* writer) {
  const auto size = static_cast<unsigned>(category(value));
  if (size > largestSize) return false;
  const uint32_t code = codes.symbols[run << 4 | size];
  writer->put(uint64_t{code >> 8} << size | extraBits(value, static_cast<int>(size)),
              (code & 255) + size);
  return true;
}

// False, with an unknown number of bits written, where a value has no code.
__attribute__((always_inline)) inline bool codeBlock(const CodedBlock& block, const WideCodes& dc,
                                                     const WideCodes& ac, Ipp16s* lastDc,
                                                     RowWriter* writer) {
  const int difference = block.values[0] - *lastDc;
  *lastDc = block.values[0];
  if (__builtin_expect(isJoined(0, difference), 1)) {
    writer->putJoined(dc.joined[kJoinedRuns.centre[0] + difference]);
  } else if (!putLarge(dc, 0, difference, kLargestDcSize, writer)) {
    return false;
  }

  uint64_t mask = block.places >> 1 != 0 ? zigzagMask(block.places) >> 1 : 0;
  const Ipp8u* place = kNaturalPlaces.of;  // of the last coefficient
  while (mask != 0) {
    auto run = static_cast<unsigned>(__builtin_ctzll(mask));
    mask = mask >> run >> 1;
    place += run + 1;
    const int value = block.values[*place];
    for (; __builtin_expect(run > 15, 0); run -= 16) {
      writer->put(ac.symbols[0xF0] >> 8, ac.symbols[0xF0] & 255);
    }
    if (__builtin_expect(isJoined(run, value), 1)) {
      writer->putJoined(ac.joined[kJoinedRuns.centre[run] + value]);
    } else if (!putLarge(ac, run, value, kLargestAcSize, writer)) {
      return false;
    }
  }
  if (place != kNaturalPlaces.of + 63) writer->put(ac.symbols[0] >> 8, ac.symbols[0] & 255);
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
  RowWriter writer(scan.bytes, position, *scan.state);
  RowWriter before = writer;
  int done = 0;
  while (done < count) {
    transformMcus<kAcross, kDown>(scan, column + done, blocks);
    const int together = count - done < 2 ? 1 : 2;
    for (int mcu = 0; mcu < together; ++mcu) {
      before = writer;
      Ipp16s dcBefore[kComponents];
      for (int i = 0; i < kComponents; ++i) dcBefore[i] = lastDc[i];
      bool coded = writer.roomBefore(scan.length) >= worstMcu(kBlocks);
      for (int b = 0; b < kBlocks && coded; ++b) {
        const int i = b < kLuma ? 0 : b - kLuma + 1;
        coded = codeBlock(blocks[mcu][b], *scan.dc[i], *scan.ac[i], &lastDc[i], &writer);
      }
      if (__builtin_expect(!coded, 0)) {
        writer = before;
        for (int i = 0; i < kComponents; ++i) lastDc[i] = dcBefore[i];
        count = done;
        break;
      }
      ++done;
      if (writer.lowestPosition() > stopAt - 16 && writer.position() > stopAt) {
        count = done;
        break;
      }
    }
  }
  writer.close(scan.position, scan.state);
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
