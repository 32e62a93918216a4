// Progressive scans (T.81 Annex G): each adds to the coefficients of the whole image.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codecs/jpeg/library/decoder/buffer_sizes.h"
#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace {

bool isSpectral(const CJPEGDecoder& d) { return d.scan_start != 0 && d.scan_end != 0; }

// The next block of the scan, of component `c`: adds to the 64 coefficients.
int decodeBlock(CJPEGDecoder& d, CJPEGColorComponent& c, Ipp16s* block) {
  _bitstream& in = d.stream;
  IppiDecodeHuffmanState* const state = d.huffman_state.state;
  const bool refines = d.approx_high != 0;
  int met = d.marker;
  IppStatus status;
  if (isSpectral(d)) {
    const auto decode = refines ? ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1
                                : ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
    status = decode(in.data, in.capacity, &in.position, block, &met, d.scan_start, d.scan_end,
                    d.approx_low, d.ac_tables[c.ac_selector].spec, state);
  } else if (refines) {
    status = ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(in.data, in.capacity, &in.position, block,
                                                         &met, d.approx_low, state);
  } else {
    status = ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(in.data, in.capacity, &in.position, block,
                                                        &c.last_dc, &met, d.approx_low,
                                                        d.dc_tables[c.dc_selector].spec, state);
  }
  d.marker = static_cast<_JPEG_MARKER>(met);
  return status < 0 ? JPEG_INTERNAL_ERROR : JPEG_NO_ERROR;
}

// The same while the image has no memory, which it gets with its first coefficient: what a header
// claims is not believed before.
int decodeFirstBlock(CJPEGDecoder& d, CJPEGColorComponent& c, std::ptrdiff_t index,
                     std::int64_t imageBytes) {
  Ipp16s block[64] = {};
  const int result = decodeBlock(d, c, block);
  if (std::all_of(block, block + 64, [](Ipp16s value) { return value == 0; })) return result;
  if (!allocateZeroed(&d.coefficients, imageBytes)) return JPEG_OUT_OF_MEMORY;
  std::copy(block, block + 64, d.coefficients + 64 * index);
  return result;
}

}  // namespace

int CJPEGDecoder::DecodeScanProgressive() {
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  marker = JPEG_MARKER_NONE;
  return isSpectral(*this) ? decodeScanAC() : decodeScanDC();
}

// A scan of one component: the blocks that hold image data, in the component's raster order.
int CJPEGDecoder::decodeScanAC() {
  BufferSizes sizes;
  computeBufferSizes(&sizes);
  CJPEGColorComponent& c = *components[scan_component];
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
      const int result = coefficients != nullptr
                             ? decodeBlock(*this, c, coefficients + 64 * block)
                             : decodeFirstBlock(*this, c, block, sizes.coefficients);
      if (result != JPEG_NO_ERROR) return result;
      if (restart_interval != 0) --restarts_to_go;
    }
  }
  if (approx_low == 0) c.ac_scan_done = 1;
  return JPEG_NO_ERROR;
}

// A scan of all components of the frame, whatever its header names.
int CJPEGDecoder::decodeScanDC() {
  BufferSizes sizes;
  computeBufferSizes(&sizes);
  std::ptrdiff_t block = 0;
  const std::ptrdiff_t mcus = std::ptrdiff_t{mcus_across} * mcus_down;
  for (std::ptrdiff_t mcu = 0; mcu < mcus; ++mcu) {
    if (isRestartDue()) {
      const int result = ProcessRestart();
      if (result != JPEG_NO_ERROR) return result;
    }
    for (int i = 0; i < component_count; ++i) {
      CJPEGColorComponent& c = *components[i];
      for (int b = c.hsampling * c.vsampling; b > 0; --b, ++block) {
        const int result = coefficients != nullptr
                               ? decodeBlock(*this, c, coefficients + 64 * block)
                               : decodeFirstBlock(*this, c, block, sizes.coefficients);
        if (result != JPEG_NO_ERROR) return result;
      }
    }
    if (restart_interval != 0) --restarts_to_go;
  }
  if (approx_low == 0) dc_scan_done = 1;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::PerformDCT() {
  if (mode != JPEG_MODE_PROGRESSIVE) return JPEG_INTERNAL_ERROR;
  if (coefficients == nullptr) {
    // Blocks of zeros become 128, whatever the quantisation table.
    const auto samples = static_cast<std::size_t>(std::int64_t{strip_stride} * strip_rows);
    for (int i = 0; i < component_count; ++i) {
      if (components[i]->ss_buffer == nullptr) return JPEG_INTERNAL_ERROR;
      std::memset(components[i]->ss_buffer, 128, samples);
    }
    return JPEG_NO_ERROR;
  }
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
