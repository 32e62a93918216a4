// Blocks of a strip from entropy-coded bits to samples: wide look-ups, and an inverse transform
// that works no more rows than hold something, on two blocks at once where vectors allow it.
#ifndef QRX_PRIMITIVES_STRIPS_DECODE_ROW_H_
#define QRX_PRIMITIVES_STRIPS_DECODE_ROW_H_

#include "primitives/form.h"
#include "primitives/strips/row_reader.h"
#include "primitives/transform/inverse_simd.h"
#include "primitives/zigzag.h"

namespace {
namespace strips {

// By zig-zag place: the natural place, and the bit of its row. A run that leads past the block ends
// on its last coefficient; the end of a block leads further and belongs to no row.
constexpr int kPlaceCount = 63 + kEndOfBlock + 1;
struct Places {
  Ipp8u natural[kPlaceCount];
  Ipp8u rowBit[kPlaceCount];
};

constexpr Places places() {
  Places result = {};
  for (int k = 0; k < kPlaceCount; ++k) {
    const int natural = own_pj_izigzag_index[k < 63 ? k : 63];
    result.natural[k] = static_cast<Ipp8u>(natural);
    result.rowBit[k] = static_cast<Ipp8u>(k < kEndOfBlock ? 1 << natural / 8 : 0);
  }
  return result;
}

constexpr Places kPlaces = places();

constexpr unsigned kAllRows = 0xFF;
constexpr unsigned kUpperRows = 0x0F;

// The symbol at an entry that holds no value; -1 where the primitives have to say what there is.
inline int symbolAt(const WideTable::Entry& entry, const WideTable& table, RowReader* reader) {
  if (entry.skip == 0) {
    return entry.value == kStrangeSymbol ? -1 : reader->longSymbol(table.source);
  }
  reader->drop(entry.skip);
  return entry.value;
}

// Decodes a DC difference. False where the primitives have to do it.
__attribute__((always_inline)) inline bool decodeDcValue(const WideTable& table, RowReader* reader,
                                                         Ipp16s* lastDc) {
  if (!reader->refill()) return false;
  const WideTable::Entry entry = table.entries[reader->peek()];
  int difference = entry.value;
  if (__builtin_expect(entry.bits != 0, 1)) {
    reader->drop(entry.bits);
  } else {
    const int symbol = symbolAt(entry, table, reader);
    if (symbol < 0) return false;
    difference = reader->value(symbol & 15);
  }
  *lastDc = static_cast<Ipp16s>(*lastDc + difference);
  return true;
}

// *rows: bits of the rows that hold AC coefficients. False where the primitives have to decode it.
__attribute__((always_inline)) inline bool decodeBlock(const WideTable& dc, const WideTable& ac,
                                                       RowReader* reader, Ipp16s* lastDc,
                                                       Ipp16s* block, unsigned* rows) {
  __builtin_memset(block, 0, 64 * sizeof(Ipp16s));
  if (!decodeDcValue(dc, reader, lastDc)) return false;
  block[0] = *lastDc;

  unsigned used = 0;
  int k = 0;
  do {
    if (!reader->refill()) return false;
    const WideTable::Entry entry = ac.entries[reader->peek()];
    int value = entry.value;
    if (__builtin_expect(entry.bits != 0, 1)) {
      reader->drop(entry.bits);
      k += entry.skip;
    } else {
      const int symbol = symbolAt(entry, ac, reader);
      if (symbol < 0) return false;
      const int size = symbol & 15;
      if (size == 0 && symbol != 0xF0) break;
      value = reader->value(size);
      k += (symbol >> 4) + 1;
    }
    // The end of a block comes here too, and leaves a zero in a place that holds none.
    block[kPlaces.natural[k]] = static_cast<Ipp16s>(value);
    used |= kPlaces.rowBit[k];
  } while (k < 63);
  *rows = used;
  return true;
}

// A block of a DC coefficient alone: what the stages of the transform leave of it.
inline void transformDc(int dc, const Ipp16u* quant, Ipp8u* to, int step) {
  const auto factor = static_cast<uint32_t>(kRowFactors[0].a);
  const auto product = static_cast<Ipp16s>(dc * quant[0]);
  const uint32_t sum = factor * static_cast<uint32_t>(product) + kRowRounding[0];
  const int row = clampTo16s(static_cast<int32_t>(sum) >> 11);
  const auto line = [](int sample) {
    return clampTo8u((sample >> 6) + 128) * uint64_t{0x0101010101010101};
  };
  // Of the rounding terms of the other rows no more is left than a step in the two middle lines.
  const uint64_t usual = line(row), middle = line(row - 1);
  for (int j = 0; j < 8; ++j) {
    __builtin_memcpy(to + ptrdiff_t{j} * step, j == 3 || j == 4 ? &middle : &usual, 8);
  }
}

template <int kRows>
inline void transformOne(const Ipp16s* block, const Ipp16u* quant, Ipp8u* to, int step) {
  using namespace simd;
  Rows<Vec128> rows;
  for (int j = 0; j < kRows; ++j) rows.row[j] = Vec128::load(block + 8 * j);
  inverseTransform<kRows>(&rows, quant);
  for (int j = 0; j < 8; j += 2) {
    const Vec128 bytes = levelShiftedBack(rows.row[j], rows.row[j + 1]);
    storeLower(to + ptrdiff_t{j} * step, bytes);
    storeUpper(to + ptrdiff_t{j + 1} * step, bytes);
  }
}

inline void transformBlock(const Ipp16s* block, unsigned rows, const Ipp16u* quant, Ipp8u* to,
                           int step) {
  if (rows == 0) {
    transformDc(block[0], quant, to, step);
  } else if (rows <= kUpperRows) {
    transformOne<4>(block, quant, to, step);
  } else {
    transformOne<8>(block, quant, to, step);
  }
}

#ifdef __AVX2__
template <int kRows>
inline void transformTwo(const Ipp16s* left, const Ipp16s* right, const Ipp16u* quant, Ipp8u* to,
                         int step) {
  using namespace simd;
  Rows<Vec256> rows;
  for (int j = 0; j < kRows; ++j) {
    rows.row[j] = Vec256::joined(Vec128::load(left + 8 * j), Vec128::load(right + 8 * j));
  }
  inverseTransform<kRows>(&rows, quant);
  for (int j = 0; j < 8; j += 2) {
    const Vec256 bytes = exchangeMiddle64(levelShiftedBack(rows.row[j], rows.row[j + 1]));
    store(to + ptrdiff_t{j} * step, bytes.lower());
    store(to + ptrdiff_t{j + 1} * step, bytes.upper());
  }
}
#endif

// Two blocks side by side.
inline void transformPair(const Ipp16s* left, const Ipp16s* right, unsigned rowsLeft,
                          unsigned rowsRight, const Ipp16u* quant, Ipp8u* to, int step) {
#ifdef __AVX2__
  const unsigned rows = rowsLeft | rowsRight;
  if (rows > kUpperRows) return transformTwo<8>(left, right, quant, to, step);
  if (rows != 0) return transformTwo<4>(left, right, quant, to, step);
#endif
  transformBlock(left, rowsLeft, quant, to, step);
  transformBlock(right, rowsRight, quant, to + 8, step);
}

// Rows in use of the blocks of an MCU.
struct UsedRows {
  unsigned of[6];
};

template <int kAcross, int kDown>
struct McuPlace {
  static constexpr int kLuma = kAcross * kDown;
  static constexpr int kBlocks = kLuma + 2;

