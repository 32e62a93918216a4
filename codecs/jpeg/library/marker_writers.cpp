// Marker segments of a stream (T.81 B.2): every byte that the encoder chooses. The packet segment
// is written with the rest of a packet's head, in packet_writer.cpp.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/markers.h"
#include "codecs/jpeg/library/segment_writer.h"
#include "codecs/jpeg/library/table_lists.h"

namespace qrx::jpeg {
namespace {

constexpr int kLongestPayload = 65535 - 2;  // the length word counts itself

void writeBytes(_bitstream& stream, const Ipp8u* bytes, int count) {
  for (int i = 0; i < count; ++i) stream._WRITE_BYTE(bytes[i]);
}

void writeText(_bitstream& stream, std::string_view text) {
  for (const char c : text) stream._WRITE_BYTE(c);
}

int writeComment(_bitstream& stream, std::string_view text) {
  if (text.size() > kLongestPayload) return JPEG_BAD_SEGMENT_LENGTH;
  QRX_TRY(beginSegment(stream, kMarkerCOM, static_cast<int>(text.size()) + 2));
  writeText(stream, text);
  return JPEG_NO_ERROR;
}

int writeFrame(CJPEGEncoder& e, int marker, int samplePrecision) {
  QRX_TRY(beginSegment(e.stream, marker, 8 + 3 * e.component_count));
  e.stream._WRITE_BYTE(samplePrecision);
  e.stream._WRITE_WORD(e.source_height);
  e.stream._WRITE_WORD(e.source_width);
  writeComponents(e);
  return JPEG_NO_ERROR;
}

}  // namespace

int writeApplicationSegment(CJPEGEncoder& encoder) {
  switch (encoder.jpeg_color) {
    case JPEG_COLOR_GRAY:
    case JPEG_COLOR_YCBCR: return encoder.WriteAPP0();
    case JPEG_COLOR_RGB:
    case JPEG_COLOR_CMYK:
    case JPEG_COLOR_YCCK: return encoder.WriteAPP14();
    case JPEG_COLOR_NONE:
    case JPEG_COLOR_BGR: break;
  }
  return JPEG_NO_ERROR;
}

}  // namespace qrx::jpeg

using namespace qrx::jpeg;

int CJPEGEncoder::WriteSOI() { return writeMarker(stream, kMarkerSOI); }
int CJPEGEncoder::WriteEOI() { return writeMarker(stream, kMarkerEOI); }

int CJPEGEncoder::WriteRST(int number) {
  QRX_TRY(writeMarker(stream, (kMarkerRST0 & 0xFF00) | ((kMarkerRST0 + number) & 0xFF)));
  next_restart = (number + 1) % 8;
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteAPP0() {
  QRX_TRY(beginSegment(stream, kMarkerAPP0, 16));
  writeText(stream, {"JFIF\0", 5});
  stream._WRITE_WORD(0x0102);  // version
  stream._WRITE_BYTE(0);       // density without a unit
  stream._WRITE_WORD(1);
  stream._WRITE_WORD(1);
  stream._WRITE_BYTE(0);  // no thumbnail
  stream._WRITE_BYTE(0);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteAPP14() {
  QRX_TRY(beginSegment(stream, kMarkerAPP14, 14));
  writeText(stream, "Adobe");
  stream._WRITE_WORD(100);  // version
  stream._WRITE_WORD(0);
  stream._WRITE_WORD(0);
  stream._WRITE_BYTE(jpeg_color == JPEG_COLOR_YCBCR ? 1 : jpeg_color == JPEG_COLOR_YCCK ? 2 : 0);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteCOM(const char* text) {
  if (text != nullptr) return writeComment(stream, {text, std::strlen(text) + 1});
  const IppLibraryVersion* version = ippjGetLibVersion();
  char banner[64];
  const int length =
      std::snprintf(banner, sizeof banner, "JPEG encoder based on veigri [%d.%d.%d] - %s",
                    version->major, version->minor, version->build, version->BuildDate);
  // The banner goes out without its terminating zero byte.
  return writeComment(stream, {banner, static_cast<std::size_t>(length)});
}

int CJPEGEncoder::WriteDQT(const CJPEGEncoderQuantTable* table) {
  QRX_TRY(beginSegment(stream, kMarkerDQT, 67));
  stream._WRITE_BYTE(table->precision << 4 | table->id);
  writeBytes(stream, table->raw, 64);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteSOF0() { return writeFrame(*this, kMarkerSOF0, 8); }
int CJPEGEncoder::WriteSOF1() { return writeFrame(*this, kMarkerSOF1, 8); }
int CJPEGEncoder::WriteSOF2() { return writeFrame(*this, kMarkerSOF2, 8); }
int CJPEGEncoder::WriteSOF3() { return writeFrame(*this, kMarkerSOF3, precision); }

int CJPEGEncoder::WriteDHT(const CJPEGEncoderHuffmanTable* table) {
  const int count = symbolCount(table->bits);
  QRX_TRY(beginSegment(stream, kMarkerDHT, 19 + count));
  stream._WRITE_BYTE(table->hclass << 4 | table->id);
  writeBytes(stream, table->bits, 16);
  writeBytes(stream, table->values, count);
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteDRI(int interval) {
  QRX_TRY(beginSegment(stream, kMarkerDRI, 4));
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
  QRX_TRY(beginSegment(stream, kMarkerSOS, 6 + 2 * count));
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
