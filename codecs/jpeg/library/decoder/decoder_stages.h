// What the decoder's scans share: their start, restart intervals, the calls of the entropy
// primitives.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_STAGES_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_STAGES_H_

#include "codecs/jpeg/library/mcu_walk.h"
#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_decoder.h"
#include "qrx/primitives.h"

namespace qrx::jpeg {

// Puts the marker in hand away: it was handled, or a scan starts that reads its own.
inline int clearMarker(CJPEGDecoder& decoder) {
  decoder.marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

// All of a row of `mcus` MCUs holds blocks from now on: zeros from MCU `begun` on, where nothing
// was held before.
void holdBlocks(CJPEGDecoder& decoder, int begun, int mcus);

// Makes the entropy decoder ready for a scan.
inline int startScan(CJPEGDecoder& decoder) {
  QRX_TRY(decoder.huffman_state.Init());
  return clearMarker(decoder);
}

// The walk over the blocks of rows of `across` MCUs.
inline MCUWalk walkOf(const CJPEGDecoder& decoder, int across) {
  return MCUWalk(decoder.components, decoder.component_count, across);
}

// Counts one MCU, or block of a single component, into the restart interval, and passes over the
// restart marker in front of it where the interval is full.
inline int openInterval(CJPEGDecoder& decoder) {
  if (decoder.restart_interval == 0) return JPEG_NO_ERROR;
  if (decoder.restarts_to_go == 0) QRX_TRY(decoder.ProcessRestart());
  --decoder.restarts_to_go;
  return JPEG_NO_ERROR;
}

// Takes the count back where decoding has failed: what was not finished does not count.
inline int keepCount(CJPEGDecoder& decoder, int result) {
  if (result != JPEG_NO_ERROR && decoder.restart_interval != 0) ++decoder.restarts_to_go;
  return result;
}

// Calls an entropy primitive, which takes and leaves the marker in hand.
template <typename Decode>
int decodeCode(CJPEGDecoder& decoder, const Decode& decode) {
  int met = decoder.marker;
  const IppStatus status = decode(&met);
  decoder.marker = static_cast<_JPEG_MARKER>(met);
  return resultOf(status);
}

// Lets a fused route, of strips or of bands, read where the decoder stands.
template <typename Scan>
void setRouteStream(CJPEGDecoder& decoder, Scan* scan) {
  scan->bytes = decoder.stream.data;
  scan->length = decoder.stream.capacity;
  scan->position = &decoder.stream.position;
  scan->marker = reinterpret_cast<int*>(&decoder.marker);
  scan->state = decoder.huffman_state.state;
}

// Decodes a block of a sequential scan.
inline int decodeBlock(CJPEGDecoder& decoder, CJPEGColorComponent& c, Ipp16s* block) {
  return decodeCode(decoder, [&](int* marker) {
    return ippiDecodeHuffman8x8_JPEG_1u16s_C1(
        decoder.stream.data, decoder.stream.capacity, &decoder.stream.position, block, &c.last_dc,
        marker, decoder.dc_tables[c.dc_selector].spec, decoder.ac_tables[c.ac_selector].spec,
        decoder.huffman_state.state);
  });
}

// Deletes all components and with them their planes.
void deleteComponents(CJPEGDecoder& decoder);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_DECODER_STAGES_H_
