// What encoder and decoder share: enums, error texts, the byte cursor, the component record.
#ifndef QRX_JPEG_TYPES_H_
#define QRX_JPEG_TYPES_H_

#include <cstdint>

#include "qrx/export.h"
#include "qrx/primitive_types.h"

// Colour space of a source, of a JPEG stream or of a decoded destination.
enum _JPEG_COLOR {
  JPEG_COLOR_NONE = 0,   // no colour meaning; channels are copied as they stand
  JPEG_COLOR_GRAY = 1,   // one channel
  JPEG_COLOR_RGB = 2,    // bytes R, G, B
  JPEG_COLOR_BGR = 3,    // bytes B, G, R
  JPEG_COLOR_YCBCR = 4,  // Y, Cb, Cr
  JPEG_COLOR_CMYK = 5,   // C, M, Y, K
  JPEG_COLOR_YCCK = 6    // Y, Cb, Cr, K
};

// Sampling factors of the components, horizontal x vertical.
enum _JPEG_SAMPLING {
  JPEG_SAMPLING_444 = 0,   // every component 1x1
  JPEG_SAMPLING_422 = 1,   // components 0 and 3 are 2x1, 1 and 2 are 1x1
  JPEG_SAMPLING_420 = 2,   // components 0 and 3 are 2x2, 1 and 2 are 1x1
  JPEG_SAMPLING_OTHER = 3  // any other layout; only the decoder produces it
};

enum _JPEG_MODE { JPEG_MODE_BASELINE = 0, JPEG_MODE_PROGRESSIVE = 1, JPEG_MODE_LOSSLESS = 2 };

enum _JPEG_ERROR {
  JPEG_NO_ERROR = 0,
  JPEG_NOT_SUPPORTED = -1,
  JPEG_INTERNAL_ERROR = -2,
  JPEG_BUFFER_TOO_SMALL = -3,
  JPEG_OUT_OF_MEMORY = -4,
  JPEG_BAD_SEGMENT_LENGTH = -5,
  JPEG_BAD_HUFFMAN_TABLE = -6,
  JPEG_BAD_QUANT_SEGMENT = -7,
  JPEG_BAD_SCAN_SEGMENT = -8,
  JPEG_BAD_FRAME_SEGMENT = -9,
  JPEG_BAD_COMPONENT_ID = -10,
  JPEG_BAD_SAMPLING = -11,
  JPEG_BAD_RESTART = -12
};

extern "C" {
// Text of an error code, a constant string; "unknown code" for a value outside the enum.
QRX_API const char* GetErrorStr(_JPEG_ERROR code);
}

// Byte cursor over a caller's buffer: the encoder writes headers through it, the decoder reads
// them. Multi-byte values are big-endian. Each operation returns 0, or JPEG_BUFFER_TOO_SMALL at
// the end of the buffer, when a read leaves its target as it was.
class QRX_API _bitstream {
 public:
  int _WRITE_BYTE(int value);  // the low 8 bits
  int _WRITE_WORD(int value);  // the low 16 bits
  int _WRITE_32BIT(int value);
  int _READ_BYTE(int* value);
  int _READ_WORD(int* value);
  int _READ_32BIT(int* value);
  // Copies `length` bytes to the position as they stand, without a bounds test: the caller has
  // tested the room. Returns 0.
  int _REVERSE_WRITE_HEADER(const std::uint8_t* source, int length);

  std::uint8_t* data = nullptr;  // not owned
  int capacity = 0;              // usable bytes
  int position = 0;              // next byte to read or write
};

// Working record of one component, in encoder and decoder.
class QRX_API CJPEGColorComponent {
 public:
  CJPEGColorComponent() = default;
  // Frees the four buffers.
  virtual ~CJPEGColorComponent();
  CJPEGColorComponent(const CJPEGColorComponent&) = delete;
  CJPEGColorComponent& operator=(const CJPEGColorComponent&) = delete;

  int id = 0;         // identifier in SOF and SOS
  int comp_no = 0;    // index of the component
  int hsampling = 0;  // sampling factors of the frame header
  int vsampling = 0;
  int h_factor = 0;      // 2 where the component is reduced across, else 1
  int v_factor = 0;      // 2 where it is reduced down, else 1
  int nblocks = 0;       // blocks per MCU (encoder)
  int q_selector = 0;    // quantisation table
  int dc_selector = 0;   // DC Huffman table
  int ac_selector = 0;   // AC Huffman table
  int ac_scan_done = 0;  // decoder: 1 once an AC scan with Al 0 was decoded
  Ipp16s last_dc = 0;    // DC predictor

  // From ippMalloc, owned.
  Ipp8u* cc_buffer = nullptr;   // full-size samples before (encoder) or after (decoder) sampling
  Ipp8u* ss_buffer = nullptr;   // samples at the component's own resolution
  Ipp8u* row_buffer = nullptr;  // encoder: lossless differences; decoder: last reduced line
  Ipp8u* spare_buffer = nullptr;

  // Lossless mode: the current and the previous line, inside the buffers above.
  Ipp16s* curr_row = nullptr;
  Ipp16s* prev_row = nullptr;
};

#endif  // QRX_JPEG_TYPES_H_
