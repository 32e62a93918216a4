// Sequential scans (T.81 F.2), of a frame or of one packet: a row of MCUs at a time, from
// entropy-coded data to the destination. A row that fails does not end the image.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/decoder/output_stage.h"
#include "codecs/jpeg/library/decoder/sample_planes.h"
#include "codecs/jpeg/library/decoder/strip_decoder.h"
#include "codecs/jpeg/library/mcu_grid.h"

namespace qrx::jpeg {
namespace {

// Blocks that a failure leaves undecoded keep the coefficients of the row above. `done` gets how
// many were decoded.
int decodeRow(CJPEGDecoder& d, Ipp16s* blocks, int mcus, int* done) {
  *done = 0;
  return walkOf(d, mcus).mcus(
      1, [&d] { return openInterval(d); },
      [&d, blocks, done](CJPEGColorComponent& c, const BlockPlace& place) {
        const int result = keepCount(d, decodeBlock(d, c, blocks + 64 * place.index));
        if (result == JPEG_NO_ERROR) ++*done;
        return result;
      });
}

int transformRow(const CJPEGDecoder& d, const Ipp16s* blocks, int mcus) {
  return walkOf(d, mcus).mcus(
      1, [] { return JPEG_NO_ERROR; },
      [&d, blocks](const CJPEGColorComponent& c, const BlockPlace& place) {
        return transformBlock(d, c, blocks + 64 * place.index, stripPlane(d, c), place);
      });
}

// Behind the last MCU of a packet's first row lies memory that this packet never wrote. The
// up-sampling filter looks there, so each line's last sample is repeated to the plane's end.
void extendRow(const CJPEGDecoder& d, int mcus) {
  for (int i = 0; i < d.component_count; ++i) {
    const CJPEGColorComponent& c = *d.components[i];
    const SamplePlane plane = stripPlane(d, c);
    const int decoded = 8 * c.hsampling * mcus;
    const auto missing = static_cast<std::size_t>(d.strip_stride / c.h_factor - decoded);
    Ipp8u* line = plane.first;
    for (int y = 0; y < 8 * c.vsampling; ++y, line += plane.step) {
      std::memset(line + decoded, line[decoded - 1], missing);
    }
  }
}

void noteRow(const CJPEGDecoder& d, int done, int mcus) {
  DecoderRoom* const room = DecoderRoom::existing(d);
  if (room != nullptr) room->noteRow(done, mcus);
}

// Gives the samples of a row to the destination.
int showSamples(CJPEGDecoder& d, int slot, int row, const RowSpan& span) {
  if (d.tile_mcu_count >= 0 && row == 0) extendRow(d, span.mcus);
  if (d.sampling != JPEG_SAMPLING_444) QRX_TRY(d.UpSampling(row, slot));
  return convertRow(d, row, slot, span);
}

int showRow(CJPEGDecoder& d, const Ipp16s* blocks, int slot, int row, const RowSpan& span) {
  QRX_TRY(transformRow(d, blocks, span.mcus));
  return showSamples(d, slot, row, span);
}

// By the primitives.
int decodeAndShow(CJPEGDecoder& d, int row, const RowSpan& span) {
  holdBlocks(d, 0, span.mcus);
  int blocks = 0;
  decodeRow(d, d.block_buffer, span.mcus, &blocks);
  noteRow(d, blocks / d.mcu_blocks, span.mcus);
  return showRow(d, d.block_buffer, 0, row, span);
}

int decodeAndShow(CJPEGDecoder& d, StripDecoder& routes, int row, const RowSpan& span) {
  if (routes.shows()) routes.fetchTarget(row, span);
  noteRow(d, routes.decode(span.mcus), span.mcus);
  if (!routes.shows()) return showSamples(d, 0, row, span);
  routes.show(row, span);
  return JPEG_NO_ERROR;
}

// Where a scan begins.
struct ScanStart {
  explicit ScanStart(const CJPEGDecoder& d) : position(d.stream.position) {
    for (int i = 0; i < d.component_count; ++i) lastDc[i] = d.components[i]->last_dc;
  }
  int goBack(CJPEGDecoder& d) const {
    d.stream.position = position;
    for (int i = 0; i < d.component_count; ++i) d.components[i]->last_dc = lastDc[i];
    return startScan(d);
  }

