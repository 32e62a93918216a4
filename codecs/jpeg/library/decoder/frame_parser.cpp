// Frame and scan headers (T.81 B.2.2, B.2.3), and the packet segment that stands in for a frame
// header and its tables.
#include "codecs/jpeg/library/decoder/segment_reader.h"
#include "codecs/jpeg/library/default_tables.h"
#include "qrx/jpeg_decoder.h"

namespace {

constexpr int kTables = 4;  // of each kind

}  // namespace

int CJPEGDecoder::ParseSOF0() { return parseFrame(JPEG_MODE_BASELINE); }
int CJPEGDecoder::ParseSOF2() { return parseFrame(JPEG_MODE_PROGRESSIVE); }
int CJPEGDecoder::ParseSOF3() { return parseFrame(JPEG_MODE_LOSSLESS); }

int CJPEGDecoder::parseFrame(_JPEG_MODE frameMode) {
  const bool lossless = frameMode == JPEG_MODE_LOSSLESS;
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  precision = segment.readByte();
  if (lossless && (precision < 2 || precision > 16)) return JPEG_BAD_FRAME_SEGMENT;
  if (!lossless && precision != 8) return JPEG_NOT_SUPPORTED;
  jpeg_height = segment.readWord();
  jpeg_width = segment.readWord();
  component_count = segment.readByte();
  if (lossless && component_count != 1) return JPEG_NOT_SUPPORTED;
  if (component_count > 4) return JPEG_BAD_FRAME_SEGMENT;
  if (segment.remaining != 3 * component_count) return JPEG_BAD_SEGMENT_LENGTH;
  const int result = readFrameComponents(segment);
  if (result != JPEG_NO_ERROR) return result;
  if (frameMode == JPEG_MODE_PROGRESSIVE) {
    for (int i = 0; i < component_count; ++i) components[i]->comp_no = i;
  }
  mode = frameMode;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

// The component entries of a frame header or a packet segment, and the layout that they make.
int CJPEGDecoder::readFrameComponents(SegmentReader& segment) {
  deleteComponents();
  for (int i = 0; i < component_count; ++i) {
    CJPEGColorComponent* c = components[i] = new CJPEGColorComponent;
    c->id = segment.readByte();
    const int factors = segment.readByte();
    c->hsampling = factors >> 4;
    c->vsampling = factors & 15;
    c->q_selector = segment.readByte();
    if (c->hsampling < 1 || c->vsampling < 1 || c->q_selector >= kTables) {
      return JPEG_BAD_FRAME_SEGMENT;
    }
  }
  const int result = _set_sampling();
  if (result != JPEG_NO_ERROR) return result;
  for (int i = 0; i < component_count; ++i) {
    components[i]->h_factor = isReduced(i) ? 2 : 1;
    components[i]->v_factor = isReduced(i) && sampling == JPEG_SAMPLING_420 ? 2 : 1;
  }
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseSOS() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  sos_length = segment.remaining + 2;
  const int count = segment.readByte();
  if (count < 1 || count > 4) return JPEG_BAD_SCAN_SEGMENT;
  if (mode != JPEG_MODE_PROGRESSIVE && count < component_count) return JPEG_NOT_SUPPORTED;
  if (segment.remaining != 2 * count + 3) return JPEG_BAD_SEGMENT_LENGTH;
  for (int i = 0; i < count; ++i) {
    const int id = segment.readByte();
    const int tables = segment.readByte();
    int index = 0;
    while (index < component_count && components[index]->id != id) ++index;
    if (index == component_count) return JPEG_BAD_COMPONENT_ID;
    scan_component = index;
    components[index]->dc_selector = tables >> 4;
    components[index]->ac_selector = tables & 15;
    if (tables >> 4 >= kTables || (tables & 15) >= kTables) return JPEG_BAD_SCAN_SEGMENT;
  }
  scan_start = segment.readByte();
  scan_end = segment.readByte();
  const int approximation = segment.readByte();
  approx_high = approximation >> 4;
  approx_low = approximation & 15;
  // A point transform leaves at least one bit of a sample (T.81 B.2.3).
  if (mode == JPEG_MODE_LOSSLESS && approx_low >= precision) return JPEG_BAD_SCAN_SEGMENT;
  settleColor();
  restarts_to_go = restart_interval;
  next_restart = 0;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

// Colour space of the stream, from the application segments in front of the scan. Adobe wins over
// JFIF; without any of them three components are YCbCr.
void CJPEGDecoder::settleColor() {
  const bool adobe = adobe_found != 0;
  if (adobe && adobe_transform == 2) {
    jpeg_color = JPEG_COLOR_YCCK;
  } else if (component_count == 1 && (!adobe || adobe_transform <= 1)) {
    jpeg_color = JPEG_COLOR_GRAY;
  } else if (adobe && adobe_transform == 1) {
    jpeg_color = JPEG_COLOR_YCBCR;
  } else if (adobe && adobe_transform == 0) {
    jpeg_color = component_count == 3   ? JPEG_COLOR_RGB
                 : component_count == 4 ? JPEG_COLOR_CMYK
                                        : JPEG_COLOR_NONE;
  } else {
    jpeg_color = !adobe && component_count == 3 ? JPEG_COLOR_YCBCR : JPEG_COLOR_NONE;
  }
}

int CJPEGDecoder::ParsePDK() {
  if (std::int64_t{stream.position} + 2 >= stream.capacity) return JPEG_BUFFER_TOO_SMALL;
  SegmentReader segment(stream);
  quality = segment.readWord();
  mode = JPEG_MODE_BASELINE;
  jpeg_height = segment.readWord();
  jpeg_width = segment.readWord();
  component_count = segment.readByte();
  if (component_count > 4) return JPEG_BAD_FRAME_SEGMENT;
  int result = readFrameComponents(segment);
  if (result != JPEG_NO_ERROR) return result;
  if ((result = initDefaultTables()) != JPEG_NO_ERROR) return result;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

// A packet carries no tables: both sides derive them from the quality.
int CJPEGDecoder::initDefaultTables() {
  const auto tableOf = [this](const DefaultHuffmanTable& source) -> CJPEGDecoderHuffmanTable& {
    return source.tableClass == 0 ? dc_tables[source.id] : ac_tables[source.id];
  };
  for (const DefaultHuffmanTable& source : DefaultHuffmanTables) {
    if (tableOf(source).empty) tableOf(source).Create();
  }
  int result = quant_tables[0].Init(0, quality, DefaultLuminanceQuant);
  if (result != JPEG_NO_ERROR) return result;
  if ((result = quant_tables[1].Init(1, quality, DefaultChrominanceQuant)) != 0) return result;
  for (const DefaultHuffmanTable& source : DefaultHuffmanTables) {
    result = tableOf(source).Init(source.id, source.tableClass, source.bits, source.values);
    if (result != JPEG_NO_ERROR) return result;
  }
  return JPEG_NO_ERROR;
}
