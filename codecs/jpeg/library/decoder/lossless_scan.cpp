// Lossless scans (T.81 Annex H) of one component, line by line. The first failure ends the scan.
#include <algorithm>
#include <cstddef>
#include <utility>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

int CJPEGDecoder::DecodeScanLossless() {
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  marker = JPEG_MARKER_NONE;
  for (int row = 0; row < mcus_down; ++row) {
    int result = DecodeHuffmanMCURowLS(block_buffer);
    if (result != JPEG_NO_ERROR) return result;
    if ((result = ReconstructMCURowLS(block_buffer, 0, row)) != 0) return result;
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::DecodeHuffmanMCURowLS(Ipp16s* pMCUBuf) {
  const IppiDecodeHuffmanSpec* spec = dc_tables[components[0]->dc_selector].spec;
  for (int column = 0; column < mcus_across; ++column) {
    if (isRestartDue()) {
      const int result = ProcessRestart();
      if (result != JPEG_NO_ERROR) return result;
    }
    int met = marker;
    const IppStatus status =
        ippiDecodeHuffmanOne_JPEG_1u16s_C1(stream.data, stream.capacity, &stream.position,
                                           pMCUBuf + column, &met, spec, huffman_state.state);
    marker = static_cast<_JPEG_MARKER>(met);
    if (status < 0) return JPEG_INTERNAL_ERROR;
    if (restart_interval != 0) --restarts_to_go;
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ReconstructMCURowLS(Ipp16s* pMCUBuf, int, int row) {
  CJPEGColorComponent& c = *components[0];
  const IppStatus predicted = row == 0
                                  ? ippiReconstructPredFirstRow_JPEG_16s_C1(
                                        pMCUBuf, c.curr_row, dest_width, precision, approx_low)
                                  : ippiReconstructPredRow_JPEG_16s_C1(
                                        pMCUBuf, c.prev_row, c.curr_row, dest_width, scan_start);
  if (predicted != ippStsNoErr) return JPEG_INTERNAL_ERROR;

  // The next line's prediction rests on the samples before the point transform is undone.
  const Ipp16s* line = c.curr_row;
  if (approx_low != 0) {
    if (ippsLShiftC_16s(c.curr_row, approx_low, pMCUBuf, dest_width) != ippStsNoErr) {
      return JPEG_INTERNAL_ERROR;
    }
    line = pMCUBuf;
  }
  if (row < dest_height) {
    Ipp8u* target = dest_data + std::ptrdiff_t{row} * dest_width;
    if (ippiConvert_16s8u_C1R(line, dest_width, target, dest_width, {dest_width, 1}) !=
        ippStsNoErr) {
      return JPEG_INTERNAL_ERROR;
    }
    lines_written = std::max(lines_written, row + 1);
  }
  std::swap(c.curr_row, c.prev_row);
  return JPEG_NO_ERROR;
}
