// Lossless scans (T.81 Annex H) of one component, line by line. The first failure ends the scan.
#include <algorithm>
#include <cstddef>
#include <utility>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"

using qrx::jpeg::resultOf;

int CJPEGDecoder::DecodeScanLossless() {
  QRX_TRY(qrx::jpeg::startScan(*this));
  for (int row = 0; row < mcus_down; ++row) {
    QRX_TRY(DecodeHuffmanMCURowLS(block_buffer));
    QRX_TRY(ReconstructMCURowLS(block_buffer, 0, row));
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::DecodeHuffmanMCURowLS(Ipp16s* pMCUBuf) {
  const Ipp8u* const data = stream.data;
  const int capacity = stream.capacity, count = mcus_across;
  int* const position = &stream.position;
  const IppiDecodeHuffmanSpec* const spec = dc_tables[components[0]->dc_selector].spec;
  IppiDecodeHuffmanState* const state = huffman_state.state;
  for (int column = 0; column < count; ++column) {
    QRX_TRY(qrx::jpeg::openInterval(*this));
    QRX_TRY(qrx::jpeg::keepCount(*this, qrx::jpeg::decodeCode(*this, [&](int* met) {
      return ippiDecodeHuffmanOne_JPEG_1u16s_C1(data, capacity, position, pMCUBuf + column, met,
                                                spec, state);
    })));
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ReconstructMCURowLS(Ipp16s* pMCUBuf, int, int row) {
  qrx::jpeg::DecoderRoom* const room = qrx::jpeg::DecoderRoom::of(*this);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  CJPEGColorComponent& c = *components[0];
  QRX_TRY(resultOf(row == 0 ? ippiReconstructPredFirstRow_JPEG_16s_C1(
                                  pMCUBuf, c.curr_row, dest_width, precision, approx_low)
                            : ippiReconstructPredRow_JPEG_16s_C1(pMCUBuf, c.prev_row, c.curr_row,
                                                                 dest_width, scan_start)));

  // The next line's prediction rests on the samples before the point transform is undone.
  const Ipp16s* line = c.curr_row;
  if (approx_low != 0) {
    QRX_TRY(resultOf(ippsLShiftC_16s(c.curr_row, approx_low, pMCUBuf, dest_width)));
    line = pMCUBuf;
  }
  if (row < dest_height) {
    Ipp8u* target = dest_data + std::ptrdiff_t{row} * dest_width;
    QRX_TRY(resultOf(ippiConvert_16s8u_C1R(line, dest_width, target, dest_width, {dest_width, 1})));
    room->linesWritten = std::max(room->linesWritten, row + 1);
  }
  std::swap(c.curr_row, c.prev_row);
  return JPEG_NO_ERROR;
}
