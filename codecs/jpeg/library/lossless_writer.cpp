// The lossless writer (T.81 Annex H): one component of 8-bit samples, line by line, predictor 1.
#include <utility>

#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

int CJPEGEncoder::WriteImageLossless() {
  const int result = writeLossless();
  // Lossless gives these fields a meaning of its own; the next image may be of another mode.
  scan_start = 0;
  scan_end = 63;
  approx_high = 0;
  approx_low = 0;
  return result;
}

int CJPEGEncoder::writeLossless() {
  int result = initFor(JPEG_MODE_LOSSLESS);
  if (result != JPEG_NO_ERROR) return result;
  if (component_count != 1) return JPEG_NOT_SUPPORTED;
  scan_start = predictor;
  scan_end = 0;
  approx_high = 0;
  approx_low = point_transform;

  if ((result = WriteSOI()) != 0) return result;
  if (jpeg_color == JPEG_COLOR_GRAY && (result = WriteAPP0()) != 0) return result;
  if ((result = WriteCOM(nullptr)) != 0) return result;
  if ((result = WriteSOF3()) != 0) return result;
  if ((result = WriteDHT(&dc_tables[0])) != 0) return result;
  if (restart_interval != 0) return JPEG_NOT_SUPPORTED;
  if ((result = WriteSOS()) != 0) return result;

  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  for (int line = 0; line < mcus_down; ++line) {
    if ((result = writeLosslessLine(line)) != 0) return result;
  }
  if ((result = flushLossless()) != 0) return result;
  return WriteEOI();
}

int CJPEGEncoder::writeLosslessLine(int line) {
  CJPEGColorComponent& c = *components[0];
  auto* differences = reinterpret_cast<Ipp16s*>(c.row_buffer);
  const Ipp8u* source = source_data + std::int64_t{line} * source_step;
  if (ippiConvert_8u16s_C1R(source, source_step, c.curr_row, mcus_across, {source_width, 1}) < 0) {
    return JPEG_INTERNAL_ERROR;
  }
  const IppStatus status =
      line == 0
          ? ippiDiffPredFirstRow_JPEG_16s_C1(c.curr_row, differences, source_width, precision, 0)
          : ippiDiffPredRow_JPEG_16s_C1(c.curr_row, c.prev_row, differences, source_width, 1);
  if (status < 0) return JPEG_INTERNAL_ERROR;
  std::swap(c.curr_row, c.prev_row);

  for (int x = 0; x < mcus_across; ++x) {
    if (ippiEncodeHuffmanOne_JPEG_16s1u_C1(&differences[x], stream.data, stream.capacity,
                                           &stream.position, dc_tables[c.dc_selector].spec,
                                           huffman_state.state, 0) < 0) {
      return JPEG_INTERNAL_ERROR;
    }
  }
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::flushLossless() {
  const IppStatus status = ippiEncodeHuffmanOne_JPEG_16s1u_C1(
      nullptr, stream.data, stream.capacity, &stream.position, nullptr, huffman_state.state, 1);
  return status < 0 ? JPEG_INTERNAL_ERROR : JPEG_NO_ERROR;
}
