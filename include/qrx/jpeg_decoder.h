// CJPEGDecoder: turns a JPEG stream that lies whole in memory (ITU T.81) into 8-bit pixels.
//
// Order of calls for one image: Clean, Reset, SetSource, ReadHeader, SetDestination, ReadData; for
// the slice of a packet ReadDataTiles in the place of ReadData. Operations return a _JPEG_ERROR
// code as an int. After any failure the object is good for the next image after Clean and Reset.
// Only std::bad_alloc is thrown.
//
// Accepted: SOF0, SOF1 (8 bits, one interleaved scan), SOF2 (8 bits), SOF3 (one component, 2 to 16
// bits); 1, 3 or 4 components; 4:4:4, 4:2:2 and 4:2:0; restart intervals; abbreviated streams,
// whose tables are those of the image before on the same object. The decoder favours output over
// reporting: damaged entropy-coded data of a sequential scan is not reported, and a progressive
// stream shows what has arrived: each scan that fails, and each scan of a complete image, one whose
// last bits of DC and of some AC band of every component have come, paints the whole picture. Good
// scans of an image that is not complete paint nothing.
//
// Threads: one object belongs to one thread at a time; objects share nothing.
#ifndef QRX_JPEG_DECODER_H_
#define QRX_JPEG_DECODER_H_

#include <cstdint>

#include "qrx/export.h"
#include "qrx/jpeg_types.h"

namespace qrx::jpeg {
struct DecoderRoom;
}

// A marker's second byte (T.81 table B.1); 0 for none.
enum _JPEG_MARKER : int {
  JPEG_MARKER_NONE = 0,
  JPEG_MARKER_SOF0 = 0xC0,
  JPEG_MARKER_SOF1 = 0xC1,
  JPEG_MARKER_SOF2 = 0xC2,
  JPEG_MARKER_SOF3 = 0xC3,
  JPEG_MARKER_DHT = 0xC4,
  JPEG_MARKER_SOF5 = 0xC5,
  JPEG_MARKER_SOF6 = 0xC6,
  JPEG_MARKER_SOF7 = 0xC7,
  JPEG_MARKER_SOF9 = 0xC9,
  JPEG_MARKER_SOF10 = 0xCA,
  JPEG_MARKER_SOF11 = 0xCB,
  JPEG_MARKER_SOF13 = 0xCD,
  JPEG_MARKER_SOF14 = 0xCE,
  JPEG_MARKER_SOF15 = 0xCF,
  JPEG_MARKER_RST0 = 0xD0,
  JPEG_MARKER_RST7 = 0xD7,
  JPEG_MARKER_SOI = 0xD8,
  JPEG_MARKER_EOI = 0xD9,
  JPEG_MARKER_SOS = 0xDA,
  JPEG_MARKER_DQT = 0xDB,
  JPEG_MARKER_DRI = 0xDD,
  JPEG_MARKER_PDK = 0xDE,  // packet segment, in the place of DHP
  JPEG_MARKER_APP0 = 0xE0,
  JPEG_MARKER_APP14 = 0xEE,
  JPEG_MARKER_COM = 0xFE
};

enum _JPEG_OPERATION { JPEG_READ_HEADER = 0, JPEG_READ_DATA = 1 };

// A quantisation table as DQT gives it, and as the inverse transform multiplies by it.
class QRX_API CJPEGDecoderQuantTable {
 public:
  CJPEGDecoderQuantTable();
  virtual ~CJPEGDecoderQuantTable();
  CJPEGDecoderQuantTable(const CJPEGDecoderQuantTable&) = delete;
  CJPEGDecoderQuantTable& operator=(const CJPEGDecoderQuantTable&) = delete;

  // From a DQT segment: 64 bytes in zigzag order.
  int Init(int id, Ipp8u* raw);
  // From a quality number, as the encoder scales its tables. JPEG_INTERNAL_ERROR for a quality
  // below 1.
  int Init(int idAndPrecision, int quality, const Ipp8u* raw);

  int id;
  int precision;

