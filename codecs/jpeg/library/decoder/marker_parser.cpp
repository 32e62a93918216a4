// The walk over a stream's markers: once to the first scan for the header, and from there to the
// end for the data.
#include "codecs/jpeg/library/decoder/segment_reader.h"
#include "qrx/jpeg_decoder.h"

namespace {

// Result of a step that ends the run without an error.
constexpr int kEndOfRun = 1;

// A small file must not keep a core busy with scan after scan.
constexpr int kMaxProgressiveScans = 100;

// Whether a segment brings what the output stage works by: tables, or the transform that decides
// the colours.
bool changesPicture(_JPEG_MARKER marker) {
  return marker == JPEG_MARKER_DQT || marker == JPEG_MARKER_APP14;
}

bool isRestartMarker(_JPEG_MARKER marker) {
  return marker >= JPEG_MARKER_RST0 && marker <= JPEG_MARKER_RST7;
}

}  // namespace

int CJPEGDecoder::ReadHeader(int* width, int* height, int* channels, _JPEG_COLOR* color,
                             _JPEG_SAMPLING* layout, int* samplePrecision) {
  const int result = ParseJPEGBitStream(JPEG_READ_HEADER);
  if (result != JPEG_NO_ERROR) return result;
  settleGeometry();
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
  return readPixels();
}

int CJPEGDecoder::ReadDataTiles(int mcuCount, int xOffset, int rectangleWidth) {
  tile_mcu_count = mcuCount;
  tile_x = xOffset;
  tile_width = rectangleWidth;
  return readPixels();
}

int CJPEGDecoder::readPixels() {
  if (!destinationFits()) return JPEG_NOT_SUPPORTED;
  scans_seen_ = 0;
  output_due_ = false;
  return ParseJPEGBitStream(JPEG_READ_DATA);
}

// The planes hold the padded frame, or in lossless mode the frame, and nothing beyond.
bool CJPEGDecoder::destinationFits() const {
  return dest_width >= 0 && dest_width <= strip_stride && dest_height >= 0 &&
         dest_height <= std::int64_t{mcus_down} * mcu_height;
}

int CJPEGDecoder::ParseJPEGBitStream(_JPEG_OPERATION op) {
  const int result = runParser(op);
  if (op == JPEG_READ_DATA && output_due_) {
    const int shown = showProgressive();
    if (shown != JPEG_NO_ERROR) return shown;
  }
  return result;
}

int CJPEGDecoder::runParser(_JPEG_OPERATION op) {
  marker = JPEG_MARKER_NONE;
  for (;;) {
    if (marker == JPEG_MARKER_NONE) {
      if (stream.position == stream.capacity) {
        marker = JPEG_MARKER_EOI;  // a stream that simply ends counts as ended by EOI
        return ParseEOI();
      }
      const int result = NextMarker(&marker);
      if (result != JPEG_NO_ERROR) return result;
    }
    const int result = parseMarker(op);
    if (result == kEndOfRun) return JPEG_NO_ERROR;
    if (result != JPEG_NO_ERROR) return result;
  }
}

int CJPEGDecoder::parseMarker(_JPEG_OPERATION op) {
  if (output_due_ && changesPicture(marker)) {
    const int shown = showProgressive();
    if (shown != JPEG_NO_ERROR) return shown;
  }
  if (isRestartMarker(marker)) return ParseRST();
  switch (marker) {
    case JPEG_MARKER_SOF0:
    case JPEG_MARKER_SOF1:
    case JPEG_MARKER_SOF2:
    case JPEG_MARKER_SOF3:
    case JPEG_MARKER_PDK:
      // Geometry is settled once, by the header run.
      if (op == JPEG_READ_DATA) return JPEG_BAD_FRAME_SEGMENT;
      if (marker == JPEG_MARKER_PDK) return ParsePDK();
      if (marker == JPEG_MARKER_SOF2) return ParseSOF2();
      return marker == JPEG_MARKER_SOF3 ? ParseSOF3() : ParseSOF0();
    case JPEG_MARKER_SOF5:
    case JPEG_MARKER_SOF6:
    case JPEG_MARKER_SOF7:
    case JPEG_MARKER_SOF9:
    case JPEG_MARKER_SOF10:
    case JPEG_MARKER_SOF11:
    case JPEG_MARKER_SOF13:
    case JPEG_MARKER_SOF14:
    case JPEG_MARKER_SOF15: return JPEG_NOT_SUPPORTED;
    case JPEG_MARKER_DHT: return ParseDHT();
    case JPEG_MARKER_SOI: return ParseSOI();
    case JPEG_MARKER_EOI: ParseEOI(); return kEndOfRun;
    case JPEG_MARKER_SOS: return parseScan(op);
    case JPEG_MARKER_DQT: return ParseDQT();
    case JPEG_MARKER_DRI: return ParseDRI();
    case JPEG_MARKER_APP0: return ParseAPP0();
    case JPEG_MARKER_APP14: return ParseAPP14();
    case JPEG_MARKER_COM: return ParseCOM();
    default: return SkipMarker();
  }
}

