// The walk over a stream's markers: once to the first scan for the header, and from there to the
// end for the data.
#include <cstdint>

#include "codecs/jpeg/library/decoder/band_decoder.h"
#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/decoder_stages.h"
#include "codecs/jpeg/library/mcu_grid.h"

namespace qrx::jpeg {
namespace {

// Result of a step that ends the run without an error.
constexpr int kEndOfRun = 1;

// A small file must not keep a core busy with scan after scan.
constexpr int kMaxProgressiveScans = 100;
// Nor must one that makes a large picture be shown again and again on the way: behind so many
// pixels nothing more is looked at. Pictures of up to 2.6 megapixels have that many with 100 scans.
constexpr std::int64_t kMaxPixelsShown = std::int64_t{1} << 28;

// Whether a segment brings what the output stage works by: tables, or the transform that decides
// the colours.
bool changesPicture(_JPEG_MARKER marker) {
  return marker == JPEG_MARKER_DQT || marker == JPEG_MARKER_APP14;
}

bool isRestartMarker(_JPEG_MARKER marker) {
  return marker >= JPEG_MARKER_RST0 && marker <= JPEG_MARKER_RST7;
}

void settleGeometry(CJPEGDecoder& d) {
  const MCUSize mcu = mcuSize(d.mode, d.sampling);
  d.mcu_width = mcu.width;
  d.mcu_height = mcu.height;
  d.mcus_across = mcuCount(d.jpeg_width, d.mcu_width);
  d.mcus_down = mcuCount(d.jpeg_height, d.mcu_height);
  d.strip_stride = d.mcus_across * d.mcu_width;
  d.strip_rows = d.mode == JPEG_MODE_PROGRESSIVE ? d.mcus_down * d.mcu_height : d.mcu_height;
  d.pad_columns = d.strip_stride - d.jpeg_width;
  d.pad_rows = d.mcu_height * d.mcus_down - d.jpeg_height;
}

// The planes hold the padded frame, or in lossless mode the frame, and nothing beyond.
bool destinationFits(const CJPEGDecoder& d) {
  return d.dest_width >= 0 && d.dest_width <= d.strip_stride && d.dest_height >= 0 &&
         d.dest_height <= std::int64_t{d.mcus_down} * d.mcu_height;
}

int readPixels(CJPEGDecoder& d) {
  if (!destinationFits(d)) return JPEG_NOT_SUPPORTED;
  DecoderRoom* const room = DecoderRoom::of(d);
  if (room == nullptr) return JPEG_OUT_OF_MEMORY;
  room->scansSeen = 0;
  room->pixelsShown = 0;
  room->outputDue = false;
  return d.ParseJPEGBitStream(JPEG_READ_DATA);
}

// A run over the markers; `room` may be null where it reads no data.
class MarkerRun {
 public:
  MarkerRun(CJPEGDecoder& decoder, _JPEG_OPERATION op, DecoderRoom* room)
      : decoder_(decoder), op_(op), room_(room) {
    if (room != nullptr) room->bands.startRun();
  }
  ~MarkerRun() {
    if (room_ != nullptr) room_->bands.endRun();
  }
  MarkerRun(const MarkerRun&) = delete;
  MarkerRun& operator=(const MarkerRun&) = delete;

  int run();
  bool outputDue() const { return room_ != nullptr && room_->outputDue; }
  int showProgressive();

 private:
  int parseMarker();
  int parseSegment();
  int parseFrame();
  int parseScan();
  int decodeScan();
  int decodeProgressiveScan();
  int showOnTheWay();

