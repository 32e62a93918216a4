// The scan of one packet: only its own MCUs are decoded, in rows of varying length. Every row
// starts at the planes' column 0; whoever places the pixels moves the first row.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "codecs/jpeg/library/mcu_grid.h"
#include "qrx/jpeg_decoder.h"

int CJPEGDecoder::DecodeScanBaselineTiles() {
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  marker = JPEG_MARKER_NONE;
  const int across = mcus_across;
  const int rowLength = mcuCount(tile_width, mcu_width);
  const int firstColumn = tile_x / mcu_width;
  if (tile_x < 0 || firstColumn >= rowLength) return JPEG_BAD_SCAN_SEGMENT;

  if (tile_mcu_count == 0) return JPEG_NO_ERROR;
  const int width = dest_width;
  int remaining = tile_mcu_count;
  for (int row = 0; row < mcus_down; ++row) {
    const int room = std::min(row == 0 ? rowLength - firstColumn : rowLength, across);
    const int count = std::min(remaining, room);
    mcus_across = count;  // the row decoders take it from here
    // Colour conversion treats the last pixels of a line in another way: the first row ends with
    // the rectangle, as it does in a whole image.
    dest_width = row == 0 ? std::min(width, tile_width - firstColumn * mcu_width) : width;
    DecodeHuffmanMCURowBL(block_buffer);
    DCT_QNT_SSCC_MCURowBL(block_buffer, 0, row);
    remaining -= count;
  }
  mcus_across = across;
  dest_width = width;
  return JPEG_NO_ERROR;
}

// Behind the last MCU of a packet's first row lies memory that this packet never wrote. The
// up-sampling filter looks there, so each line's last sample is repeated to the plane's end.
void CJPEGDecoder::extendFirstRow() {
  for (int i = 0; i < component_count; ++i) {
    const CJPEGColorComponent& c = *components[i];
    int step = 0;
    Ipp8u* line = blockPlace(c, 0, 0, 0, &step);
    const int decoded = 8 * c.hsampling * mcus_across;
    const int wanted = strip_stride / c.h_factor;
    for (int y = 0; y < 8 * c.vsampling; ++y, line += step) {
      std::memset(line + decoded, line[decoded - 1], static_cast<std::size_t>(wanted - decoded));
    }
  }
}
