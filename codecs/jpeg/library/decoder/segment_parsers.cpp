// The segments that carry tables, intervals, comments and application data (T.81 B.2.4).
#include <cstdio>
#include <numeric>

#include "codecs/jpeg/library/decoder/segment_reader.h"
#include "qrx/jpeg_decoder.h"

int CJPEGDecoder::ParseAPP0() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  if (segment.remaining > 13 && segment.take("JFIF", 5)) {
    jfif_found = 1;
    jfif_major = segment.readByte();
    jfif_minor = segment.readByte();
    jfif_units = segment.readByte();
    jfif_x_density = segment.readWord();
    jfif_y_density = segment.readWord();
    jfif_thumb_width = segment.readByte();
    jfif_thumb_height = segment.readByte();
  }
  if (segment.remaining > 5 && segment.take("JFXX", 5)) {
    jfxx_found = 1;
    jfxx_thumb_type = segment.readByte();
  }
  segment.skipRest();
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseAPP14() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  if (segment.remaining > 11 && segment.take("Adobe", 5)) {
    adobe_found = 1;
    adobe_version = segment.readWord();
    adobe_flags0 = segment.readWord();
    adobe_flags1 = segment.readWord();
    adobe_transform = segment.readByte();
  }
  segment.skipRest();
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseCOM() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  const int length = segment.remaining;
  has_comment = 1;
  comment_length = length;
  delete[] comment;
  comment = nullptr;
  comment = new Ipp8u[static_cast<std::size_t>(length) + 1];
  segment.readBytes(comment, length);
  comment[length] = 0;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseDQT() {
  const int error = parseQuantTables();
  if (error != JPEG_NO_ERROR) std::fputs("ParseDQT failed\n", stderr);
  return error;
}

int CJPEGDecoder::parseQuantTables() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  while (segment.remaining > 0) {
    const int precisionAndId = segment.readByte();
    const int entryPrecision = precisionAndId >> 4, id = precisionAndId & 15;
    if (id > 3) {
      std::fprintf(stderr, "JPEG_BAD_QUANT_SEGMENT at %s:%d\n", "codecs/jpeg/library/decoder",
                   __LINE__);
      return JPEG_BAD_QUANT_SEGMENT;
    }
    Ipp8u table[64];
    for (Ipp8u& entry : table) {
      entry = static_cast<Ipp8u>(entryPrecision == 0 ? segment.readByte() : segment.readWord());
    }
    if (entryPrecision > 1) segment.remaining -= 64 * (entryPrecision - 1);  // no such precision
    const int result = quant_tables[id].Init(precisionAndId, table);
    if (result != JPEG_NO_ERROR) return result;
  }
  if (segment.remaining != 0) return JPEG_BAD_SEGMENT_LENGTH;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseDHT() {
  constexpr int kFixedPart = 17;  // class and id, and the 16 counts
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  Ipp8u values[256] = {};
  while (segment.remaining >= kFixedPart) {
    const int classAndId = segment.readByte();
    const int tableClass = classAndId >> 4, id = classAndId & 15;
    Ipp8u bits[16];
    segment.readBytes(bits, 16);
    const int count = std::accumulate(bits, bits + 16, 0);
    if (count > 256 || count > segment.remaining || id > 3) return JPEG_BAD_HUFFMAN_TABLE;
    segment.readBytes(values, count);

    CJPEGDecoderHuffmanTable& table = tableClass != 0 ? ac_tables[id] : dc_tables[id];
    if (table.empty && table.Create() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
    if (table.Init(id, tableClass, bits, values) != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  }
  if (segment.remaining != 0) return JPEG_BAD_SEGMENT_LENGTH;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}

int CJPEGDecoder::ParseDRI() {
  SegmentReader segment(stream);
  int error = JPEG_NO_ERROR;
  if (!beginSegment(&segment, &error)) return error;
  if (segment.remaining != 2) return JPEG_BAD_SEGMENT_LENGTH;
  restart_interval = segment.readWord();
  restarts_to_go = restart_interval;
  marker = JPEG_MARKER_NONE;
  return JPEG_NO_ERROR;
}
