// CJPEGEncoder: turns pixels into a JPEG stream (ITU T.81): baseline, progressive, lossless, or a
// run of packets.
//
// Order of calls for one image: Clean, SetSource, SetDestination (or SetDestinationTiles), then
// one writer. Afterwards stream.position is the number of bytes written. Operations return a
// _JPEG_ERROR code as an int; a failed writer leaves a prefix of the stream in the buffer, and
// the object is good for the next image after Clean. Only std::bad_alloc is thrown.
//
// Threads: one object belongs to one thread at a time; objects share nothing that changes.
#ifndef QRX_JPEG_ENCODER_H_
#define QRX_JPEG_ENCODER_H_

#include <cstdint>

#include "qrx/export.h"
#include "qrx/jpeg_types.h"
#include "qrx/tile_header.h"

// A quantisation table, scaled by a quality number, in the forms that DQT and the transform need.
class QRX_API CJPEGEncoderQuantTable {
 public:
  CJPEGEncoderQuantTable();
  virtual ~CJPEGEncoderQuantTable();
  CJPEGEncoderQuantTable(const CJPEGEncoderQuantTable&) = delete;
  CJPEGEncoderQuantTable& operator=(const CJPEGEncoderQuantTable&) = delete;

  // `idAndPrecision`: table number in the low four bits, DQT precision in the next four.
  // `quality`: 50 keeps `source`, 100 and above makes every entry 1; below 1 fails with
  // JPEG_INTERNAL_ERROR. `source`: 64 bytes in zigzag order.
  int Init(int idAndPrecision, int quality, const Ipp8u* source);

  int id;
  int precision;
  Ipp8u* raw;         // 64 bytes in zigzag order, as DQT writes them; inside the object
  Ipp16u* fwd_table;  // 64 multipliers in natural order; inside the object
  int ready;          // 1 once Init has succeeded

 private:
  static constexpr int kAlignment = 32;
  Ipp8u raw_storage_[64 + kAlignment - 1];
  Ipp8u fwd_storage_[64 * sizeof(Ipp16u) + kAlignment - 1];
};

// A Huffman table as DHT writes it, with the encoding table of the entropy primitives.
class QRX_API CJPEGEncoderHuffmanTable {
 public:
  CJPEGEncoderHuffmanTable();
  virtual ~CJPEGEncoderHuffmanTable();
  CJPEGEncoderHuffmanTable(const CJPEGEncoderHuffmanTable&) = delete;
  CJPEGEncoderHuffmanTable& operator=(const CJPEGEncoderHuffmanTable&) = delete;

  // Allocates `spec` anew. JPEG_OUT_OF_MEMORY without memory.
  int Create();
  // `bits`: 16 counts of codes by length; `values`: as many symbols as they add up to. Needs
  // Create. JPEG_INTERNAL_ERROR for counts that make no prefix code (T.81 Annex C).
  int Init(int id, int hclass, const Ipp8u* bits, const Ipp8u* values);
  // Frees `spec` and clears the table; returns 0.
  int Destroy();

  int id;
  int hclass;  // 0 DC, 1 AC
  Ipp8u bits[16];
  Ipp8u values[256];
  IppiEncodeHuffmanSpec* spec;  // owned; null until Create
};

// The entropy coder's bit writer.
class QRX_API CJPEGEncoderHuffmanState {
 public:
  CJPEGEncoderHuffmanState();
  virtual ~CJPEGEncoderHuffmanState();
  CJPEGEncoderHuffmanState(const CJPEGEncoderHuffmanState&) = delete;
  CJPEGEncoderHuffmanState& operator=(const CJPEGEncoderHuffmanState&) = delete;

  int Create();
  int Init();
  int Destroy();

  IppiEncodeHuffmanState* state;  // owned; null until Create
};

namespace qrx::jpeg {
struct EncoderRoom;
}

class QRX_API CJPEGEncoder {
 public:
  CJPEGEncoder();
  virtual ~CJPEGEncoder();
  CJPEGEncoder(const CJPEGEncoder&) = delete;
  CJPEGEncoder& operator=(const CJPEGEncoder&) = delete;

