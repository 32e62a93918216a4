// BGR to YCbCr by look-up in a table of all 2^24 colours. Each term of a sum is truncated, nothing
// rounds, so the result differs from the primitive's and depends on the colour alone.
#include <pthread.h>

#include "codecs/jpeg/library/colour_stage.h"
#include "qrx/env.h"
#include "qrx/jpeg_encoder.h"

namespace {

// 48 MiB in zero-initialised storage: costs nothing until the first conversion builds it. The
// entry of (B, G, R) starts at B * 196608 + G * 768 + R * 3 and holds Y, Cb, Cr.
Ipp8u bgr_ycbcr_tbl[256 * 256 * 256 * 3];
pthread_once_t g_tableOnce = PTHREAD_ONCE_INIT;

constexpr int kShift = 10;

// One term of a sum for every sample value: the product truncated towards zero, formed in double
// precision from the single-precision constant, and shifted.
struct Column {
  std::int32_t term[256];

  Column(float constant, int sign) {
    for (int i = 0; i < 256; ++i) {
      term[i] = sign * (static_cast<std::int32_t>(i * static_cast<double>(constant)) << kShift);
    }
  }
};

void buildTable() {
  const Column redY(0.299f, 1), greenY(0.587f, 1), blueY(0.114f, 1);
  const Column redCb(0.16874f, -1), greenCb(0.33126f, -1), half(0.5f, 1);
  const Column greenCr(0.41869f, -1), blueCr(0.08131f, -1);
  constexpr std::int32_t kCentre = 128 << kShift;

  Ipp8u* entry = bgr_ycbcr_tbl;
  for (int b = 0; b < 256; ++b) {
    for (int g = 0; g < 256; ++g) {
      const std::int32_t y = greenY.term[g] + blueY.term[b];
      const std::int32_t cb = kCentre + greenCb.term[g] + half.term[b];
      const std::int32_t cr = kCentre + greenCr.term[g] + blueCr.term[b];
      for (int r = 0; r < 256; ++r, entry += 3) {
        entry[0] = static_cast<Ipp8u>((y + redY.term[r]) >> kShift);
        entry[1] = static_cast<Ipp8u>((cb + redCb.term[r]) >> kShift);
        entry[2] = static_cast<Ipp8u>((cr + half.term[r]) >> kShift);
      }
    }
  }
}

pthread_once_t g_switchOnce = PTHREAD_ONCE_INIT;
bool g_useTable = false;

void readSwitch() { g_useTable = qrx::Env::getInt("ZMT_COLOR_CONVERSION", 0) == 1; }

}  // namespace

bool qrx::jpeg::useColourTable() {
  pthread_once(&g_switchOnce, readSwitch);
  return g_useTable;
}

int CJPEGEncoder::qrxBGRToYCbCr_JPEG_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3],
                                              int dstStep, IppiSize roiSize) {
  pthread_once(&g_tableOnce, buildTable);
  for (int row = 0; row < roiSize.height; ++row) {
    const Ipp8u* source = pSrc + std::int64_t{row} * srcStep;
    const std::int64_t offset = std::int64_t{row} * dstStep;
    for (int column = 0; column < roiSize.width; ++column, source += 3) {
      const Ipp8u* entry = bgr_ycbcr_tbl + source[0] * 196608 + source[1] * 768 + source[2] * 3;
      for (int plane = 0; plane < 3; ++plane) pDst[plane][offset + column] = entry[plane];
    }
  }
  return JPEG_NO_ERROR;
}
