// The progressive writer (T.81 Annex G): the whole image is converted and transformed once, then a
// script of scans runs over the stored coefficients.
#include <algorithm>
#include <span>

#include "codecs/jpeg/library/band_coder.h"
#include "codecs/jpeg/library/encoder_stages.h"

namespace {

using Scan = CJPEGEncoder::ScanRecord;

constexpr Scan kGrayScript[] = {
    {1, {0}, 0, 0, 0, 1},  {1, {0}, 1, 5, 0, 2}, {1, {0}, 6, 63, 0, 2},
    {1, {0}, 1, 63, 2, 1}, {1, {0}, 0, 0, 1, 0}, {1, {0}, 1, 63, 1, 0},
};

constexpr Scan kThreeComponentScript[] = {
    {3, {0, 1, 2}, 0, 0, 0, 1}, {1, {0}, 1, 5, 0, 2},  {1, {2}, 1, 63, 0, 1},
    {1, {1}, 1, 63, 0, 1},      {1, {0}, 6, 63, 0, 2}, {1, {0}, 1, 63, 2, 1},
    {3, {0, 1, 2}, 0, 0, 1, 0}, {1, {2}, 1, 63, 1, 0}, {1, {1}, 1, 63, 1, 0},
    {1, {0}, 1, 63, 1, 0},
};

constexpr Scan kFourComponentScript[] = {
    {4, {0, 1, 2, 3}, 0, 0, 0, 1}, {1, {0}, 1, 5, 0, 2},          {1, {1}, 1, 5, 0, 2},
    {1, {2}, 1, 5, 0, 2},          {1, {3}, 1, 5, 0, 2},          {1, {0}, 6, 63, 0, 2},
    {1, {1}, 6, 63, 0, 2},         {1, {2}, 6, 63, 0, 2},         {1, {3}, 6, 63, 0, 2},
    {1, {0}, 1, 63, 2, 1},         {1, {1}, 1, 63, 2, 1},         {1, {2}, 1, 63, 2, 1},
    {1, {3}, 1, 63, 2, 1},         {4, {0, 1, 2, 3}, 0, 0, 1, 0}, {1, {0}, 1, 63, 1, 0},
    {1, {1}, 1, 63, 1, 0},         {1, {2}, 1, 63, 1, 0},         {1, {3}, 1, 63, 1, 0},
};

}  // namespace

int CJPEGEncoder::SelectScanScripts() {
  std::span<const ScanRecord> script;
  switch (component_count) {
    case 1: script = kGrayScript; break;
    case 3: script = kThreeComponentScript; break;
    case 4: script = kFourComponentScript; break;
    default: return JPEG_NOT_SUPPORTED;
  }
  delete[] scan_script;
  scan_script = nullptr;
  scan_script = new ScanRecord[script.size()];
  std::copy(script.begin(), script.end(), scan_script);
  scan_count = static_cast<int>(script.size());
  return JPEG_NO_ERROR;
}

namespace qrx::jpeg {
namespace {

int writeFrameHeaders(CJPEGEncoder& e) {
  QRX_TRY(e.WriteSOI());
  QRX_TRY(writeApplicationSegment(e));
  QRX_TRY(e.WriteCOM(nullptr));
  QRX_TRY(e.WriteDQT(&e.quant_tables[0]));
  const bool chromaTable = e.component_count != 1 && e.jpeg_color != JPEG_COLOR_RGB &&
                           e.jpeg_color != JPEG_COLOR_CMYK && e.jpeg_color != JPEG_COLOR_NONE;
  if (chromaTable) QRX_TRY(e.WriteDQT(&e.quant_tables[1]));
  return e.WriteSOF2();
}

int writeScans(CJPEGEncoder& e, BandCoder& coder) {
  if (e.restart_interval != 0) QRX_TRY(e.WriteDRI(e.restart_interval));
  for (int i = 0; i < e.scan_count; ++i) {
    e.next_restart = 0;
    e.restarts_to_go = e.restart_interval;
    QRX_TRY(coder.code(e.scan_script[i]));
  }
  return JPEG_NO_ERROR;
}

}  // namespace
}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::WriteImageProgressive() {
  QRX_TRY(initFor(*this, JPEG_MODE_PROGRESSIVE, CoefficientStore::kUnwritten));
  if (const int result = writeFrameHeaders(*this); result != JPEG_NO_ERROR) {
    clearCoefficients(*this);
    return result;
  }
  BandCoder coder(*this);
  QRX_TRY(coder.fill());
  QRX_TRY(writeScans(*this, coder));
  return WriteEOI();
}

int CJPEGEncoder::PerformDCT() {
  const auto open = [] { return JPEG_NO_ERROR; };
  return walkOf(*this).mcus(mcus_down, open,
                            [this](CJPEGColorComponent& c, const BlockPlace& place) {
                              return transformBlock(*this, c, {c.ss_buffer, strip_stride}, place,
                                                    coefficients + 64 * place.index);
                            });
}