 private:
  static constexpr int kAlignment = 32;
  Ipp8u raw_storage[64 + kAlignment - 1];
  Ipp8u inverse_storage[64 * sizeof(Ipp16u) + kAlignment - 1];

 public:
  Ipp8u* raw;       // zigzag order; inside the object, zero until Init
  Ipp16u* inverse;  // natural order; inside the object, zero until Init
  int initialized;  // 1 once Init has succeeded
};

// A Huffman table with the decoding table of the entropy primitives.
class QRX_API CJPEGDecoderHuffmanTable {
 public:
  CJPEGDecoderHuffmanTable();
  virtual ~CJPEGDecoderHuffmanTable();
  CJPEGDecoderHuffmanTable(const CJPEGDecoderHuffmanTable&) = delete;
  CJPEGDecoderHuffmanTable& operator=(const CJPEGDecoderHuffmanTable&) = delete;

  // Allocates `spec` anew. JPEG_OUT_OF_MEMORY without memory.
  int Create();
  // Frees `spec` and clears the table; returns 0.
  int Destroy();
  // `bits`: 16 counts of codes by length; `values`: as many symbols as they add up to, at most
  // 256. Needs Create. JPEG_INTERNAL_ERROR for counts that make no prefix code.
  int Init(int id, int tableClass, Ipp8u* bits, Ipp8u* values);
  int Init(int id, int tableClass, const Ipp8u* bits, const Ipp8u* values);

  int id;
  int table_class;              // 0 DC, 1 AC
  IppiDecodeHuffmanSpec* spec;  // owned; null until Create
  Ipp8u bits[16];
  Ipp8u values[256];
  bool empty;  // true while spec is not allocated
};

// The entropy decoder's bit reader.
class QRX_API CJPEGDecoderHuffmanState {
 public:
  CJPEGDecoderHuffmanState();
  virtual ~CJPEGDecoderHuffmanState();
  CJPEGDecoderHuffmanState(const CJPEGDecoderHuffmanState&) = delete;
  CJPEGDecoderHuffmanState& operator=(const CJPEGDecoderHuffmanState&) = delete;

  int Create();
  int Init();
  int Destroy();

  IppiDecodeHuffmanState* state;  // owned; null until Create
};

class QRX_API CJPEGDecoder {
 public:
  CJPEGDecoder();
  virtual ~CJPEGDecoder();
  CJPEGDecoder(const CJPEGDecoder&) = delete;
  CJPEGDecoder& operator=(const CJPEGDecoder&) = delete;

  // --- Set-up

  // Clears all frame and scan fields without freeing anything: Clean comes first. Tables stay.
  void Reset();
  // Frees components, buffers and comment. Returns 0.
  int Clean();
  // The stream: `srcSize` bytes, which stay the caller's. Returns 0.
  int SetSource(const Ipp8u* pSrc, int srcSize);
  // The destination: `dstStep` bytes from line to line, at most the padded frame in size. Pairs of
  // stream and destination colours: GRAY to GRAY, RGB or BGR; RGB and YCBCR to RGB or BGR; CMYK and
  // YCCK to CMYK; NONE to NONE. Other pairs write nothing. Samples are 8 bits wide whatever
  // dstPrecision says; dstChannels is stored only. Returns 0.
  int SetDestination(Ipp8u* pDst, int dstStep, IppiSize dstSize, int dstChannels,
                     _JPEG_COLOR dstColor, int dstPrecision);
  int SetDestination(Ipp16s* pDst, int dstStep, IppiSize dstSize, int dstChannels,
                     _JPEG_COLOR dstColor, int dstPrecision);

  // --- Reading

  // Reads up to the first scan. The outputs are written on success only; a stream without a frame
  // gives size and channels 0.
  int ReadHeader(int* width, int* height, int* channels, _JPEG_COLOR* color,
                 _JPEG_SAMPLING* sampling, int* precision);
  // Decodes the image into the destination. JPEG_NOT_SUPPORTED, before anything is written, for a
  // destination larger than the padded frame (lossless: than the frame).
  // Lossless images give one channel in lines of exactly the destination's width; precisions
  // above 8 bits saturate at 255. Lines are held in signed 16 bits, so that samples of 32768 and
  // more are predicted by T.81 H.1.2 with predictors 1 to 4 only.
  int ReadData();
  // Decodes the slice of a packet: `mcuCount` MCUs of which the first lies `xOffset` pixels from
  // the left edge of a rectangle of `rectangleWidth` pixels.
  int ReadDataTiles(int mcuCount, int xOffset, int rectangleWidth);

