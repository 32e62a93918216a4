// The baseline writer: strip by strip, block by block, from source pixels to one whole image.
#include <cstdint>

#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/entropy_interval.h"
#include "codecs/jpeg/library/strip_coder.h"

namespace qrx::jpeg {
namespace {

int writeHeaders(CJPEGEncoder& e) {
  const bool single = e.component_count == 1;
  QRX_TRY(e.WriteSOI());
  QRX_TRY(writeApplicationSegment(e));
  QRX_TRY(e.WriteCOM(nullptr));
  QRX_TRY(e.WriteDQT(&e.quant_tables[0]));
  if (!single) QRX_TRY(e.WriteDQT(&e.quant_tables[1]));
  QRX_TRY(e.WriteSOF0());
  QRX_TRY(e.WriteDHT(&e.dc_tables[0]));
  if (!single) QRX_TRY(e.WriteDHT(&e.dc_tables[1]));
  QRX_TRY(e.WriteDHT(&e.ac_tables[0]));
  if (!single) QRX_TRY(e.WriteDHT(&e.ac_tables[1]));
  if (e.restart_interval != 0) QRX_TRY(e.WriteDRI(e.restart_interval));
  return e.WriteSOS();
}

int writeStrips(CJPEGEncoder& e) {
  QRX_TRY(e.huffman_state.Init());
  StripCoder coder(e);
  for (int strip = 0; strip < e.mcus_down; ++strip) {
    int coded = 0;
    QRX_TRY(coder.fill(strip));
    QRX_TRY(coder.code(0, e.mcus_across, INT64_MAX, &coded));
  }
  return flushEntropy(e, kBaselineScan);
}

}  // namespace
}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::WriteImageBaseline() {
  QRX_TRY(initFor(*this, JPEG_MODE_BASELINE));
  QRX_TRY(writeHeaders(*this));
  QRX_TRY(writeStrips(*this));
  return WriteEOI();
}
