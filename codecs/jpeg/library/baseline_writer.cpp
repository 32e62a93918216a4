// The baseline writer: strip by strip, block by block, from source pixels to one whole image.
#include "codecs/jpeg/library/block_buffer.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

int CJPEGEncoder::WriteImageBaseline() {
  int result = initFor(JPEG_MODE_BASELINE);
  if (result != JPEG_NO_ERROR) return result;
  const bool single = component_count == 1;
  if ((result = WriteSOI()) != 0) return result;
  if ((result = writeApplicationSegment()) != 0) return result;
  if ((result = WriteCOM(nullptr)) != 0) return result;
  if ((result = WriteDQT(&quant_tables[0])) != 0) return result;
  if (!single && (result = WriteDQT(&quant_tables[1])) != 0) return result;
  if ((result = WriteSOF0()) != 0) return result;
  if ((result = WriteDHT(&dc_tables[0])) != 0) return result;
  if (!single && (result = WriteDHT(&dc_tables[1])) != 0) return result;
  if ((result = WriteDHT(&ac_tables[0])) != 0) return result;
  if (!single && (result = WriteDHT(&ac_tables[1])) != 0) return result;
  if (restart_interval != 0 && (result = WriteDRI(restart_interval)) != 0) return result;
  if ((result = WriteSOS()) != 0) return result;

  BlockBuffer block;
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  for (int strip = 0; strip < mcus_down; ++strip) {
    if ((result = ColorConvert(strip)) != 0) return result;
    if ((result = DownSampling(strip)) != 0) return result;
    for (int column = 0; column < mcus_across; ++column) {
      if ((result = encodeMCUWithRestart(column, block)) != 0) return result;
    }
  }
  if ((result = flushBaseline()) != 0) return result;
  return WriteEOI();
}

// Codes one MCU, with a restart marker in front of it where an interval is full.
int CJPEGEncoder::encodeMCUWithRestart(int column, BlockBuffer& block) {
  if (restart_interval != 0) {
    if (restarts_to_go == 0) {
      const int result = ProcessRestart(nullptr, 0, 63, 0, 0);
      if (result != JPEG_NO_ERROR) return result;
    }
    --restarts_to_go;
  }
  return encodeMCU(column, block);
}

// Codes the blocks of one MCU of the current strip, component by component.
int CJPEGEncoder::encodeMCU(int column, BlockBuffer& block) {
  Ipp16s* const values = block.data();
  for (int i = 0; i < component_count; ++i) {
    CJPEGColorComponent& c = *components[i];
    const Ipp16u* quant = quant_tables[c.q_selector].fwd_table;
    const IppiEncodeHuffmanSpec* dc = dc_tables[c.dc_selector].spec;
    const IppiEncodeHuffmanSpec* ac = ac_tables[c.ac_selector].spec;
    const Ipp8u* line = c.ss_buffer + 8 * c.hsampling * column;
    for (int v = 0; v < c.vsampling; ++v, line += 8 * strip_stride) {
      for (int h = 0; h < c.hsampling; ++h) {
        if (ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(line + 8 * h, strip_stride, values, quant) < 0) {
          return JPEG_INTERNAL_ERROR;
        }
        if (ippiEncodeHuffman8x8_JPEG_16s1u_C1(values, stream.data, stream.capacity,
                                               &stream.position, &c.last_dc, dc, ac,
                                               huffman_state.state, 0) < 0) {
          return JPEG_INTERNAL_ERROR;
        }
      }
    }
  }
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::flushBaseline() {
  const IppStatus status =
      ippiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, stream.data, stream.capacity, &stream.position,
                                         nullptr, nullptr, nullptr, huffman_state.state, 1);
  return status < 0 ? JPEG_INTERNAL_ERROR : JPEG_NO_ERROR;
}
