// Marker segments of a stream (T.81 B.2). Identifiers and lengths stand here and nowhere else.
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <numeric>

#include "codecs/jpeg/library/markers.h"
#include "qrx/jpeg_encoder.h"
#include "qrx/primitives.h"

// The room test counts the length field's value, not the marker in front of it, and asks for one
// byte to spare. The bound of the buffer itself is kept by the stream in every case.
bool CJPEGEncoder::hasRoom(int size) const {
  return std::int64_t{stream.position} + size < stream.capacity;
}

int CJPEGEncoder::WriteSOI() {
  if (!hasRoom(2)) return JPEG_BUFFER_TOO_SMALL;
  return stream._WRITE_WORD(kMarkerSOI);
}

int CJPEGEncoder::WriteEOI() {
  if (!hasRoom(2)) return JPEG_BUFFER_TOO_SMALL;
  return stream._WRITE_WORD(kMarkerEOI);
}

int CJPEGEncoder::WriteAPP0() {
  constexpr int kLength = 16;
  if (!hasRoom(kLength)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerAPP0);
  stream._WRITE_WORD(kLength);
  for (const char c : {'J', 'F', 'I', 'F', '\0'}) stream._WRITE_BYTE(c);
  stream._WRITE_WORD(0x0102);  // version
  stream._WRITE_BYTE(0);       // density without a unit
  stream._WRITE_WORD(1);
  stream._WRITE_WORD(1);
  stream._WRITE_BYTE(0);  // no thumbnail
  stream._WRITE_BYTE(0);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteAPP14() {
  constexpr int kLength = 14;
  if (!hasRoom(kLength)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerAPP14);
  stream._WRITE_WORD(kLength);
  for (const char c : {'A', 'd', 'o', 'b', 'e'}) stream._WRITE_BYTE(c);
  stream._WRITE_WORD(100);  // version
  stream._WRITE_WORD(0);
  stream._WRITE_WORD(0);
  stream._WRITE_BYTE(jpeg_color == JPEG_COLOR_YCBCR ? 1 : jpeg_color == JPEG_COLOR_YCCK ? 2 : 0);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteCOM(const char* text) {
  char banner[64];
  std::size_t payload;
  if (text == nullptr) {
    const IppLibraryVersion* version = ippjGetLibVersion();
    // The banner goes out without its terminating zero byte.
    payload = static_cast<std::size_t>(
        std::snprintf(banner, sizeof banner, "JPEG encoder based on veigri [%d.%d.%d] - %s",
                      version->major, version->minor, version->build, version->BuildDate));
    text = banner;
  } else {
    payload = std::strlen(text) + 1;
  }
  if (payload > 65535 - 2) return JPEG_BAD_SEGMENT_LENGTH;
  const int length = static_cast<int>(payload) + 2;
  if (!hasRoom(length)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerCOM);
  stream._WRITE_WORD(length);
  for (std::size_t i = 0; i < payload; ++i) stream._WRITE_BYTE(text[i]);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteDQT(const CJPEGEncoderQuantTable* table) {
  constexpr int kLength = 67;
  if (!hasRoom(kLength)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerDQT);
  stream._WRITE_WORD(kLength);
  stream._WRITE_BYTE(table->precision << 4 | table->id);
  for (int i = 0; i < 64; ++i) stream._WRITE_BYTE(table->raw[i]);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteSOF0() { return writeFrame(kMarkerSOF0, 8); }
int CJPEGEncoder::WriteSOF1() { return writeFrame(kMarkerSOF1, 8); }
int CJPEGEncoder::WriteSOF2() { return writeFrame(kMarkerSOF2, 8); }
int CJPEGEncoder::WriteSOF3() { return writeFrame(kMarkerSOF3, precision); }

int CJPEGEncoder::writeFrame(int marker, int samplePrecision) {
  const int length = 8 + 3 * component_count;
  if (!hasRoom(length)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(marker);
  stream._WRITE_WORD(length);
  stream._WRITE_BYTE(samplePrecision);
  stream._WRITE_WORD(source_height);
  stream._WRITE_WORD(source_width);
  stream._WRITE_BYTE(component_count);
  for (int i = 0; i < component_count; ++i) {
    stream._WRITE_BYTE(i);
    stream._WRITE_BYTE(components[i]->hsampling << 4 | components[i]->vsampling);
    stream._WRITE_BYTE(components[i]->q_selector);
  }
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteDHT(const CJPEGEncoderHuffmanTable* table) {
  const int count = std::accumulate(table->bits, table->bits + 16, 0);
  const int length = 19 + count;
  if (!hasRoom(length)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerDHT);
  stream._WRITE_WORD(length);
  stream._WRITE_BYTE(table->hclass << 4 | table->id);
  for (int i = 0; i < 16; ++i) stream._WRITE_BYTE(table->bits[i]);
  for (int i = 0; i < count; ++i) stream._WRITE_BYTE(table->values[i]);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteDRI(int interval) {
  constexpr int kLength = 4;
  if (!hasRoom(kLength)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerDRI);
  stream._WRITE_WORD(kLength);
  stream._WRITE_WORD(interval);
  restarts_to_go = restart_interval;
  next_restart = 0;
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteSOS() {
  constexpr int kAll[] = {0, 1, 2, 3};
  return WriteSOS(component_count, kAll, scan_start, scan_end, approx_high, approx_low);
}

int CJPEGEncoder::WriteSOS(int count, const int* indices, int ss, int se, int ah, int al) {
  const int length = 6 + 2 * count;
  if (!hasRoom(length)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_WORD(kMarkerSOS);
  stream._WRITE_WORD(length);
  stream._WRITE_BYTE(count);
  for (int i = 0; i < count; ++i) {
    const CJPEGColorComponent* component = components[indices[i]];
    stream._WRITE_BYTE(indices[i]);
    stream._WRITE_BYTE(component->dc_selector << 4 | component->ac_selector);
  }
  stream._WRITE_BYTE(ss);
  stream._WRITE_BYTE(se);
  stream._WRITE_BYTE((ah & 15) << 4 | (al & 15));
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteRST(int number) {
  if (!hasRoom(2)) return JPEG_BUFFER_TOO_SMALL;
  stream._WRITE_BYTE(0xFF);
  stream._WRITE_BYTE(0xD0 + number);
  next_restart = (number + 1) % 8;
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::writeApplicationSegment() {
  switch (jpeg_color) {
    case JPEG_COLOR_GRAY:
    case JPEG_COLOR_YCBCR: return WriteAPP0();
    case JPEG_COLOR_RGB:
    case JPEG_COLOR_CMYK:
    case JPEG_COLOR_YCCK: return WriteAPP14();
    case JPEG_COLOR_NONE:
    case JPEG_COLOR_BGR: break;
  }
  return JPEG_NO_ERROR;
}