  // --- Set-up

  // Returns the object to its empty state between images. Tables keep their memory. Returns 0.
  int Clean();

  // Describes the image: `srcStep` bytes from line to line, `srcSize` in pixels. The pixels are
  // read by the writer, not here, and stay the caller's. `srcColor` decides the layout;
  // `srcChannels` is stored only. Returns 0.
  int SetSource(const Ipp8u* pSrc, int srcStep, IppiSize srcSize, int srcChannels,
                _JPEG_COLOR srcColor);

  // Describes the stream; call it after SetSource. `pDst`, of `dstSize` bytes, stays the caller's.
  //   quality          1 up; 50 is the table of T.81 Annex K, 100 and above the finest
  //   sampling         ignored for gray, which is always coded 1x1
  //   jpegColor        colour space of the stream; see WriteImageBaseline for the pairs
  //   restartInterval  MCUs between restart markers, 0 for none; clamped to 0..65535
  // Returns 0. Sizes are checked by the writer.
  int SetDestination(Ipp8u* pDst, int dstSize, int quality, _JPEG_SAMPLING sampling,
                     _JPEG_COLOR jpegColor, _JPEG_MODE mode, int restartInterval);

  // The same for WriteImageBaselineCB, with the position at which the stream starts.
  int SetDestinationTiles(Ipp8u* pDst, int dstSize, int quality, _JPEG_SAMPLING sampling,
                          _JPEG_COLOR jpegColor, _JPEG_MODE mode, int restartInterval,
                          int startPosition);

  // Builds components, buffers and tables for what was set. The writers call it first; others
  // need not. JPEG_NOT_SUPPORTED for a width or height outside 0..65535, JPEG_OUT_OF_MEMORY,
  // JPEG_INTERNAL_ERROR for an unknown mode or a quality below 1.
  int Init();

  // --- Writers, each for the mode that it names (JPEG_NOT_SUPPORTED in another). Each returns 0,
  // an error of Init, JPEG_BUFFER_TOO_SMALL where a header or EOI
  // does not fit, or JPEG_INTERNAL_ERROR where the entropy-coded data does not fit.

  // A whole baseline image (SOF0, one interleaved scan, the Huffman tables of Annex K).
  // Source to stream colours: GRAY to GRAY; RGB to GRAY, RGB or YCBCR; BGR to YCBCR; CMYK to CMYK
  // or YCCK. Other pairs code a black picture.
  int WriteImageBaseline();

  // A whole progressive image (SOF2, spectral selection and successive approximation, a Huffman
  // table optimised for each scan). Colours as above.
  int WriteImageProgressive();

  // A whole lossless image (SOF3) of 8-bit samples, for a stream of JPEG_COLOR_GRAY: predictor 1.
  // JPEG_NOT_SUPPORTED for other colours and for a restart interval.
  int WriteImageLossless();

  // A rectangle as a run of packets, each of which decodes alone; see tile_header.h. A packet is
  // closed after the first MCU that takes it over 1250 bytes.
  //   unused   not used; pass null
  //   header   the packets' head: x, y, width, height tell the rectangle; changed by the call
  //   buffer   pDst of SetDestinationTiles
  //   emit     called once per packet, in order; the packet is valid until the call returns
  // On an error the packets that were emitted stay so and the open one is dropped.
  int WriteImageBaselineCB(int* unused, udp_header* header, Ipp8u* buffer,
                           void (*emit)(Ipp8u* packet, int length, void* context), void* context);

  // --- Marker segments (T.81 B.2). Each returns 0, or JPEG_BUFFER_TOO_SMALL where the room that
  // its length word asks for, and one byte more, is not there.