  CJPEGDecoder& decoder_;
  const _JPEG_OPERATION op_;
  DecoderRoom* const room_;
};

int MarkerRun::run() {
  CJPEGDecoder& d = decoder_;
  clearMarker(d);
  for (;;) {
    if (d.marker == JPEG_MARKER_NONE) {
      if (d.stream.position == d.stream.capacity) {
        d.marker = JPEG_MARKER_EOI;  // a stream that simply ends counts as ended by EOI
        return d.ParseEOI();
      }
      QRX_TRY(d.NextMarker(&d.marker));
    }
    const int result = parseMarker();
    if (result == kEndOfRun) return JPEG_NO_ERROR;
    QRX_TRY(result);
  }
}

int MarkerRun::parseMarker() {
  if (outputDue() && changesPicture(decoder_.marker)) QRX_TRY(showOnTheWay());
  if (isRestartMarker(decoder_.marker)) return decoder_.ParseRST();
  switch (decoder_.marker) {
    case JPEG_MARKER_SOF0:
    case JPEG_MARKER_SOF1:
    case JPEG_MARKER_SOF2:
    case JPEG_MARKER_SOF3:
    case JPEG_MARKER_PDK: return parseFrame();
    case JPEG_MARKER_SOF5:
    case JPEG_MARKER_SOF6:
    case JPEG_MARKER_SOF7:
    case JPEG_MARKER_SOF9:
    case JPEG_MARKER_SOF10:
    case JPEG_MARKER_SOF11:
    case JPEG_MARKER_SOF13:
    case JPEG_MARKER_SOF14:
    case JPEG_MARKER_SOF15: return JPEG_NOT_SUPPORTED;
    case JPEG_MARKER_SOS: return parseScan();
    case JPEG_MARKER_EOI: decoder_.ParseEOI(); return kEndOfRun;
    default: return parseSegment();
  }
}

int MarkerRun::parseSegment() {
  switch (decoder_.marker) {
    case JPEG_MARKER_SOI: return decoder_.ParseSOI();
    case JPEG_MARKER_DHT: return decoder_.ParseDHT();
    case JPEG_MARKER_DQT: return decoder_.ParseDQT();
    case JPEG_MARKER_DRI: return decoder_.ParseDRI();
    case JPEG_MARKER_APP0: return decoder_.ParseAPP0();
    case JPEG_MARKER_APP14: return decoder_.ParseAPP14();
    case JPEG_MARKER_COM: return decoder_.ParseCOM();
    default: return decoder_.SkipMarker();
  }
}

int MarkerRun::parseFrame() {
  // Geometry is settled once, by the header run.
  if (op_ == JPEG_READ_DATA) return JPEG_BAD_FRAME_SEGMENT;
  switch (decoder_.marker) {
    case JPEG_MARKER_PDK: return decoder_.ParsePDK();
    case JPEG_MARKER_SOF2: return decoder_.ParseSOF2();
    case JPEG_MARKER_SOF3: return decoder_.ParseSOF3();
    default: return decoder_.ParseSOF0();
  }
}

int MarkerRun::parseScan() {
  CJPEGDecoder& d = decoder_;
  const int markerPosition = d.stream.position - 2;
  QRX_TRY(d.ParseSOS());
  if (op_ == JPEG_READ_HEADER) {
    d.stream.position = markerPosition;  // the data run reads the scan header again
    return kEndOfRun;
  }
  const int maxScans = d.mode == JPEG_MODE_PROGRESSIVE ? kMaxProgressiveScans : d.component_count;
  if (room_->scansSeen == maxScans) return kEndOfRun;
  ++room_->scansSeen;
  return decodeScan();
}

int MarkerRun::decodeScan() {
  CJPEGDecoder& d = decoder_;
  QRX_TRY(d.Init());
  switch (d.mode) {
    case JPEG_MODE_BASELINE:
      return d.tile_mcu_count < 0 ? d.DecodeScanBaseline() : d.DecodeScanBaselineTiles();
    case JPEG_MODE_LOSSLESS: return d.DecodeScanLossless();
    case JPEG_MODE_PROGRESSIVE: return decodeProgressiveScan();
  }
  return JPEG_INTERNAL_ERROR;
}

// The scan's own error is not returned: a damaged stream shows what arrived before the damage.
int MarkerRun::decodeProgressiveScan() {
  CJPEGDecoder& d = decoder_;
  const int result = d.DecodeScanProgressive();
  if (d.huffman_state.state == nullptr) return JPEG_OUT_OF_MEMORY;
  if (result == JPEG_OUT_OF_MEMORY) return result;
  if (result != JPEG_NO_ERROR) room_->isFaulty = true;
  d.ac_scans_done = 0;
  for (int i = 0; i < d.component_count; ++i) d.ac_scans_done += d.components[i]->ac_scan_done;
  const bool complete = d.dc_scan_done != 0 && d.ac_scans_done == d.component_count;
  // Every scan of a complete image is shown, so that the next one would only paint it over: one
  // picture at the end does. Good scans of an incomplete image are not, and leave what a failed one
  // has shown.
  room_->outputDue = complete;
  return complete || result == JPEG_NO_ERROR ? JPEG_NO_ERROR : showOnTheWay();
}

int MarkerRun::showOnTheWay() {
  QRX_TRY(showProgressive());
  const CJPEGDecoder& d = decoder_;
  room_->pixelsShown += std::int64_t{d.strip_stride} * d.strip_rows;
  return room_->pixelsShown > kMaxPixelsShown ? kEndOfRun : JPEG_NO_ERROR;
}

int MarkerRun::showProgressive() {
  room_->outputDue = false;
  if (showImage(decoder_)) return JPEG_NO_ERROR;
  QRX_TRY(decoder_.PerformDCT());
  QRX_TRY(decoder_.UpSampling());
  return decoder_.ColorConvert();
}

}  // namespace
}  // namespace qrx::jpeg