  // Of the MCU's block `b`.
  static constexpr int componentOf(int b) { return b < kLuma ? 0 : b - kLuma + 1; }

  // The samples of component `i` of MCU `column`, at line `line`.
  static Ipp8u* samples(const ScanIn& scan, int i, int column, int line) {
    const int width = i == 0 ? 8 * kAcross : 8;
    return scan.planes.plane[i] + ptrdiff_t{line} * scan.planes.step[i] + ptrdiff_t{width} * column;
  }
};

// The luma of an MCU whose MCUs are two blocks wide.
template <int kAcross, int kDown>
inline void transformWideLuma(const ScanIn& scan, int column, const Ipp16s* blocks,
                              const UsedRows& rows) {
  for (int v = 0; v < kDown; ++v) {
    transformPair(blocks + 128 * v, blocks + 128 * v + 64, rows.of[2 * v], rows.of[2 * v + 1],
                  scan.quant[0], McuPlace<kAcross, kDown>::samples(scan, 0, column, 8 * v),
                  scan.planes.step[0]);
  }
}

template <int kAcross, int kDown>
inline void transformMcu(const ScanIn& scan, int column, const UsedRows& rows) {
  using Place = McuPlace<kAcross, kDown>;
  const Ipp16s* blocks = scan.blocks + ptrdiff_t{64} * Place::kBlocks * column;
  if constexpr (kAcross == 2) transformWideLuma<kAcross, kDown>(scan, column, blocks, rows);
  for (int i = kAcross == 2 ? 1 : 0; i < kComponents; ++i) {
    const int b = i == 0 ? 0 : Place::kLuma + i - 1;
    transformBlock(blocks + 64 * b, rows.of[b], scan.quant[i], Place::samples(scan, i, column, 0),
                   scan.planes.step[i]);
  }
}

template <int kAcross, int kDown>
inline void transformTwoMcus(const ScanIn& scan, int column, const UsedRows (&rows)[2]) {
  using Place = McuPlace<kAcross, kDown>;
  const Ipp16s* left = scan.blocks + ptrdiff_t{64} * Place::kBlocks * column;
  const Ipp16s* right = left + 64 * Place::kBlocks;
  if constexpr (kAcross == 2) {
    transformWideLuma<kAcross, kDown>(scan, column, left, rows[0]);
    transformWideLuma<kAcross, kDown>(scan, column + 1, right, rows[1]);
  }
  for (int i = kAcross == 2 ? 1 : 0; i < kComponents; ++i) {
    const int b = i == 0 ? 0 : Place::kLuma + i - 1;
    transformPair(left + 64 * b, right + 64 * b, rows[0].of[b], rows[1].of[b], scan.quant[i],
                  Place::samples(scan, i, column, 0), scan.planes.step[i]);
  }
}

// The blocks of an MCU by the form's primitive, with the records in force. False where the data is
// damaged: that block is as far as it was decoded.
template <int kAcross, int kDown>
__attribute__((noinline)) bool decodeMcuByPrimitive(const ScanIn& scan, Ipp16s* block,
                                                    UsedRows* rows) {
  using Place = McuPlace<kAcross, kDown>;
  for (int b = 0; b < Place::kBlocks; ++b, block += 64) {
    const int i = Place::componentOf(b);
    rows->of[b] = kAllRows;
    if (FORM(ippiDecodeHuffman8x8_JPEG_1u16s_C1)(scan.bytes, scan.length, scan.position, block,
                                                 scan.lastDc[i], scan.marker, &scan.dc[i]->source,
                                                 &scan.ac[i]->source, scan.state) < 0) {
      return false;
    }
  }
  return true;
}

// The predictions of a scan while the reader is in force.
struct Predictions {
  Ipp16s of[kComponents];