  int WriteSOI();
  int WriteEOI();
  int WriteAPP0();   // JFIF 1.02, density 1:1
  int WriteAPP14();  // Adobe, transform by jpeg_color
  // The text with its terminating zero byte; null writes the library's banner.
  // JPEG_BAD_SEGMENT_LENGTH for a text of more than 65532 bytes.
  int WriteCOM(const char* text);
  int WriteDQT(const CJPEGEncoderQuantTable* table);
  int WriteSOF0();
  int WriteSOF1();
  int WriteSOF2();
  int WriteSOF3();
  int WriteDHT(const CJPEGEncoderHuffmanTable* table);
  int WriteDRI(int interval);
  int WriteSOS();
  int WriteSOS(int count, const int* components, int ss, int se, int ah, int al);
  int WriteRST(int number);
  // A packet's head: written at the stream's position, or with `patch` over the one at `position`.
  int WritePDK(udp_header* header, int position, int x, int y, int width, int height, int count,
               bool patch, bool last);

  // --- Stages of the writers

  // Colour conversion and down-sampling of strip (row of MCUs) `strip`, in rising order; and of
  // the whole image.
  int ColorConvert(int strip);
  int DownSampling(int strip);
  int ColorConvert();
  int DownSampling();
  // BGR to YCbCr by a table of all 2^24 colours, which the first call in the process builds; used
  // by ColorConvert(int) where the environment variable ZMT_COLOR_CONVERSION is 1. Returns 0.
  static int qrxBGRToYCbCr_JPEG_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3],
                                         int dstStep, IppiSize roiSize);

  // Closes a restart interval: flush, RST marker, fresh predictions. The arguments name the scan.
  int ProcessRestart(const int* components, int ss, int se, int ah, int al);
  // The same in a statistics pass, which writes nothing.
  int ProcessRestart(int statistics[][256], const int* components, int ss, int se, int ah, int al);
  // Closes a packet's data: flush, fresh predictions, no marker.
  int TerminatePacket(const int* components, int ss, int se, int ah, int al);

  // Progressive: chooses the scans, fills `coefficients`, writes one scan.
  int SelectScanScripts();
  int PerformDCT();
  int GenerateHuffmanTables(int count, const int* components, int ss, int se, int ah, int al);
  int EncodeScan(int count, const int* components, int ss, int se, int ah, int al);

  // The processor's time-stamp counter.
  static std::uint64_t getRTClock();
  // Trace hooks; they do nothing and return 0.
  int PrintProgress(const char* label);
  int OutputProgress();

  // One scan of the progressive script.
  struct ScanRecord {
    int count;
    int components[4];
    int ss, se, ah, al;
  };

  // --- State, for reading

  const Ipp8u* source_data;  // not owned
  int source_width;
  int source_height;
  int source_step;
  int source_channels;
  _JPEG_COLOR source_color;
  _bitstream stream;  // destination; position is the number of bytes written
  int component_count;
  int precision;
  _JPEG_SAMPLING sampling;
  _JPEG_COLOR jpeg_color;
  int quality;
  int restart_interval;
  _JPEG_MODE mode;
  int mcus_across;
  int mcus_down;
  int mcu_width;
  int mcu_height;
  int strip_stride;  // bytes per line of every component buffer
  int strip_rows;    // source lines in the current strip
  int pad_columns;
  int pad_rows;
  int restarts_to_go;
  int next_restart;
  int scan_count;
  int scan_start;  // Ss, Se, Al, Ah of the WriteSOS without arguments
  int scan_end;
  int approx_low;
  int approx_high;
  int predictor;
  int point_transform;
  ScanRecord* scan_script;  // owned
  Ipp16s* coefficients;     // progressive: the whole image's; owned
  CJPEGColorComponent* components[4];
  CJPEGEncoderQuantTable quant_tables[4];
  CJPEGEncoderHuffmanTable dc_tables[4];
  CJPEGEncoderHuffmanTable ac_tables[4];
  CJPEGEncoderHuffmanState huffman_state;

 private:
  friend struct qrx::jpeg::EncoderRoom;
  qrx::jpeg::EncoderRoom* room_;  // the library's own, from image to image; owned
};

#endif  // QRX_JPEG_ENCODER_H_
