// Byte cursor of both coders.
#include <cstring>

#include "codecs/jpeg/library/result.h"
#include "qrx/jpeg_types.h"

int _bitstream::_WRITE_BYTE(int value) {
  if (position >= capacity) return JPEG_BUFFER_TOO_SMALL;
  data[position++] = static_cast<std::uint8_t>(value);
  return JPEG_NO_ERROR;
}

int _bitstream::_WRITE_WORD(int value) {
  QRX_TRY(_WRITE_BYTE(value >> 8));
  return _WRITE_BYTE(value);
}

int _bitstream::_WRITE_32BIT(int value) {
  for (int shift = 24; shift >= 0; shift -= 8) QRX_TRY(_WRITE_BYTE(value >> shift));
  return JPEG_NO_ERROR;
}

int _bitstream::_READ_BYTE(int* value) {
  if (position >= capacity) return JPEG_BUFFER_TOO_SMALL;
  *value = data[position++];
  return JPEG_NO_ERROR;
}

namespace {

int readBigEndian(_bitstream& stream, int bytes, int* value) {
  std::uint32_t sum = 0;
  for (int i = 0; i < bytes; ++i) {
    int byte = 0;
    QRX_TRY(stream._READ_BYTE(&byte));
    sum = sum << 8 | static_cast<std::uint32_t>(byte);
  }
  *value = static_cast<int>(sum);
  return JPEG_NO_ERROR;
}

}  // namespace

int _bitstream::_READ_WORD(int* value) { return readBigEndian(*this, 2, value); }

int _bitstream::_READ_32BIT(int* value) { return readBigEndian(*this, 4, value); }

int _bitstream::_REVERSE_WRITE_HEADER(const std::uint8_t* source, int length) {
  std::memcpy(data + position, source, static_cast<std::size_t>(length));
  position += length;
  return JPEG_NO_ERROR;
}
