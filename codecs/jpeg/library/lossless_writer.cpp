// The lossless writer (T.81 Annex H): one component of 8-bit samples, line by line, predictor 1.
#include <utility>

#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/entropy_interval.h"

namespace qrx::jpeg {
namespace {

int writeHeaders(CJPEGEncoder& e) {
  QRX_TRY(e.WriteSOI());
  if (e.jpeg_color == JPEG_COLOR_GRAY) QRX_TRY(e.WriteAPP0());
  QRX_TRY(e.WriteCOM(nullptr));
  QRX_TRY(e.WriteSOF3());
  QRX_TRY(e.WriteDHT(&e.dc_tables[0]));
  if (e.restart_interval != 0) return JPEG_NOT_SUPPORTED;
  return e.WriteSOS();
}

// Leaves the line's differences in row_buffer.
int predictLine(CJPEGEncoder& e, CJPEGColorComponent& c, int line) {
  auto* const differences = reinterpret_cast<Ipp16s*>(c.row_buffer);
  const Ipp8u* source = e.source_data + std::int64_t{line} * e.source_step;
  QRX_TRY(resultOf(ippiConvert_8u16s_C1R(source, e.source_step, c.curr_row, e.mcus_across,
                                         {e.source_width, 1})));
  QRX_TRY(resultOf(line == 0 ? ippiDiffPredFirstRow_JPEG_16s_C1(c.curr_row, differences,
                                                                e.source_width, e.precision, 0)
                             : ippiDiffPredRow_JPEG_16s_C1(c.curr_row, c.prev_row, differences,
                                                           e.source_width, 1)));
  std::swap(c.curr_row, c.prev_row);
  return JPEG_NO_ERROR;
}

int writeLine(CJPEGEncoder& e, int line) {
  CJPEGColorComponent& c = *e.components[0];
  QRX_TRY(predictLine(e, c, line));
  const auto* const differences = reinterpret_cast<const Ipp16s*>(c.row_buffer);
  Ipp8u* const data = e.stream.data;
  const int capacity = e.stream.capacity, count = e.mcus_across;
  int* const position = &e.stream.position;
  const IppiEncodeHuffmanSpec* const table = e.dc_tables[c.dc_selector].spec;
  IppiEncodeHuffmanState* const state = e.huffman_state.state;
  for (int x = 0; x < count; ++x) {
    QRX_TRY(resultOf(ippiEncodeHuffmanOne_JPEG_16s1u_C1(&differences[x], data, capacity, position,
                                                        table, state, 0)));
  }
  return JPEG_NO_ERROR;
}

int writeLossless(CJPEGEncoder& e) {
  QRX_TRY(initFor(e, JPEG_MODE_LOSSLESS));
  if (e.component_count != 1) return JPEG_NOT_SUPPORTED;
  e.scan_start = e.predictor;
  e.scan_end = 0;
  e.approx_high = 0;
  e.approx_low = e.point_transform;

  QRX_TRY(writeHeaders(e));
  QRX_TRY(e.huffman_state.Init());
  for (int line = 0; line < e.mcus_down; ++line) QRX_TRY(writeLine(e, line));
  QRX_TRY(flushEntropy(e, {0, {kNoComponent}, 0, 0, 0, 0}));
  return e.WriteEOI();
}

}  // namespace
}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::WriteImageLossless() {
  const int result = writeLossless(*this);
  // Lossless gives these fields a meaning of its own; the next image may be of another mode.
  scan_start = 0;
  scan_end = 63;
  approx_high = 0;
  approx_low = 0;
  return result;
}
