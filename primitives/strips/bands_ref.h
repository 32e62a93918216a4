// The routes for progressive scans block by block, by the primitives of the form: what the others
// are held to.
#ifndef QRX_PRIMITIVES_STRIPS_BANDS_REF_H_
#define QRX_PRIMITIVES_STRIPS_BANDS_REF_H_

#include "primitives/form.h"
#include "primitives/strips/band_store.h"
#include "primitives/unaligned.h"
#include "primitives/zigzag.h"

namespace {
namespace strips {

// --- Out

void keep(const StoreOut& out, int row) {
  const Layout layout = out.store.layout;
  for (int i = 0; i < kComponents; ++i) {
    const int across = i == 0 ? layout.across : 1, down = i == 0 ? layout.down : 1;
    for (int v = 0; v < down; ++v) {
      const int line = down * row + v;
      const BlockLine blocks(out.store, i, line);
      for (int x = 0; x < across * out.store.mcusAcross; ++x) {
        Ipp16s* block = blocks.block(x);
        const int step = out.planes.step[i];
        FORM(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R)
        (out.planes.plane[i] + ptrdiff_t{8} * v * step + ptrdiff_t{8} * x, step, block,
         out.quant[i]);
        out.dc[blocks.index(x)] = block[0];
        const Grid& grid = out.grid[i];
        if (line >= grid.lines || x >= grid.columns) continue;
        Magnitudes& notes = out.magnitudes[i][ptrdiff_t{line} * grid.columns + x];
        notes = {};
        for (int k = 1; k < 64; ++k) {
          const int value = block[own_pj_izigzag_index[k]], magnitude = value < 0 ? -value : value;
          for (int Al = 0; Al < kPointTransforms; ++Al) {
            notes.atLeast[Al] |= uint64_t{magnitude >> Al != 0} << k;
          }
        }
      }
    }
  }
}

// visit(component, block) in the order of the scan, until one gives a negative status.
template <typename Scan, typename Visit>
inline bool eachBlock(const Scan& scan, ptrdiff_t from, ptrdiff_t count, Visit visit) {
  if (scan.Ss == 0) {
    const int luma = lumaBlocks(scan.store.layout), perMcu = blocksPerMcu(scan.store.layout);
    for (ptrdiff_t block = perMcu * from; block < perMcu * (from + count); ++block) {
      const auto b = static_cast<int>(block % perMcu);
      if (visit(b < luma ? 0 : b - luma + 1, scan.store.coefficients + 64 * block) < 0)
        return false;
    }
    return true;
  }
  for (ptrdiff_t i = from; i < from + count; ++i) {
    const auto line = static_cast<int>(i / scan.grid.columns);
    const BlockLine blocks(scan.store, scan.grid.component, line);
    if (visit(0, blocks.block(static_cast<int>(i % scan.grid.columns))) < 0) return false;
  }
  return true;
}

template <typename Visit>
inline bool wholeScan(const BandsOut& scan, Visit visit) {
  const ptrdiff_t lines = scan.Ss == 0 ? scan.store.mcusDown : scan.grid.lines;
  const int columns = scan.Ss == 0 ? scan.store.mcusAcross : scan.grid.columns;
  return eachBlock(scan, 0, lines * columns, visit);
}

bool gather(const BandsOut& scan, Tokens*) {
  if (scan.Ss == 0) {
    Ipp16s lastDc[kComponents] = {};
    return scan.Ah != 0 || wholeScan(scan, [&](int i, const Ipp16s* block) {
             return FORM(ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1)(block, scan.statistics[i],
                                                                          &lastDc[i], scan.Al);
           });
  }
  const auto count = scan.Ah != 0 ? FORM(ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1)
                                  : FORM(ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1);
  IppiEncodeHuffmanState state = {};
  const bool counted = wholeScan(scan, [&](int, const Ipp16s* block) {
    return count(block, scan.statistics[0], scan.Ss, scan.Se, scan.Al, &state, 0);
  });
  return counted && count(nullptr, scan.statistics[0], scan.Ss, scan.Se, scan.Al, &state, 1) >= 0;
}

// A block of a scan, or null for the end of the scan.
inline IppStatus codeBlock(const BandsOut& scan, const Ipp16s* block, Ipp16s* lastDc,
                           const IppiEncodeHuffmanSpec* table) {
  const int flush = block == nullptr ? 1 : 0;
  if (scan.Ss != 0) {
    const auto encode = scan.Ah != 0 ? FORM(ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1)
                                     : FORM(ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1);
    return encode(block, scan.bytes, scan.length, scan.position, scan.Ss, scan.Se, scan.Al, table,
                  scan.state, flush);
  }
  if (scan.Ah != 0) {
    return FORM(ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1)(
        block, scan.bytes, scan.length, scan.position, scan.Al, scan.state, flush);
  }
  return FORM(ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1)(
      block, scan.bytes, scan.length, scan.position, lastDc, scan.Al, table, scan.state, flush);
}

bool code(const BandsOut& scan, Tokens*) {
  const int positionBefore = load(scan.position);
  Ipp16s lastDc[kComponents] = {};
  __builtin_memset(scan.state, 0, sizeof *scan.state);
  const bool coded = wholeScan(scan, [&](int i, const Ipp16s* block) {
    return codeBlock(scan, block, &lastDc[i], scan.tables[i]);
  });
  if (coded && codeBlock(scan, nullptr, nullptr, scan.tables[0]) >= 0) return true;
  store(scan.position, positionBefore);
  __builtin_memset(scan.state, 0, sizeof *scan.state);
  return false;
}

// --- In

void note(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  uint64_t* places = scan.places + from;
  eachBlock(scan, from, count, [&](int, const Ipp16s* block) {
    *places = 0;
    for (int k = 1; k < 64; ++k) *places |= uint64_t{block[own_pj_izigzag_index[k]] != 0} << k;
    ++places;
    return 0;
  });
}

inline IppStatus decodeBlock(const BandsIn& scan, int component, Ipp16s* block) {
  if (scan.Ss != 0) {
    const auto decode = scan.Ah != 0 ? FORM(ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1)
                                     : FORM(ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1);
    return decode(scan.bytes, scan.length, scan.position, block, scan.marker, scan.Ss, scan.Se,
                  scan.Al, scan.ac, scan.state);
  }
  if (scan.Ah != 0) {
    return FORM(ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1)(
        scan.bytes, scan.length, scan.position, block, scan.marker, scan.Al, scan.state);
  }
  return FORM(ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1)(
      scan.bytes, scan.length, scan.position, block, scan.lastDc[component], scan.marker, scan.Al,
      &scan.dc[component]->source, scan.state);
}

ptrdiff_t decodeBand(const BandsIn& scan, ptrdiff_t from, ptrdiff_t count) {
  for (ptrdiff_t done = 0; done < count; ++done) {
    const int positionBefore = load(scan.position), markerBefore = load(scan.marker);
    const IppiDecodeHuffmanState stateBefore = *scan.state;
    Ipp16s dcBefore[kComponents] = {};
    for (int i = 0; i < kComponents && scan.Ss == 0 && scan.Ah == 0; ++i) {
      dcBefore[i] = load(scan.lastDc[i]);
    }
    Ipp16s blockBefore[64];
    const bool decoded = eachBlock(scan, from + done, 1, [&](int i, Ipp16s* block) {
      __builtin_memcpy(blockBefore, block, sizeof blockBefore);
      const IppStatus status = decodeBlock(scan, i, block);
      if (status < 0) __builtin_memcpy(block, blockBefore, sizeof blockBefore);
      return status;
    });
    if (!decoded) {
      store(scan.position, positionBefore);
      store(scan.marker, markerBefore);
      *scan.state = stateBefore;
      for (int i = 0; i < kComponents && scan.Ss == 0 && scan.Ah == 0; ++i) {
        store(scan.lastDc[i], dcBefore[i]);
      }
      return done;
    }
    if (scan.Ss != 0) note(scan, from + done, 1);
  }
  return count;
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_BANDS_REF_H_