  void load(const ScanIn& scan) {
    for (int i = 0; i < kComponents; ++i) of[i] = ::load(scan.lastDc[i]);
  }
  void store(const ScanIn& scan) const {
    for (int i = 0; i < kComponents; ++i) ::store(scan.lastDc[i], of[i]);
  }
};

template <int kAcross, int kDown>
inline int decodeRow(const ScanIn& scan, int column, int count) {
  using Place = McuPlace<kAcross, kDown>;
  RowReader reader(scan);
  Predictions last;
  last.load(scan);
  bool reads = RowReader::serves(scan);  // the reader is in force, else the records
  Ipp16s* blocks = scan.blocks + ptrdiff_t{64} * Place::kBlocks * column;
  UsedRows rows[2];
  int done = 0;
  for (; done < count; ++done, blocks += 64 * Place::kBlocks) {
    UsedRows* const used = &rows[done & 1];
    const RowReader readerBefore = reader;
    const Predictions lastBefore = last;
    bool decoded = reads;
    for (int b = 0; b < Place::kBlocks && decoded; ++b) {
      const int i = Place::componentOf(b);
      decoded = decodeBlock(*scan.dc[i], *scan.ac[i], &reader, &last.of[i], blocks + 64 * b,
                            &used->of[b]);
    }
    if (__builtin_expect(!decoded, 0)) {
      if (reads) {
        readerBefore.close(scan);
        lastBefore.store(scan);
      }
      const bool isWhole = decodeMcuByPrimitive<kAcross, kDown>(scan, blocks, used);
      reads = isWhole && RowReader::serves(scan);
      if (!isWhole) break;
      reader = RowReader(scan);
      last.load(scan);
    }
    if ((done & 1) != 0) transformTwoMcus<kAcross, kDown>(scan, column + done - 1, rows);
  }
  if ((done & 1) != 0) transformMcu<kAcross, kDown>(scan, column + done - 1, rows[0]);
  if (reads) {
    reader.close(scan);
    last.store(scan);
  }
  return done;
}

int decode(const ScanIn& scan, int column, int count) {
  if (scan.layout.across == 1) return decodeRow<1, 1>(scan, column, count);
  return scan.layout.down == 1 ? decodeRow<2, 1>(scan, column, count)
                               : decodeRow<2, 2>(scan, column, count);
}

// What the transform has to know of the rows of a block.
inline unsigned rowsInUse(const Ipp16s* block) {
  using namespace simd;
  const auto rows = [=](int first) {
    const auto row = [=](int j) { return Vec128::load(block + 8 * (first + j)); };
    return bitOr(bitOr(row(0), row(1)), bitOr(row(2), row(3)));
  };
  if (!isZero(rows(4))) return kAllRows;
  const Vec128 upper = rows(0);
  // The DC coefficient does not count, but what stands below it does.
  const unsigned ac = ~signs8(equal8(upper, Vec128::all16(0))) & 0xFFFC;
  return ac == 0 && (block[8] | block[16] | block[24]) == 0 ? 0 : kUpperRows;
}

template <int kAcross, int kDown>
inline void transformRow(const ScanIn& scan, int column, int count) {
  using Place = McuPlace<kAcross, kDown>;
  const auto rowsOf = [&](int mcu) {
    const Ipp16s* block = scan.blocks + ptrdiff_t{64} * Place::kBlocks * mcu;
    UsedRows rows = {};
    for (int b = 0; b < Place::kBlocks; ++b, block += 64) rows.of[b] = rowsInUse(block);
    return rows;
  };
  int done = 0;
  for (; done + 1 < count; done += 2) {
    const UsedRows rows[2] = {rowsOf(column + done), rowsOf(column + done + 1)};
    transformTwoMcus<kAcross, kDown>(scan, column + done, rows);
  }
  if (done < count) transformMcu<kAcross, kDown>(scan, column + done, rowsOf(column + done));
}

void transform(const ScanIn& scan, int column, int count) {
  if (scan.layout.across == 1) return transformRow<1, 1>(scan, column, count);
  return scan.layout.down == 1 ? transformRow<2, 1>(scan, column, count)
                               : transformRow<2, 2>(scan, column, count);
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_DECODE_ROW_H_
