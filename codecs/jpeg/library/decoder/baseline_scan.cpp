// Sequential scans (T.81 F.2): a row of MCUs at a time, from entropy-coded data to the destination.
// A row that fails does not end the image.
#include <cstddef>

#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

int CJPEGDecoder::DecodeScanBaseline() {
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  marker = JPEG_MARKER_NONE;
  for (int row = 0; row < mcus_down; ++row) {
    // What a failed row could not decode keeps the coefficients of the row above.
    DecodeHuffmanMCURowBL(block_buffer);
    DCT_QNT_SSCC_MCURowBL(block_buffer, 0, row);
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::DecodeHuffmanMCURowBL(Ipp16s* pMCUBuf) {
  Ipp16s* block = pMCUBuf;
  for (int column = 0; column < mcus_across; ++column) {
    if (isRestartDue()) {
      const int result = ProcessRestart();
      if (result != JPEG_NO_ERROR) return result;
    }
    for (int i = 0; i < component_count; ++i) {
      CJPEGColorComponent& c = *components[i];
      const IppiDecodeHuffmanSpec* dc = dc_tables[c.dc_selector].spec;
      const IppiDecodeHuffmanSpec* ac = ac_tables[c.ac_selector].spec;
      for (int b = c.hsampling * c.vsampling; b > 0; --b, block += 64) {
        int met = marker;
        const IppStatus status = ippiDecodeHuffman8x8_JPEG_1u16s_C1(
            stream.data, stream.capacity, &stream.position, block, &c.last_dc, &met, dc, ac,
            huffman_state.state);
        marker = static_cast<_JPEG_MARKER>(met);
        if (status < 0) return JPEG_INTERNAL_ERROR;
      }
    }
    // Without a restart interval nobody looks at the count.
    if (restart_interval != 0) --restarts_to_go;
  }
  return JPEG_NO_ERROR;
}

// Where the block (v, h) of MCU `column` lies in its component's plane of one row of MCUs, and that
// plane's step. Reduced components leave room for the guards of the up-sampling filter.
Ipp8u* CJPEGDecoder::blockPlace(const CJPEGColorComponent& c, int column, int v, int h,
                                int* step) const {
  if (c.h_factor == 1) {
    *step = strip_stride;
    return c.cc_buffer + std::ptrdiff_t{8} * v * strip_stride + 8 * (column * c.hsampling + h);
  }
  *step = strip_stride / 2 + 2;
  return c.ss_buffer + (c.v_factor == 2 ? *step : 0) + 8 * column + 1;
}

int CJPEGDecoder::DCT_QNT_SSCC_MCURowBL(Ipp16s* pMCUBuf, int slot, int row) {
  int result = transformRow(pMCUBuf);
  if (result != JPEG_NO_ERROR) return result;
  if (tile_mcu_count >= 0 && row == 0) extendFirstRow();
  if (sampling != JPEG_SAMPLING_444) {
    if ((result = UpSampling(row, slot)) != JPEG_NO_ERROR) return result;
  }
  return ColorConvert(row, slot);
}

int CJPEGDecoder::transformRow(const Ipp16s* block) {
  for (int column = 0; column < mcus_across; ++column) {
    for (int i = 0; i < component_count; ++i) {
      const CJPEGColorComponent& c = *components[i];
      const Ipp16u* quant = quant_tables[c.q_selector].inverse;
      for (int v = 0; v < c.vsampling; ++v) {
        for (int h = 0; h < c.hsampling; ++h, block += 64) {
          int step = 0;
          Ipp8u* place = blockPlace(c, column, v, h, &step);
          if (ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, place, step, quant) < 0) {
            return JPEG_INTERNAL_ERROR;
          }
        }
      }
    }
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ProcessRestart() {
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  for (int i = 0; i < component_count; ++i) components[i]->last_dc = 0;
  ParseRST();
  restarts_to_go = restart_interval;
  return JPEG_NO_ERROR;
}
