// The packetising writer: codes a rectangle as one baseline scan and cuts the scan into packets
// while it runs. All packets lie one behind the other in the stream; a packet's head is written
// with placeholders first and patched when the packet closes.
#include <algorithm>

#include "codecs/jpeg/library/block_buffer.h"
#include "codecs/jpeg/library/markers.h"
#include "qrx/jpeg_encoder.h"

namespace {

// A packet closes after the first MCU that takes it over this many bytes.
constexpr int packetThreshold = 1250;
// Longest head: the 32-byte header, the segment's words and the bytes of four components.
constexpr int kLongestHead = 32 + 8 + 1 + 12;

std::int16_t low16(int value) { return static_cast<std::int16_t>(value); }

std::int32_t negated(std::int32_t value) {
  return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(value));
}

}  // namespace

int CJPEGEncoder::WritePDK(udp_header* header, int position, int x, int y, int width, int height,
                           int count, bool patch, bool last) {
  const int end = stream.position;
  if (patch) {
    header->mcuCount = low16(count);
    header->dataEnd = low16(end - position - 2);
    header->width = low16(width);
    header->height = low16(height);
    header->x = low16(x);
    header->y = low16(y);
    stream.position = position;
  }
  if (last) header->index = negated(header->index);
  if (!hasRoom(kLongestHead)) {
    stream.position = end;
    return JPEG_BUFFER_TOO_SMALL;
  }
  stream._REVERSE_WRITE_HEADER(reinterpret_cast<const std::uint8_t*>(header), sizeof *header);
  stream._WRITE_WORD(kMarkerPDK);
  stream._WRITE_WORD(quality);
  stream._WRITE_WORD(height);
  stream._WRITE_WORD(width);
  if (patch) {
    stream.position = end;
    return JPEG_NO_ERROR;
  }
  stream._WRITE_BYTE(component_count);
  for (int i = 0; i < component_count; ++i) {
    stream._WRITE_BYTE(i);
    stream._WRITE_BYTE(components[i]->hsampling << 4 | components[i]->vsampling);
    stream._WRITE_BYTE(components[i]->q_selector);
  }
  return JPEG_NO_ERROR;
}

// The bookkeeping of one call: where the current packet began and which rectangle it covers.
// Coordinates are the window's, with y growing upwards.
struct CJPEGEncoder::PacketRun {
  CJPEGEncoder& encoder;
  udp_header* header;
  Ipp8u* buffer;
  void (*emit)(Ipp8u*, int, void*);
  void* context;

  int left, bottom, fullWidth, fullHeight;
  int stripY = 0;       // lower edge of the current MCU row
  int packetStart = 0;  // stream position of the packet's first byte
  int packetX = 0;      // left edge of the packet's first MCU
  int packetY = 0;      // lower edge of the packet's first MCU row
  int packetTop = 0;    // upper edge of the packet
  int currentX = 0;     // position of the current MCU
  int rowStartX = 0;    // left, or packetX while the packet is in its first MCU row
  int maxX = 0;         // largest position of an MCU in the packet
  int mcuTotal = 0;     // MCUs coded so far
  int packetFirstMcu = 0;
  bool lastPacket = false;
  BlockBuffer block{};

  int right() const { return left + fullWidth; }
  int top() const { return bottom + fullHeight; }
  int stripTop() const { return std::min(stripY + encoder.mcu_height, top()); }
  bool isFull() const { return encoder.stream.position - packetStart > packetThreshold; }

  // Head with placeholders.
  int writeHead() {
    return encoder.WritePDK(header, packetStart, packetX, stripY, fullWidth, fullHeight, 0, false,
                            false);
  }

  int openFirst() {
    stripY = packetY = std::max(bottom, top() - encoder.mcu_height);
    packetX = currentX = left;
    packetTop = top();
    packetStart = encoder.stream.position;
    int result = writeHead();
    if (result != JPEG_NO_ERROR) return result;
    if (encoder.restart_interval != 0) {
      if ((result = encoder.WriteDRI(encoder.restart_interval)) != 0) return result;
    }
    return encoder.WriteSOS();
  }

  // Patches the head of the packet that ends at the stream's position and hands the packet over.
  int close(bool last) {
    const int width =
        packetX < currentX ? std::min(fullWidth, maxX + encoder.mcu_width - rowStartX) : fullWidth;
    const int result = encoder.WritePDK(header, packetStart, packetX, packetY, width,
                                        packetTop - stripY, mcuTotal - packetFirstMcu, true, last);
    if (result != JPEG_NO_ERROR) return result;
    emit(buffer + packetStart, encoder.stream.position - packetStart, context);
    return JPEG_NO_ERROR;
  }

  // Opens the packet that starts behind the current MCU.
  int openNext() {
    packetX = currentX + encoder.mcu_width;
    if (packetX >= right()) packetX = left;
    packetTop = stripTop();
    packetStart = encoder.stream.position;
    rowStartX = packetX;
    maxX = packetX;
    packetFirstMcu = mcuTotal;
    packetY = stripY;
    const int result = writeHead();
    return result != JPEG_NO_ERROR ? result : encoder.WriteSOS();
  }

  // Codes the MCUs of one row, closing packets on the way.
  int writeStrip(bool lastStrip) {
    currentX = rowStartX = left;
    for (int column = 0; column < encoder.mcus_across; ++column, currentX += encoder.mcu_width) {
      if (mcuTotal == packetFirstMcu) {  // a packet's first MCU settles where the packet lies
        packetTop = stripTop();
        packetY = stripY;
        maxX = packetX;
      }
      int result = encoder.encodeMCUWithRestart(column, block);
      if (result != JPEG_NO_ERROR) return result;
      maxX = std::max(maxX, currentX);
      ++mcuTotal;
      if (!isFull()) continue;

      if ((result = encoder.TerminatePacket(nullptr, 0, 63, 0, 0)) != 0) return result;
      if ((result = encoder.WriteEOI()) != 0) return result;
      lastPacket = lastStrip && column == encoder.mcus_across - 1;
      if ((result = close(lastPacket)) != 0) return result;
      if (lastPacket) return JPEG_NO_ERROR;
      if ((result = openNext()) != 0) return result;
    }
    return JPEG_NO_ERROR;
  }

  // The rectangle ended inside an open packet.
  int closeLast() {
    int result = encoder.flushBaseline();
    if (result != JPEG_NO_ERROR) return result;
    if ((result = encoder.WriteEOI()) != 0) return result;
    return close(true);
  }
};

int CJPEGEncoder::WriteImageBaselineCB(int*, udp_header* header, Ipp8u* buffer,
                                       void (*emit)(Ipp8u*, int, void*), void* context) {
  PacketRun run{*this,     header,    buffer,        emit,          context,
                header->x, header->y, header->width, header->height};
  int result = initFor(JPEG_MODE_BASELINE);
  if (result != JPEG_NO_ERROR) return result;
  if ((result = run.openFirst()) != 0) return result;
  if (huffman_state.Init() != JPEG_NO_ERROR) return JPEG_INTERNAL_ERROR;
  for (int strip = 0; strip < mcus_down; ++strip) {
    if ((result = ColorConvert(strip)) != 0) return result;
    if ((result = DownSampling(strip)) != 0) return result;
    if ((result = run.writeStrip(strip == mcus_down - 1)) != 0) return result;
    run.stripY = std::max(run.bottom, run.stripY - mcu_height);
  }
  return run.lastPacket ? JPEG_NO_ERROR : run.closeLast();
}
