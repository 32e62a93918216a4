// The strip routes pixel by pixel and block by block, by the primitives of the form: what the
// others are held to.
#ifndef QRX_PRIMITIVES_STRIPS_STRIPS_REF_H_
#define QRX_PRIMITIVES_STRIPS_STRIPS_REF_H_

#include "primitives/colour/colour_ref.h"
#include "primitives/form.h"
#include "primitives/sampling/sampling_ref.h"
#include "primitives/strips/planes.h"
#include "primitives/unaligned.h"

namespace {
namespace strips {

// --- Out

// Behind the image its last pixel and its last line are repeated.
inline YCbCr pixelAt(const PixelsIn& in, int x, int line) {
  const ptrdiff_t column = x < in.width ? x : in.width - 1;
  const ptrdiff_t row = line < in.lines ? line : in.lines - 1;
  const Ipp8u* pixel = in.pixels + row * in.step + column * in.format.bytes;
  const int r = pixel[in.format.red], g = pixel[1], b = pixel[2 - in.format.red];
  return column < pixelsInForwardBlocks(in.width) ? forwardOfBlock(r, g, b)
                                                  : forwardOfRest(r, g, b);
}

void toPlanes(const PixelsIn& in, Layout layout, int mcus, const Planes& planes) {
  const int padded = 8 * layout.across * (mcus + mcus % 2);
  for (int line = 0; line < 8 * layout.down; ++line) {
    for (int x = 0; x < padded; ++x) lineOf(planes, 0, line)[x] = pixelAt(in, x, line).y;
  }
  for (int line = 0; line < 8; ++line) {
    for (int x = 0; x < padded / layout.across; ++x) {
      Ipp8u cb[2][2], cr[2][2];
      for (int d = 0; d < layout.down; ++d) {
        for (int a = 0; a < layout.across; ++a) {
          const YCbCr pixel = pixelAt(in, layout.across * x + a, layout.down * line + d);
          cb[d][a] = pixel.cb;
          cr[d][a] = pixel.cr;
        }
      }
      const auto reduce = [&](const Ipp8u(&from)[2][2], Ipp8u* to) {
        if (layout.across == 1) {
          *to = from[0][0];
        } else if (layout.down == 1) {
          scalar::downH2V1Row(from[0], to, 1);
        } else {
          scalar::downH2V2Row(from[0], from[1], to, 1);
        }
      };
      reduce(cb, lineOf(planes, 1, line) + x);
      reduce(cr, lineOf(planes, 2, line) + x);
    }
  }
}

// visit(component, block of the MCU, column and line of its samples) until one gives false.
template <typename Visit>
inline bool eachBlock(Layout layout, int components, int column, Visit visit) {
  int b = 0;
  for (int i = 0; i < components; ++i) {
    const bool isReduced = i == 1 || i == 2;
    const Layout blocks = isReduced ? Layout{1, 1} : layout;
    for (int v = 0; v < blocks.down; ++v) {
      for (int h = 0; h < blocks.across; ++h, ++b) {
        if (!visit(i, b, 8 * (blocks.across * column + h), 8 * v)) return false;
      }
    }
  }
  return true;
}

int code(const ScanOut& scan, int column, int count, int stopAt) {
  for (int done = 0; done < count; ++done) {
    const int positionBefore = load(scan.position);
    const IppiEncodeHuffmanState stateBefore = *scan.state;
    Ipp16s dcBefore[kMostComponents];
    for (int i = 0; i < scan.components; ++i) dcBefore[i] = load(scan.lastDc[i]);
    const auto codeBlock = [&](int i, int, int x, int line) {
      Ipp16s values[64];
      FORM(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R)
      (lineOf(scan.planes, i, line) + x, scan.planes.step[i], values, scan.quant[i]);
      return FORM(ippiEncodeHuffman8x8_JPEG_16s1u_C1)(
                 values, scan.bytes, scan.length, scan.position, scan.lastDc[i],
                 &scan.dc[i]->source, &scan.ac[i]->source, scan.state, 0) >= 0;
    };
    const bool coded = eachBlock(scan.layout, scan.components, column + done, codeBlock);
    if (!coded) {
      store(scan.position, positionBefore);
      *scan.state = stateBefore;
      for (int i = 0; i < scan.components; ++i) store(scan.lastDc[i], dcBefore[i]);
      return done;
    }
    if (load(scan.position) > stopAt) return done + 1;
  }
  return count;
}

// --- In

// Of an MCU.
inline int blocksOf(const ScanIn& scan) {
  return scan.layout.across * scan.layout.down + scan.components - 1;
}

// Blocks of an MCU that holds none yet.
inline void clearUnheld(const ScanIn& scan, int mcu) {
  if (mcu < scan.held) return;
  const int values = 64 * blocksOf(scan);
  Ipp16s* const blocks = scan.blocks + ptrdiff_t{values} * mcu;
  for (int i = 0; i < values; ++i) blocks[i] = 0;
}

void transform(const ScanIn& scan, int column, int count) {
  for (int mcu = column; mcu < column + count; ++mcu) {
    const Ipp16s* blocks = scan.blocks + ptrdiff_t{64} * blocksOf(scan) * mcu;
    eachBlock(scan.layout, scan.components, mcu, [&](int i, int b, int x, int line) {
      return FORM(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R)(blocks + 64 * b,
                                                       lineOf(scan.planes, i, line) + x,
                                                       scan.planes.step[i], scan.quant[i]) >= 0;
    });
  }
}

int decode(const ScanIn& scan, int column, int count) {
  int done = 0;
  for (; done < count; ++done) {
    clearUnheld(scan, column + done);
    Ipp16s* blocks = scan.blocks + ptrdiff_t{64} * blocksOf(scan) * (column + done);
    const bool decoded =
        eachBlock(scan.layout, scan.components, column + done, [&](int i, int b, int, int) {
          return FORM(ippiDecodeHuffman8x8_JPEG_1u16s_C1)(
                     scan.bytes, scan.length, scan.position, blocks + 64 * b, scan.lastDc[i],
                     scan.marker, &scan.dc[i]->source, &scan.ac[i]->source, scan.state) >= 0;
        });
    if (!decoded) break;
  }
  transform(scan, column, done);
  return done;
}

void settle(const ScanIn&) {}

// Enlarged chroma at column `x` of line `line`.
inline int chromaAt(const PixelsOut& out, Layout layout, const Planes& planes, int i, int x,
                    int line) {
  const Ipp8u* near = lineOf(planes, i, line / layout.down) + x / layout.across;
  if (layout.across == 1) return *near;
  Ipp8u pair[2];
  if (layout.down == 1) {
    scalar::upH2V1Row(near, pair, 2);
  } else {
    // Above stands the line of the strip before; below, where the next strip is not decoded yet,
    // the last line is repeated.
    const Ipp8u* far = line == 0       ? out.above[i] + x / 2
                       : line == 15    ? near
                       : line % 2 == 0 ? near - planes.step[i]
                                       : near + planes.step[i];
    scalar::upH2V2Row(near, far, pair, 2);
  }
  return pair[x % 2];
}

void toPixels(const PixelsOut& out, Layout layout, const Planes& planes) {
  if (layout.across == 2) setGuards(planes, out.samples / 2);
  const int inBlocks = pixelsInInverseBlocks(out.width);
  for (int line = 0; line < out.lines; ++line) {
    Ipp8u* to = out.pixels + line * out.step;
    for (int x = out.first; x < out.last; ++x, to += out.format.bytes) {
      const int y = lineOf(planes, 0, line)[x];
      const int cb = chromaAt(out, layout, planes, 1, x, line);
      const int cr = chromaAt(out, layout, planes, 2, x, line);
      const Rgb pixel = x < inBlocks ? inverseOfBlock(y, cb, cr) : inverseOfRest(y, cb, cr);
      to[out.format.red] = pixel.r;
      to[1] = pixel.g;
      to[2 - out.format.red] = pixel.b;
    }
  }
}

}  // namespace strips
}  // namespace

#endif  // QRX_PRIMITIVES_STRIPS_STRIPS_REF_H_