int CJPEGDecoder::ReadHeader(int* width, int* height, int* channels, _JPEG_COLOR* color,
                             _JPEG_SAMPLING* layout, int* samplePrecision) {
  QRX_TRY(ParseJPEGBitStream(JPEG_READ_HEADER));
  qrx::jpeg::settleGeometry(*this);
  *width = jpeg_width;
  *height = jpeg_height;
  *channels = component_count;
  *color = jpeg_color;
  *layout = sampling;
  *samplePrecision = precision;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ReadData() {
  tile_mcu_count = -1;
  return qrx::jpeg::readPixels(*this);
}

int CJPEGDecoder::ReadDataTiles(int mcuCount, int xOffset, int rectangleWidth) {
  tile_mcu_count = mcuCount;
  tile_x = xOffset;
  tile_width = rectangleWidth;
  return qrx::jpeg::readPixels(*this);
}

int CJPEGDecoder::ParseJPEGBitStream(_JPEG_OPERATION op) {
  using qrx::jpeg::DecoderRoom;
  const bool needsRoom = op != JPEG_READ_HEADER;
  DecoderRoom* const room = needsRoom ? DecoderRoom::of(*this) : DecoderRoom::existing(*this);
  if (needsRoom && room == nullptr) return JPEG_OUT_OF_MEMORY;
  qrx::jpeg::MarkerRun run(*this, op, room);
  const int result = run.run();
  if (op == JPEG_READ_DATA && run.outputDue()) QRX_TRY(run.showProgressive());
  return result;
}

int CJPEGDecoder::NextMarker(_JPEG_MARKER* next) {
  int byte = 0;
  for (;;) {
    do {
      if (stream._READ_BYTE(&byte) != JPEG_NO_ERROR) return JPEG_BUFFER_TOO_SMALL;
    } while (byte != 0xFF);
    do {
      if (stream._READ_BYTE(&byte) != JPEG_NO_ERROR) return JPEG_BUFFER_TOO_SMALL;
    } while (byte == 0xFF);
    if (byte != 0) {  // else a stuffed byte of entropy-coded data
      *next = static_cast<_JPEG_MARKER>(byte);
      return JPEG_NO_ERROR;
    }
  }
}

int CJPEGDecoder::ParseSOI() { return qrx::jpeg::clearMarker(*this); }
int CJPEGDecoder::ParseEOI() { return qrx::jpeg::clearMarker(*this); }

// Also inside a scan, where the entropy decoder may not have met the marker yet. Whatever marker
// turns up is taken for the restart marker.
int CJPEGDecoder::ParseRST() {
  if (marker == JPEG_MARKER_NONE && NextMarker(&marker) != JPEG_NO_ERROR) {
    return JPEG_INTERNAL_ERROR;
  }
  if (room_ != nullptr && marker != JPEG_MARKER_RST0 + next_restart) room_->isFaulty = true;
  next_restart = (next_restart + 1) % 8;
  return qrx::jpeg::clearMarker(*this);
}