  // --- Marker parser

  int ParseJPEGBitStream(_JPEG_OPERATION op);
  int NextMarker(_JPEG_MARKER* next);
  int SkipMarker();
  int ParseSOI();
  int ParseEOI();
  int ParseAPP0();
  int ParseAPP14();
  int ParseCOM();
  int ParseDQT();
  int ParseDHT();
  int ParseDRI();
  int ParseSOF0();
  int ParseSOF2();
  int ParseSOF3();
  int ParseSOS();
  int ParseRST();
  int ParsePDK();

  // --- Stages

  int Init();
  int _set_sampling();

  int DecodeScanBaseline();
  int DecodeScanBaselineTiles();
  int DecodeHuffmanMCURowBL(Ipp16s* pMCUBuf);
  int DCT_QNT_SSCC_MCURowBL(Ipp16s* pMCUBuf, int slot, int row);
  int ProcessRestart();
  int UpSampling(int row, int slot);
  int ColorConvert(int row, int slot);

  int DecodeScanProgressive();
  int PerformDCT();
  int UpSampling();
  int ColorConvert();

  int DecodeScanLossless();
  int DecodeHuffmanMCURowLS(Ipp16s* pMCUBuf);
  int ReconstructMCURowLS(Ipp16s* pMCUBuf, int slot, int row);

  // The processor's time-stamp counter.
  static std::uint64_t getRTClock();
  // Trace hooks; they do nothing and return 0.
  int PrintProgress(const char* label);
  int OutputProgress();

  // --- State, for reading

  _bitstream stream;
  Ipp8u* dest_data;  // not owned
  int dest_width;
  int dest_height;
  int dest_step;
  int dest_precision;
  int dest_channels;
  _JPEG_COLOR dest_color;
  int jpeg_width;
  int jpeg_height;
  int component_count;
  int precision;
  _JPEG_SAMPLING sampling;
  _JPEG_COLOR jpeg_color;
  int quality;
  int restart_interval;
  _JPEG_MODE mode;
  int has_comment;
  int comment_length;
  Ipp8u* comment;  // zero-terminated; owned
  int jfif_found;
  int jfif_major, jfif_minor;
  int jfif_units;
  int jfif_x_density, jfif_y_density;
  int jfif_thumb_width, jfif_thumb_height;
  int jfxx_found;
  int jfxx_thumb_type;
  int adobe_found;
  int adobe_version, adobe_flags0, adobe_flags1;
  int adobe_transform;
  int mcus_across;
  int mcus_down;
  int mcu_width;
  int mcu_height;
  int strip_stride;
  int strip_rows;
  int pad_columns;
  int pad_rows;
  int restarts_to_go;
  int next_restart;
  int sos_length;
  int scan_component;
  int scan_start, scan_end;
  int approx_low, approx_high;
  int dc_scan_done;
  int ac_scans_done;
  _JPEG_MARKER marker;
  Ipp16s* coefficients;  // progressive: the whole image's, null while all are zero; owned
  Ipp16s* block_buffer;  // a row of MCUs, or a line of differences; owned
  int mcu_blocks;
  int tile_mcu_count;  // negative: not a packet
  int tile_x;
  int tile_width;
  CJPEGColorComponent* components[4];
  CJPEGDecoderQuantTable quant_tables[4];
  CJPEGDecoderHuffmanTable dc_tables[4];
  CJPEGDecoderHuffmanTable ac_tables[4];
  CJPEGDecoderHuffmanState huffman_state;

 private:
  friend struct qrx::jpeg::DecoderRoom;
  qrx::jpeg::DecoderRoom* room_;  // the library's own, from image to image; owned
};

#endif  // QRX_JPEG_DECODER_H_
