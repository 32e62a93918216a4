// The segments that carry tables, intervals, comments and application data (T.81 B.2.4).
#include <cstdio>
#include <string_view>

#include "codecs/jpeg/library/decoder/decoder_room.h"
#include "codecs/jpeg/library/decoder/segment_reader.h"
#include "codecs/jpeg/library/table_lists.h"

namespace qrx::jpeg {
namespace {

using namespace std::string_view_literals;

int readAPP0(CJPEGDecoder& d, SegmentReader& segment) {
  if (segment.remaining > 13 && segment.take("JFIF\0"sv)) {
    d.jfif_found = 1;
    d.jfif_major = segment.readByte();
    d.jfif_minor = segment.readByte();
    d.jfif_units = segment.readByte();
    d.jfif_x_density = segment.readWord();
    d.jfif_y_density = segment.readWord();
    d.jfif_thumb_width = segment.readByte();
    d.jfif_thumb_height = segment.readByte();
  }
  if (segment.remaining > 5 && segment.take("JFXX\0"sv)) {
    d.jfxx_found = 1;
    d.jfxx_thumb_type = segment.readByte();
  }
  segment.skipRest();
  return JPEG_NO_ERROR;
}

int readAPP14(CJPEGDecoder& d, SegmentReader& segment) {
  if (segment.remaining > 11 && segment.take("Adobe"sv)) {
    d.adobe_found = 1;
    d.adobe_version = segment.readWord();
    d.adobe_flags0 = segment.readWord();
    d.adobe_flags1 = segment.readWord();
    d.adobe_transform = segment.readByte();
  }
  segment.skipRest();
  return JPEG_NO_ERROR;
}

int readComment(CJPEGDecoder& d, SegmentReader& segment) {
  const auto length = static_cast<std::size_t>(segment.remaining);
  d.has_comment = 1;
  d.comment_length = segment.remaining;
  delete[] d.comment;
  d.comment = nullptr;
  d.comment = new Ipp8u[length + 1];
  segment.readBytes({d.comment, length});
  d.comment[length] = 0;
  return JPEG_NO_ERROR;
}

// The text names a line, which stays the same from release to release: logs are searched for it.
constexpr int kReportedLine = 85;

bool isQuiet(const CJPEGDecoder& d) {
  const DecoderRoom* const room = DecoderRoom::existing(d);
  return room != nullptr && room->isQuiet;
}

int readQuantTables(CJPEGDecoder& d, SegmentReader& segment) {
  while (segment.remaining > 0) {
    const int precisionAndId = segment.readByte();
    const int entryPrecision = precisionAndId >> 4, id = precisionAndId & 15;
    if (id > 3) {
      if (!isQuiet(d)) {
        std::fprintf(stderr, "JPEG_BAD_QUANT_SEGMENT at %s:%d\n", "codecs/jpeg/library/decoder",
                     kReportedLine);
      }
      return JPEG_BAD_QUANT_SEGMENT;
    }
    noteTableChange(d);
    Ipp8u table[64];
    for (Ipp8u& entry : table) {
      entry = static_cast<Ipp8u>(entryPrecision == 0 ? segment.readByte() : segment.readWord());
    }
    if (entryPrecision > 1) segment.remaining -= 64 * (entryPrecision - 1);  // no such precision
    QRX_TRY(d.quant_tables[id].Init(precisionAndId, table));
  }
  return segment.remaining == 0 ? JPEG_NO_ERROR : JPEG_BAD_SEGMENT_LENGTH;
}

int readHuffmanTables(CJPEGDecoder& d, SegmentReader& segment) {
  constexpr int kFixedPart = 17;  // class and id, and the 16 counts
  Ipp8u values[256] = {};
  while (segment.remaining >= kFixedPart) {
    const int classAndId = segment.readByte();
    const int tableClass = classAndId >> 4, id = classAndId & 15;
    Ipp8u bits[16];
    segment.readBytes(bits);
    const int count = symbolCount(bits);
    if (count > 256 || count > segment.remaining || id > 3) return JPEG_BAD_HUFFMAN_TABLE;
    segment.readBytes({values, static_cast<std::size_t>(count)});

    noteTableChange(d);
    CJPEGDecoderHuffmanTable& table = tableClass != 0 ? d.ac_tables[id] : d.dc_tables[id];
    if (table.empty && table.Create() != JPEG_NO_ERROR) {
      noteLackOfMemory(d);
      return JPEG_INTERNAL_ERROR;
    }
    if (table.Init(id, tableClass, bits, values) != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  }
  return segment.remaining == 0 ? JPEG_NO_ERROR : JPEG_BAD_SEGMENT_LENGTH;
}

int readRestartInterval(CJPEGDecoder& d, SegmentReader& segment) {
  if (segment.remaining != 2) return JPEG_BAD_SEGMENT_LENGTH;
  d.restart_interval = segment.readWord();
  d.restarts_to_go = d.restart_interval;
  return JPEG_NO_ERROR;
}

int skip(CJPEGDecoder&, SegmentReader& segment) {
  segment.skipRest();
  return JPEG_NO_ERROR;
}

}  // namespace
}  // namespace qrx::jpeg

using qrx::jpeg::parseSegment;

int CJPEGDecoder::SkipMarker() { return parseSegment(*this, qrx::jpeg::skip); }
int CJPEGDecoder::ParseAPP0() { return parseSegment(*this, qrx::jpeg::readAPP0); }
int CJPEGDecoder::ParseAPP14() { return parseSegment(*this, qrx::jpeg::readAPP14); }
int CJPEGDecoder::ParseCOM() { return parseSegment(*this, qrx::jpeg::readComment); }
int CJPEGDecoder::ParseDHT() { return parseSegment(*this, qrx::jpeg::readHuffmanTables); }
int CJPEGDecoder::ParseDRI() { return parseSegment(*this, qrx::jpeg::readRestartInterval); }

int CJPEGDecoder::ParseDQT() {
  const int result = parseSegment(*this, qrx::jpeg::readQuantTables);
  if (result != JPEG_NO_ERROR && !qrx::jpeg::isQuiet(*this))
    std::fputs("ParseDQT failed\n", stderr);
  return result;
}
