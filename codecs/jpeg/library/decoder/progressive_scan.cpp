// Progressive scans (T.81 Annex G): each adds to the coefficients of the whole image.
#include <algorithm>
#include <cstddef>

#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

int CJPEGDecoder::DecodeScanProgressive() {
  if (coefficients == nullptr) return JPEG_INTERNAL_ERROR;  // the stream ended before any data
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  marker = JPEG_MARKER_NONE;
  return scan_start != 0 && scan_end != 0 ? decodeScanAC() : decodeScanDC();
}

// A scan of one component: the blocks that hold image data, in the component's raster order.
int CJPEGDecoder::decodeScanAC() {
  CJPEGColorComponent& c = *components[scan_component];
  const IppiDecodeHuffmanSpec* spec = ac_tables[c.ac_selector].spec;
  const auto decode = approx_high != 0 ? ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1
                                       : ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
  int firstBlock = 0;
  for (int i = 0; i < c.comp_no; ++i) {
    firstBlock += components[i]->hsampling * components[i]->vsampling;
  }
  const std::ptrdiff_t perMCU = blocksPerMCU();
  const int lines = std::min(mcus_down * c.vsampling, mcuCount(jpeg_height, 8));
  const int columns = std::min(mcus_across * c.hsampling, mcuCount(jpeg_width, 8));
  for (int line = 0; line < lines; ++line) {
    for (int column = 0; column < columns; ++column) {
      if (isRestartDue()) {
        const int result = ProcessRestart();
        if (result != JPEG_NO_ERROR) return result;
      }
      const std::ptrdiff_t mcu =
          std::ptrdiff_t{line / c.vsampling} * mcus_across + column / c.hsampling;
      const std::ptrdiff_t block =
          mcu * perMCU + firstBlock + c.hsampling * (line % c.vsampling) + column % c.hsampling;
      int met = marker;
      const IppStatus status =
          decode(stream.data, stream.capacity, &stream.position, coefficients + 64 * block, &met,
                 scan_start, scan_end, approx_low, spec, huffman_state.state);
      marker = static_cast<_JPEG_MARKER>(met);
      if (status < 0) return JPEG_INTERNAL_ERROR;
      if (restart_interval != 0) --restarts_to_go;
    }
  }
  if (approx_low == 0) c.ac_scan_done = 1;
  return JPEG_NO_ERROR;
}

// A scan of all components of the frame, whatever its header names.
int CJPEGDecoder::decodeScanDC() {
  Ipp16s* block = coefficients;
  const std::ptrdiff_t mcus = std::ptrdiff_t{mcus_across} * mcus_down;
  for (std::ptrdiff_t mcu = 0; mcu < mcus; ++mcu) {
    if (isRestartDue()) {
      const int result = ProcessRestart();
      if (result != JPEG_NO_ERROR) return result;
    }
    for (int i = 0; i < component_count; ++i) {
      CJPEGColorComponent& c = *components[i];
      for (int b = c.hsampling * c.vsampling; b > 0; --b, block += 64) {
        int met = marker;
        const IppStatus status =
            approx_high != 0
                ? ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(stream.data, stream.capacity,
                                                              &stream.position, block, &met,
                                                              approx_low, huffman_state.state)
                : ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(
                      stream.data, stream.capacity, &stream.position, block, &c.last_dc, &met,
                      approx_low, dc_tables[c.dc_selector].spec, huffman_state.state);
        marker = static_cast<_JPEG_MARKER>(met);
        if (status < 0) return JPEG_INTERNAL_ERROR;
      }
    }
    if (restart_interval != 0) --restarts_to_go;
  }
  if (approx_low == 0) dc_scan_done = 1;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::PerformDCT() {
  const Ipp16s* block = coefficients;
  for (int y = 0; y < mcus_down; ++y) {
    for (int x = 0; x < mcus_across; ++x) {
      for (int i = 0; i < component_count; ++i) {
        const CJPEGColorComponent& c = *components[i];
        const Ipp16u* quant = quant_tables[c.q_selector].inverse;
        // Reduced planes have a border on all sides that the filter needs it on.
        Ipp8u* const origin =
            c.ss_buffer + (c.v_factor == 2 ? strip_stride : 0) + (c.h_factor == 2 ? 1 : 0);
        for (int v = 0; v < c.vsampling; ++v) {
          Ipp8u* line = origin + std::ptrdiff_t{8} * strip_stride * (c.vsampling * y + v);
          for (int h = 0; h < c.hsampling; ++h, block += 64) {
            Ipp8u* place = line + 8 * (c.hsampling * x + h);
            const IppStatus status =
                ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, place, strip_stride, quant);
            if (status != ippStsNoErr) return JPEG_INTERNAL_ERROR;
          }
        }
      }
    }
  }
  return JPEG_NO_ERROR;
}