  int position;
  Ipp16s lastDc[4];
};

// Goes through a scan without restarts once more, for the place where the primitives end in it:
// damaged data may end anywhere.
template <typename SpanOf>
int findEnd(CJPEGDecoder& d, const ScanStart& start, const SpanOf& spanOf) {
  QRX_TRY(start.goBack(d));
  for (int row = 0; row < d.mcus_down; ++row) {
    walkOf(d, spanOf(row).mcus)
        .mcus(
            1, [] { return JPEG_NO_ERROR; },
            [&d](CJPEGColorComponent& c, const BlockPlace&) {
              Ipp16s block[64];
              return decodeBlock(d, c, block);
            });
  }
  return JPEG_NO_ERROR;
}

// All rows, whatever becomes of each, unless memory runs out. `spanOf` tells the same of a row each
// time.
template <typename SpanOf>
int decodeRows(CJPEGDecoder& d, const SpanOf& spanOf) {
  StripDecoder routes(d);
  const ScanStart start(d);
  int result = JPEG_NO_ERROR;
  for (int row = 0; row < d.mcus_down && result != JPEG_OUT_OF_MEMORY; ++row) {
    const RowSpan span = spanOf(row);
    result = routes.decodes() ? decodeAndShow(d, routes, row, span) : decodeAndShow(d, row, span);
  }
  const bool standsAtEnd = !routes.decodes() || routes.standsAtEnd();
  if (result == JPEG_OUT_OF_MEMORY) return result;
  return standsAtEnd ? JPEG_NO_ERROR : findEnd(d, start, spanOf);
}

}  // namespace

void holdBlocks(CJPEGDecoder& d, int begun, int mcus) {
  DecoderRoom* const room = DecoderRoom::existing(d);
  if (room == nullptr || !room->heldMcus || *room->heldMcus >= mcus) return;
  const std::ptrdiff_t each = std::ptrdiff_t{64} * d.mcu_blocks;
  const int first = std::max(*room->heldMcus, begun);
  std::fill(d.block_buffer + each * first, d.block_buffer + each * mcus, Ipp16s{0});
  room->heldMcus = mcus;
}

}  // namespace qrx::jpeg

int CJPEGDecoder::DecodeScanBaseline() {
  QRX_TRY(qrx::jpeg::startScan(*this));
  if (room_ != nullptr) room_->startScan();
  return qrx::jpeg::decodeRows(*this, [this](int) {
    return qrx::jpeg::RowSpan{mcus_across, dest_width};
  });
}

// Only the packet's own MCUs: its first row starts anywhere in the rectangle, its last may end
// anywhere. Whoever places the pixels moves the first row.
int CJPEGDecoder::DecodeScanBaselineTiles() {
  QRX_TRY(qrx::jpeg::startScan(*this));
  const int rowLength = mcuCount(tile_width, mcu_width);
  const int firstColumn = tile_x / mcu_width;
  if (tile_x < 0 || firstColumn >= rowLength) return JPEG_BAD_SCAN_SEGMENT;
  if (tile_mcu_count == 0) return JPEG_NO_ERROR;

  const int firstRow = std::min(rowLength - firstColumn, mcus_across);
  const int otherRows = std::min(rowLength, mcus_across);
  return qrx::jpeg::decodeRows(*this, [&](int row) {
    const std::int64_t before = row == 0 ? 0 : firstRow + std::int64_t{otherRows} * (row - 1);
    const std::int64_t left = tile_mcu_count - before;
    const auto mcus = static_cast<int>(row == 0 ? std::min<std::int64_t>(left, firstRow)
                                                : std::clamp<std::int64_t>(left, 0, otherRows));
    // Colour conversion treats the last pixels of a line in another way: the first row ends with
    // the rectangle, as it does in a whole image.
    const int toEdge = tile_width - firstColumn * mcu_width;
    return qrx::jpeg::RowSpan{mcus, row == 0 ? std::min(dest_width, toEdge) : dest_width};
  });
}

int CJPEGDecoder::DecodeHuffmanMCURowBL(Ipp16s* pMCUBuf) {
  int blocks = 0;
  return qrx::jpeg::decodeRow(*this, pMCUBuf, mcus_across, &blocks);
}

int CJPEGDecoder::DCT_QNT_SSCC_MCURowBL(Ipp16s* pMCUBuf, int slot, int row) {
  return qrx::jpeg::showRow(*this, pMCUBuf, slot, row, {mcus_across, dest_width});
}

int CJPEGDecoder::ProcessRestart() {
  QRX_TRY(huffman_state.Init());
  for (int i = 0; i < component_count; ++i) components[i]->last_dc = 0;
  ParseRST();
  restarts_to_go = restart_interval;
  return JPEG_NO_ERROR;
}