int CJPEGDecoder::parseScan(_JPEG_OPERATION op) {
  const int markerPosition = stream.position - 2;
  const int result = ParseSOS();
  if (result != JPEG_NO_ERROR) return result;
  if (op == JPEG_READ_HEADER) {
    stream.position = markerPosition;  // the data run reads the scan header again
    return kEndOfRun;
  }
  const int maxScans = mode == JPEG_MODE_PROGRESSIVE ? kMaxProgressiveScans : component_count;
  if (scans_seen_ == maxScans) return kEndOfRun;
  ++scans_seen_;
  return decodeScan();
}

int CJPEGDecoder::decodeScan() {
  const int result = Init();
  if (result != JPEG_NO_ERROR) return result;
  switch (mode) {
    case JPEG_MODE_BASELINE:
      return tile_mcu_count < 0 ? DecodeScanBaseline() : DecodeScanBaselineTiles();
    case JPEG_MODE_LOSSLESS: return DecodeScanLossless();
    case JPEG_MODE_PROGRESSIVE: return decodeProgressiveScan();
  }
  return JPEG_INTERNAL_ERROR;
}

// The scan's own error is not returned: a damaged stream shows what arrived before the damage.
int CJPEGDecoder::decodeProgressiveScan() {
  const int result = DecodeScanProgressive();
  if (result == JPEG_OUT_OF_MEMORY) return result;
  ac_scans_done = 0;
  for (int i = 0; i < component_count; ++i) ac_scans_done += components[i]->ac_scan_done;
  const bool complete = dc_scan_done != 0 && ac_scans_done == component_count;
  // Every scan of a complete image is shown, so that the next one would only paint it over: one
  // picture at the end does. Good scans of an incomplete image are not, and leave what a failed one
  // has shown.
  output_due_ = complete;
  return complete || result == JPEG_NO_ERROR ? JPEG_NO_ERROR : showProgressive();
}

int CJPEGDecoder::showProgressive() {
  output_due_ = false;
  int result = PerformDCT();
  if (result != JPEG_NO_ERROR) return result;
  if ((result = UpSampling()) != JPEG_NO_ERROR) return result;
  return ColorConvert();
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

// Opens the segment at the position. False with *error set where there is no sound length word.
bool CJPEGDecoder::beginSegment(SegmentReader* segment, int* error) {
  if (std::int64_t{stream.position} + 2 >= stream.capacity) {
    *error = JPEG_BUFFER_TOO_SMALL;
    return false;
  }
  const int length = segment->readWord();
  if (length < 2) {
    *error = JPEG_BAD_SEGMENT_LENGTH;
    return false;
  }
  segment->remaining = length - 2;
  return true;
}

int CJPEGDecoder::SkipMarker() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  segment.skipRest();
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseSOI() {
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseEOI() {
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

// Also inside a scan, where the entropy decoder may not have met the marker yet. Whatever marker
// turns up is taken for the restart marker.
int CJPEGDecoder::ParseRST() {
  if (marker == JPEG_MARKER_NONE && NextMarker(&marker) != JPEG_NO_ERROR) {
    return JPEG_INTERNAL_ERROR;
  }
  marker = JPEG_MARKER_NONE;
  next_restart = (next_restart + 1) % 8;
  return JPEG_NO_ERROR;
}
