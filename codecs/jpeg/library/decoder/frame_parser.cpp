// Frame and scan headers (T.81 B.2.2, B.2.3), and the packet segment that stands in for a frame
// header and its tables.
#include <cstddef>
#include <cstring>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/segment_reader.h"
#include "codecs/jpeg/library/default_tables.h"
#include "codecs/jpeg/library/mcu_grid.h"
#include "codecs/jpeg/library/table_lists.h"

namespace qrx::jpeg {
namespace {

constexpr int kTables = 4;  // of each kind

// The component entries of a frame header or a packet segment, and the layout that they make.
int readFrameComponents(CJPEGDecoder& d, SegmentReader& segment) {
  deleteComponents(d);
  for (int i = 0; i < d.component_count; ++i) {
    CJPEGColorComponent* c = d.components[i] = new CJPEGColorComponent;
    c->id = segment.readByte();
    const int factors = segment.readByte();
    c->hsampling = factors >> 4;
    c->vsampling = factors & 15;
    c->q_selector = segment.readByte();
    if (c->hsampling < 1 || c->vsampling < 1 || c->q_selector >= kTables) {
      return JPEG_BAD_FRAME_SEGMENT;
    }
  }
  QRX_TRY(d._set_sampling());
  for (int i = 0; i < d.component_count; ++i) {
    const ComponentSampling layout = componentSampling(d.sampling, i);
    d.components[i]->h_factor = layout.reductionAcross;
    d.components[i]->v_factor = layout.reductionDown;
  }
  return JPEG_NO_ERROR;
}

int readFrame(CJPEGDecoder& d, SegmentReader& segment, _JPEG_MODE mode) {
  const bool lossless = mode == JPEG_MODE_LOSSLESS;
  d.precision = segment.readByte();
  if (lossless && (d.precision < 2 || d.precision > 16)) return JPEG_BAD_FRAME_SEGMENT;
  if (!lossless && d.precision != 8) return JPEG_NOT_SUPPORTED;
  d.jpeg_height = segment.readWord();
  d.jpeg_width = segment.readWord();
  d.component_count = segment.readByte();
  if (lossless && d.component_count != 1) return JPEG_NOT_SUPPORTED;
  if (d.component_count > 4) return JPEG_BAD_FRAME_SEGMENT;
  if (segment.remaining != 3 * d.component_count) return JPEG_BAD_SEGMENT_LENGTH;
  QRX_TRY(readFrameComponents(d, segment));
  if (mode == JPEG_MODE_PROGRESSIVE) {
    for (int i = 0; i < d.component_count; ++i) d.components[i]->comp_no = i;
  }
  d.mode = mode;
  return JPEG_NO_ERROR;
}

int parseFrame(CJPEGDecoder& decoder, _JPEG_MODE mode) {
  return parseSegment(decoder, [mode](CJPEGDecoder& d, SegmentReader& segment) {
    return readFrame(d, segment, mode);
  });
}

// Colour space of the stream, from the application segments in front of the scan. Adobe wins over
// JFIF; without any of them three components are YCbCr.
_JPEG_COLOR settledColor(const CJPEGDecoder& d) {
  const int count = d.component_count, transform = d.adobe_transform;
  if (d.adobe_found == 0) {
    if (count == 1) return JPEG_COLOR_GRAY;
    return count == 3 ? JPEG_COLOR_YCBCR : JPEG_COLOR_NONE;
  }
  if (transform == 2) return JPEG_COLOR_YCCK;
  if (count == 1 && transform <= 1) return JPEG_COLOR_GRAY;
  if (transform == 1) return JPEG_COLOR_YCBCR;
  if (transform != 0) return JPEG_COLOR_NONE;
  if (count == 3) return JPEG_COLOR_RGB;
  return count == 4 ? JPEG_COLOR_CMYK : JPEG_COLOR_NONE;
}

// The entries of a scan header: which component, and its Huffman tables.
int readScanComponents(CJPEGDecoder& d, SegmentReader& segment, int count) {
  for (int i = 0; i < count; ++i) {
    const int id = segment.readByte();
    const int tables = segment.readByte();
    int index = 0;
    while (index < d.component_count && d.components[index]->id != id) ++index;
    if (index == d.component_count) return JPEG_BAD_COMPONENT_ID;
    d.scan_component = index;
    d.components[index]->dc_selector = tables >> 4;
    d.components[index]->ac_selector = tables & 15;
    if (tables >> 4 >= kTables || (tables & 15) >= kTables) return JPEG_BAD_SCAN_SEGMENT;
  }
  return JPEG_NO_ERROR;
}

int readScan(CJPEGDecoder& d, SegmentReader& segment) {
  d.sos_length = segment.remaining + 2;
  const int count = segment.readByte();
  if (count < 1 || count > 4) return JPEG_BAD_SCAN_SEGMENT;
  if (d.mode != JPEG_MODE_PROGRESSIVE && count < d.component_count) return JPEG_NOT_SUPPORTED;
  if (segment.remaining != 2 * count + 3) return JPEG_BAD_SEGMENT_LENGTH;
  QRX_TRY(readScanComponents(d, segment, count));
  d.scan_start = segment.readByte();
  d.scan_end = segment.readByte();
  const int approximation = segment.readByte();
  d.approx_high = approximation >> 4;
  d.approx_low = approximation & 15;
  // A point transform leaves at least one bit of a sample (T.81 B.2.3).
  if (d.mode == JPEG_MODE_LOSSLESS && d.approx_low >= d.precision) return JPEG_BAD_SCAN_SEGMENT;
  d.jpeg_color = settledColor(d);
  d.restarts_to_go = d.restart_interval;
  d.next_restart = 0;
  return JPEG_NO_ERROR;
}

CJPEGDecoderHuffmanTable& tableOf(CJPEGDecoder& d, const DefaultHuffmanTable& source) {
  return source.tableClass == 0 ? d.dc_tables[source.id] : d.ac_tables[source.id];
}

bool holds(const CJPEGDecoderHuffmanTable& table, const DefaultHuffmanTable& source,
           const IppiDecodeHuffmanSpec& spec) {
  const auto count = static_cast<std::size_t>(symbolCount(source.bits));
  return table.spec != nullptr && table.id == source.id && table.table_class == source.tableClass &&
         std::memcmp(table.bits, source.bits, sizeof table.bits) == 0 &&
         std::memcmp(table.values, source.values, count) == 0 &&
         std::memcmp(table.spec, &spec, sizeof spec) == 0;
}

// Whether the decoder's tables still are what the packet before made them.
bool holds(CJPEGDecoder& d, const PacketTables& tables) {
  if (!tables.made || tables.quality != d.quality) return false;
  for (int i = 0; i < 2; ++i) {
    const CJPEGDecoderQuantTable& table = d.quant_tables[i];
    if (table.id != i || table.precision != 0 || table.initialized != 1 ||
        std::memcmp(table.raw, tables.raw[i], sizeof tables.raw[i]) != 0 ||
        std::memcmp(table.inverse, tables.inverse[i], sizeof tables.inverse[i]) != 0) {
      return false;
    }
  }
  for (int i = 0; i < 4; ++i) {
    const DefaultHuffmanTable& source = DefaultHuffmanTables[i];
    if (!holds(tableOf(d, source), source, tables.specs[i])) return false;
  }
  return true;
}

void remember(CJPEGDecoder& d, PacketTables* tables) {
  tables->made = true;
  tables->quality = d.quality;
  for (int i = 0; i < 2; ++i) {
    std::memcpy(tables->raw[i], d.quant_tables[i].raw, sizeof tables->raw[i]);
    std::memcpy(tables->inverse[i], d.quant_tables[i].inverse, sizeof tables->inverse[i]);
  }
  for (int i = 0; i < 4; ++i) tables->specs[i] = *tableOf(d, DefaultHuffmanTables[i]).spec;
}

// A packet carries no tables: both sides derive them from the quality.
int initDefaultTables(CJPEGDecoder& d) {
  DecoderRoom* const room = DecoderRoom::of(d);
  if (room != nullptr && room->known.packet && room->packetTables.quality == d.quality) {
    return JPEG_NO_ERROR;
  }
  if (room != nullptr && holds(d, room->packetTables)) {
    room->known.packet = room->known.lasts;
    return JPEG_NO_ERROR;
  }
  noteTableChange(d);
  for (const DefaultHuffmanTable& source : DefaultHuffmanTables) {
    if (tableOf(d, source).empty && tableOf(d, source).Create() != JPEG_NO_ERROR) {
      noteLackOfMemory(d);
    }
  }
  QRX_TRY(d.quant_tables[0].Init(0, d.quality, DefaultLuminanceQuant));
  QRX_TRY(d.quant_tables[1].Init(1, d.quality, DefaultChrominanceQuant));
  for (const DefaultHuffmanTable& source : DefaultHuffmanTables) {
    QRX_TRY(tableOf(d, source).Init(source.id, source.tableClass, source.bits, source.values));
  }
  if (room != nullptr) {
    remember(d, &room->packetTables);
    room->known.packet = room->known.lasts;
  }
  return JPEG_NO_ERROR;
}

}  // namespace
}  // namespace qrx::jpeg

using qrx::jpeg::parseFrame;

int CJPEGDecoder::ParseSOF0() { return parseFrame(*this, JPEG_MODE_BASELINE); }
int CJPEGDecoder::ParseSOF2() { return parseFrame(*this, JPEG_MODE_PROGRESSIVE); }
int CJPEGDecoder::ParseSOF3() { return parseFrame(*this, JPEG_MODE_LOSSLESS); }

int CJPEGDecoder::ParseSOS() { return qrx::jpeg::parseSegment(*this, qrx::jpeg::readScan); }

int CJPEGDecoder::ParsePDK() {
  qrx::jpeg::SegmentReader segment(stream);  // without a length word
  QRX_TRY(segment.needWord());
  quality = segment.readWord();
  mode = JPEG_MODE_BASELINE;
  jpeg_height = segment.readWord();
  jpeg_width = segment.readWord();
  component_count = segment.readByte();
  if (component_count > 4) return JPEG_BAD_FRAME_SEGMENT;
  QRX_TRY(qrx::jpeg::readFrameComponents(*this, segment));
  QRX_TRY(qrx::jpeg::initDefaultTables(*this));
  return qrx::jpeg::clearMarker(*this);
}
