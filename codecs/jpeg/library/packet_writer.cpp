// The packetising writer: codes a rectangle as one baseline scan and cuts the scan into packets
// while it runs. All packets lie one behind the other in the stream; a packet's head is written
// with placeholders first and patched when the packet closes.
#include <algorithm>

#include "codecs/jpeg/library/encoder_stages.h"
#include "codecs/jpeg/library/entropy_interval.h"
#include "codecs/jpeg/library/markers.h"
#include "codecs/jpeg/library/segment_writer.h"
#include "codecs/jpeg/library/strip_coder.h"

namespace qrx::jpeg {
namespace {

// A packet closes after the first MCU that takes it over this many bytes.
constexpr int packetThreshold = 1250;
// Longest head: the 32-byte header, the segment's words and the bytes of four components.
constexpr int kLongestHead = 32 + 8 + 1 + 12;

std::int16_t low16(int value) { return static_cast<std::int16_t>(value); }

std::int32_t negated(std::int32_t value) {
  return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(value));
}

using Emit = void (*)(Ipp8u* packet, int length, void* context);

// One call's packets: where the open one began and which part of the rectangle it covers.
// Coordinates are the window's, with y growing upwards.
class PacketRun {
 public:
  PacketRun(CJPEGEncoder& encoder, udp_header* header, Ipp8u* buffer, Emit emit, void* context)
      : encoder_(encoder),
        header_(header),
        buffer_(buffer),
        emit_(emit),
        context_(context),
        left_(header->x),
        bottom_(header->y),
        fullWidth_(header->width),
        fullHeight_(header->height) {}

  // Codes the rectangle of an initialised encoder.
  int write() {
    QRX_TRY(openFirst());
    QRX_TRY(encoder_.huffman_state.Init());
    StripCoder coder(encoder_);
    for (int strip = 0; strip < encoder_.mcus_down; ++strip) {
      QRX_TRY(coder.fill(strip));
      QRX_TRY(codeStrip(coder, strip == encoder_.mcus_down - 1));
      stripY_ = std::max(bottom_, stripY_ - encoder_.mcu_height);
    }
    return lastClosed_ ? JPEG_NO_ERROR : closeLast();
  }

 private:
  int right() const { return left_ + fullWidth_; }
  int top() const { return bottom_ + fullHeight_; }
  int stripTop() const { return std::min(stripY_ + encoder_.mcu_height, top()); }
  bool isFull() const { return encoder_.stream.position > fullAt(); }
  std::int64_t fullAt() const { return std::int64_t{packetStart_} + packetThreshold; }

  // Head with placeholders.
  int writeHead() {
    return encoder_.WritePDK(header_, packetStart_, packetX_, stripY_, fullWidth_, fullHeight_, 0,
                             false, false);
  }

  int openFirst() {
    stripY_ = packetY_ = std::max(bottom_, top() - encoder_.mcu_height);
    packetX_ = currentX_ = left_;
    packetTop_ = top();
    packetStart_ = encoder_.stream.position;
    QRX_TRY(writeHead());
    if (encoder_.restart_interval != 0) QRX_TRY(encoder_.WriteDRI(encoder_.restart_interval));
    return encoder_.WriteSOS();
  }

  // Patches the head of the packet that ends at the stream's position and hands the packet over.
  int close(bool last) {
    const int width = packetX_ < currentX_
                          ? std::min(fullWidth_, maxX_ + encoder_.mcu_width - rowStartX_)
                          : fullWidth_;
    QRX_TRY(encoder_.WritePDK(header_, packetStart_, packetX_, packetY_, width,
                              packetTop_ - stripY_, mcus_, true, last));
    emit_(buffer_ + packetStart_, encoder_.stream.position - packetStart_, context_);
    lastClosed_ = last;
    return JPEG_NO_ERROR;
  }

  // Opens the packet that starts behind the current MCU.
  int openNext() {
    packetX_ = currentX_ + encoder_.mcu_width;
    if (packetX_ >= right()) packetX_ = left_;
    packetStart_ = encoder_.stream.position;
    rowStartX_ = packetX_;
    mcus_ = 0;
    settlePlace();
    QRX_TRY(writeHead());
    return encoder_.WriteSOS();
  }

  // An empty packet lies in the row of its first MCU, which may be the one below.
  void settlePlace() {
    packetTop_ = stripTop();
    packetY_ = stripY_;
    maxX_ = packetX_;
  }

  // Codes the MCUs of one row, closing packets on the way.
  int codeStrip(StripCoder& coder, bool lastStrip) {
    const int across = encoder_.mcus_across;
    rowStartX_ = left_;
    for (int column = 0; column < across;) {
      if (mcus_ == 0) settlePlace();
      int coded = 0;
      QRX_TRY(coder.code(column, across - column, fullAt(), &coded));
      column += coded;
      mcus_ += coded;
      currentX_ = left_ + (column - 1) * encoder_.mcu_width;
      maxX_ = std::max(maxX_, currentX_);
      if (!isFull()) break;

      QRX_TRY(endInterval(encoder_, kBaselineScan));
      QRX_TRY(encoder_.WriteEOI());
      QRX_TRY(close(lastStrip && column == across));
      if (!lastClosed_) QRX_TRY(openNext());
    }
    currentX_ = left_ + across * encoder_.mcu_width;
    return JPEG_NO_ERROR;
  }

  // The rectangle ended inside an open packet.
  int closeLast() {
    QRX_TRY(flushEntropy(encoder_, kBaselineScan));
    QRX_TRY(encoder_.WriteEOI());
    return close(true);
  }

  CJPEGEncoder& encoder_;
  udp_header* const header_;
  Ipp8u* const buffer_;
  const Emit emit_;
  void* const context_;

  const int left_, bottom_, fullWidth_, fullHeight_;
  int stripY_ = 0;       // lower edge of the current MCU row
  int packetStart_ = 0;  // stream position of the packet's first byte
  int packetX_ = 0;      // left edge of the packet's first MCU
  int packetY_ = 0;      // lower edge of the packet's first MCU row
  int packetTop_ = 0;    // upper edge of the packet
  int currentX_ = 0;     // position of the last MCU, or right of it once its row is done
  int rowStartX_ = 0;    // left_, or packetX_ while the packet is in its first MCU row
  int maxX_ = 0;         // largest position of an MCU in the packet
  int mcus_ = 0;         // in the packet
  bool lastClosed_ = false;
};

}  // namespace
}  // namespace qrx::jpeg

using namespace qrx::jpeg;

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
  if (needRoom(stream, kLongestHead) != JPEG_NO_ERROR) {
    stream.position = end;
    return JPEG_BUFFER_TOO_SMALL;
  }
  stream._REVERSE_WRITE_HEADER(reinterpret_cast<const std::uint8_t*>(header), sizeof *header);
  stream._WRITE_WORD(kMarkerPDK);
  stream._WRITE_WORD(quality);
  stream._WRITE_WORD(height);
  stream._WRITE_WORD(width);
  if (patch) {
    stream.position = end;  // the components' bytes are there
  } else {
    writeComponents(*this);
  }
  return JPEG_NO_ERROR;
}

int CJPEGEncoder::WriteImageBaselineCB(int*, udp_header* header, Ipp8u* buffer,
                                       void (*emit)(Ipp8u*, int, void*), void* context) {
  QRX_TRY(initFor(*this, JPEG_MODE_BASELINE));
  return PacketRun(*this, header, buffer, emit, context).write();
}
