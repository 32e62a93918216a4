// CJPEGEncoder: turns pixels into a JPEG stream (ITU T.81): baseline, progressive, lossless, or a
// run of packets. A codec's host does not need it: see codec.h.
//
//   CJPEGEncoder encoder;
//   encoder.SetSource(pixels, 3 * width, {width, height}, 3, JPEG_COLOR_BGR);
//   encoder.SetDestination(buffer, size, 80, JPEG_SAMPLING_420, JPEG_COLOR_YCBCR,
//                          JPEG_MODE_BASELINE, 0);
//   const int result = encoder.WriteImageBaseline();
//   // encoder.stream.position bytes of `buffer` are the image, if `result` is 0
//   encoder.Clean();
//
// Order of calls for one image: Clean (not for the first), SetSource, SetDestination (or
// SetDestinationTiles), then one writer. The operations that a writer is made of can be called
// alone, after Init; each tells what it reads and leaves.
//
// Errors. Operations return a _JPEG_ERROR code as an int (GetErrorStr gives its text), print
// nothing and throw nothing but std::bad_alloc. A writer that fails leaves a prefix of the stream
// in the buffer, stream.position bytes of it, and never a byte beyond the buffer's size. The object
// is good for the next image after Clean. Pointers and table numbers are taken on trust.
//
// Ownership. Pixels and destination stay the caller's and have to live until the writer returns.
// What the object allocates belongs to it: components, scan script and coefficients until Clean,
// tables until the destructor. A baseline image takes three strips (rows of MCUs) per component
// however tall it is, a progressive one the whole image. Memory of that kind may be kept for the
// next image.
//
// Threads: one object belongs to one thread at a time. Objects share nothing that changes, but for
// the table of qrxBGRToYCbCr_JPEG_8u_C3P3R, which guards itself.
#ifndef QRX_JPEG_ENCODER_H_
#define QRX_JPEG_ENCODER_H_

#include <cstdint>

#include "qrx/export.h"
#include "qrx/jpeg_types.h"
#include "qrx/tile_header.h"

// A quantisation table (T.81 B.2.4.1), scaled by a quality number, in the forms that DQT and the
// transform need. Allocates nothing.
class QRX_API CJPEGEncoderQuantTable {
 public:
  CJPEGEncoderQuantTable();
  virtual ~CJPEGEncoderQuantTable();
  CJPEGEncoderQuantTable(const CJPEGEncoderQuantTable&) = delete;
  CJPEGEncoderQuantTable& operator=(const CJPEGEncoderQuantTable&) = delete;

  // Takes a table over and scales it.
  //   idAndPrecision  table number in the low four bits, DQT precision (0) in the next four
  //   quality         50 keeps `source`, below it the entries grow (to 255 at most), above they
  //                   shrink; 100 and more makes every entry 1
  //   source          64 bytes in zigzag order; copied
  // JPEG_INTERNAL_ERROR for a quality below 1: `ready` is then what it was.
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

// A Huffman table as DHT writes it (T.81 B.2.4.2), with the encoding table of the entropy
// primitives.
class QRX_API CJPEGEncoderHuffmanTable {
 public:
  CJPEGEncoderHuffmanTable();
  virtual ~CJPEGEncoderHuffmanTable();
  CJPEGEncoderHuffmanTable(const CJPEGEncoderHuffmanTable&) = delete;
  CJPEGEncoderHuffmanTable& operator=(const CJPEGEncoderHuffmanTable&) = delete;

  // Clears the table and allocates `spec` anew, without content. JPEG_OUT_OF_MEMORY without memory.
  int Create();
  // Takes a table's lists over and makes `spec` of them. Needs Create.
  //   id, hclass  table number and class; the low four bits count
  //   bits        16 bytes: how many codes have 1, 2, ... 16 bits
  //   values      as many symbols, in the order of their codes, as `bits` adds up to
  // JPEG_INTERNAL_ERROR for more than 256 symbols, for counts that make no prefix code (T.81
  // Annex C) and without `spec`; `bits`, and up to 256 `values`, are then in the object already.
  int Init(int id, int hclass, const Ipp8u* bits, const Ipp8u* values);
  // Frees `spec` and clears the table; returns 0.
  int Destroy();

  int id;
  int hclass;  // 0 DC, 1 AC
  Ipp8u bits[16];
  Ipp8u values[256];
  IppiEncodeHuffmanSpec* spec;  // owned; null until Create
};

// The entropy coder's bit writer: the bits that do not fill a byte yet and, in progressive scans,
// what waits for the end of a run.
class QRX_API CJPEGEncoderHuffmanState {
 public:
  CJPEGEncoderHuffmanState();
  virtual ~CJPEGEncoderHuffmanState();
  CJPEGEncoderHuffmanState(const CJPEGEncoderHuffmanState&) = delete;
  CJPEGEncoderHuffmanState& operator=(const CJPEGEncoderHuffmanState&) = delete;

  // Allocates `state` anew, without content. JPEG_OUT_OF_MEMORY without memory.
  int Create();
  // Empties it, before a scan and after each flush. JPEG_INTERNAL_ERROR where Create is missing.
  int Init();
  // Frees `state`; returns 0.
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

  // Returns the object to its empty state between images: frees components, scan script and
  // coefficients and forgets source and destination. Tables keep their memory. Returns 0.
  int Clean();

  // Describes the image. Nothing is checked or read here; the writer does both.
  //   pSrc         first line, first pixel; 8-bit samples, interleaved
  //   srcStep      bytes from line to line, 1 up
  //   srcSize      pixels, each side 0 to 65535 (the frame header has 16 bits)
  //   srcChannels  stored only: the colour decides the layout
  //   srcColor     one byte a pixel for GRAY, three for RGB and BGR, four for CMYK
  // Returns 0.
  int SetSource(const Ipp8u* pSrc, int srcStep, IppiSize srcSize, int srcChannels,
                _JPEG_COLOR srcColor);

  // Describes the stream, and works out the grid of MCUs; call it after SetSource.
  //   pDst, dstSize    buffer and its bytes
  //   quality          1 up; 50 is the tables of T.81 Annex K, 100 and above the finest
  //   sampling         ignored for gray, which is always coded 1x1
  //   jpegColor        colour space of the stream; see WriteImageBaseline for the pairs
  //   mode             which of the writers will be called
  //   restartInterval  MCUs (blocks, in a scan of one component) between restart markers, 0 for
  //                    none; clamped to 0..65535
  // Returns 0. Sizes and quality are checked by the writer.
  int SetDestination(Ipp8u* pDst, int dstSize, int quality, _JPEG_SAMPLING sampling,
                     _JPEG_COLOR jpegColor, _JPEG_MODE mode, int restartInterval);

  // The same for WriteImageBaselineCB, with the position, in bytes from `pDst`, at which the stream
  // starts.
  int SetDestinationTiles(Ipp8u* pDst, int dstSize, int quality, _JPEG_SAMPLING sampling,
                          _JPEG_COLOR jpegColor, _JPEG_MODE mode, int restartInterval,
                          int startPosition);

  // Builds components, buffers and tables for what was set, in place of those of the image before.
  // The writers call it first; call it where their operations are used alone.
  // JPEG_NOT_SUPPORTED for a width or height outside 0..65535; JPEG_OUT_OF_MEMORY, also for a
  // width of 0 and for buffers beyond an int; JPEG_INTERNAL_ERROR for an unknown mode, for a
  // quality below 1 (except lossless) and where a table has no memory. What was built stays until
  // Clean.
  int Init();

  // --- Writers, each for the mode that it names (JPEG_NOT_SUPPORTED in another, with nothing
  // written). Each returns 0, an error of Init, JPEG_BUFFER_TOO_SMALL where a header or EOI does
  // not fit, or JPEG_INTERNAL_ERROR where the entropy-coded data does not fit or a primitive
  // refuses (a step below 1, for one).

  // A whole baseline image (SOF0, one interleaved scan, the Huffman tables of Annex K).
  // Source to stream colours: GRAY to GRAY; RGB to GRAY, RGB or YCBCR; BGR to YCBCR; CMYK to CMYK
  // or YCCK. Other pairs convert nothing and code samples of 0; NONE and BGR as a stream's colour
  // have no components. Gray and YCbCr carry JFIF's segment (T.871), RGB, CMYK and YCCK Adobe's.
  int WriteImageBaseline();

  // A whole progressive image (SOF2, T.81 Annex G: spectral selection and successive approximation,
  // with a Huffman table made for each scan). Colours as above. Takes 2560 bytes per MCU and three
  // bytes per sample for the time of the call and until Clean.
  int WriteImageProgressive();

  // A whole lossless image (SOF3, T.81 Annex H) of 8-bit samples, for a stream of JPEG_COLOR_GRAY:
  // predictor 1, no point transform. The source counts as one byte a pixel, whatever its colour.
  // JPEG_NOT_SUPPORTED for other stream colours, with nothing written, and for a restart interval,
  // behind the headers.
  int WriteImageLossless();

  // A rectangle as a run of packets, each of which decodes alone; see tile_header.h. A packet is
  // closed after the first MCU that takes it over 1250 bytes. All packets lie one behind the other
  // in the destination.
  //   unused   not used; pass null
  //   header   the packets' head, the caller's: x and y (lower left corner, y growing upwards),
  //            width and height tell the rectangle, which is the source's; changed by the call and
  //            spent after it
  //   buffer   pDst of SetDestinationTiles
  //   emit     called once per packet, in order, on this thread, with packet, bytes and `context`;
  //            the packet may be changed in place and is valid until emit returns
  // On an error the packets that were emitted stay so and the open one is dropped: no packet then
  // carries the last-packet mark, a negative index.
  int WriteImageBaselineCB(int* unused, udp_header* header, Ipp8u* buffer,
                           void (*emit)(Ipp8u* packet, int length, void* context), void* context);

  // --- Marker segments (T.81 B.2), written at stream.position. Each returns 0, or
  // JPEG_BUFFER_TOO_SMALL, with nothing written, where the room that its length word asks for (2
  // bytes for a marker alone), and one byte more, is not there. The length word does not count the
  // marker: of a segment that ends at the very end of the buffer the last bytes may be cut off.

  int WriteSOI();
  int WriteEOI();
  int WriteAPP0();   // JFIF 1.02, density 1:1
  int WriteAPP14();  // Adobe, transform by jpeg_color
  // The text with its terminating zero byte; null writes the library's banner.
  // JPEG_BAD_SEGMENT_LENGTH for a text of more than 65532 bytes.
  int WriteCOM(const char* text);
  int WriteDQT(const CJPEGEncoderQuantTable* table);  // 8-bit entries
  // The frame header (B.2.2) from source size and components, which Init makes; identifiers count
  // from 0. Baseline, extended sequential (which no writer uses), progressive, lossless.
  int WriteSOF0();
  int WriteSOF1();
  int WriteSOF2();
  int WriteSOF3();
  int WriteDHT(const CJPEGEncoderHuffmanTable* table);
  // `interval`: the low 16 bits go out. Lets the count of `restart_interval` begin anew.
  int WriteDRI(int interval);
  // The scan header (B.2.3) of all components, with scan_start, scan_end, approx_high, approx_low.
  int WriteSOS();
  // That of `count` components, by their indices, with Ss, Se, Ah, Al.
  int WriteSOS(int count, const int* components, int ss, int se, int ah, int al);
  // `number`: 0 to 7; the one behind it becomes next_restart.
  int WriteRST(int number);
  // A packet's head, in one of two forms. First a head with room for what is known at the packet's
  // end only, at stream.position; position, x, y and count are not looked at. Then, with `patch`,
  // over the head at `position`: `count` MCUs and the place of the rectangle's part go into
  // `header`, the data ends at stream.position, which stays as it is. `last` negates the header's
  // index. JPEG_BUFFER_TOO_SMALL with less than 54 bytes behind the head's place.
  int WritePDK(udp_header* header, int position, int x, int y, int width, int height, int count,
               bool patch, bool last);

  // --- Stages of the writers

  // One strip (row of MCUs) of the source, from 0, in rising order, into the buffers of the
  // components: ColorConvert fills cc_buffer at full size, DownSampling pads it to whole MCUs (the
  // last column and line are repeated) and brings it to the component's resolution in ss_buffer.
  // Lines lie strip_stride bytes apart in both, and a strip replaces the one before. After the last
  // strip Init comes before any other. JPEG_INTERNAL_ERROR where a primitive refuses.
  int ColorConvert(int strip);
  int DownSampling(int strip);
  // The same for the whole image, into the buffers of the progressive mode.
  int ColorConvert();
  int DownSampling();
  // BGR to YCbCr by a table of all 2^24 colours, 48 MiB, which the first call in the process
  // builds: every term is truncated, so the values are not those of the primitive. Used by
  // ColorConvert(int) where the environment variable ZMT_COLOR_CONVERSION is 1. `roiSize` in
  // pixels, steps in bytes; planes are Y, Cb, Cr. Returns 0.
  static int qrxBGRToYCbCr_JPEG_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3],
                                         int dstStep, IppiSize roiSize);

  // Closes a restart interval (T.81 E.1.4): flush, marker RST of next_restart, predictions of 0, a
  // new interval to count. The arguments are those of the scan; `components` may be null but for an
  // AC scan of the progressive mode, of which only the first is looked at. JPEG_INTERNAL_ERROR
  // where the data or the marker does not fit.
  int ProcessRestart(const int* components, int ss, int se, int ah, int al);
  // The same in a statistics pass, which writes nothing. `statistics`: counts by AC table number
  // and symbol, to which what is pending is added.
  int ProcessRestart(int statistics[][256], const int* components, int ss, int se, int ah, int al);
  // Closes a packet's data: flush and predictions of 0, no marker. Arguments as above.
  int TerminatePacket(const int* components, int ss, int se, int ah, int al);

  // Puts the script for 1, 3 or 4 components into `scan_script` and `scan_count`;
  // JPEG_NOT_SUPPORTED for another number, with both as they were.
  int SelectScanScripts();
  // Progressive: transforms and quantises ss_buffer of the whole image into `coefficients`.
  int PerformDCT();
  // One scan over `coefficients` (T.81 Annex G): 1 to 4 indices of components, Ss, Se, Ah, Al. With
  // neither Ss nor Se 0 it is an AC scan, of the first component alone; any other is a DC scan and
  // goes over all components. JPEG_NOT_SUPPORTED for more than four, JPEG_BUFFER_TOO_SMALL where
  // DHT or SOS does not fit, JPEG_INTERNAL_ERROR where the data does not.
  //
  // The first makes the Huffman tables that fit the scan best, in ac_tables or dc_tables (a DC
  // refinement needs none); the second does that too and writes DHT, SOS and data, with restart
  // markers from next_restart on.
  int GenerateHuffmanTables(int count, const int* components, int ss, int se, int ah, int al);
  int EncodeScan(int count, const int* components, int ss, int se, int ah, int al);

  // The processor's time-stamp counter, in its ticks.
  static std::uint64_t getRTClock();
  // Trace hooks; they do nothing and return 0.
  int PrintProgress(const char* label);
  int OutputProgress();

  // One scan of the progressive script.
  struct ScanRecord {
    int count;           // of components
    int components[4];   // indices; `count` of them are set
    int ss, se, ah, al;  // of its SOS
  };

  // --- State, for reading. The first six are SetSource's, stream to mode SetDestination's (but for
  // component_count, which Init sets, and precision, always 8); the MCUs' number and size are
  // SetDestination's as well.

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
  int mcus_across;  // MCUs in a row, and rows
  int mcus_down;
  int mcu_width;  // pixels: 8 or 16; 1 in lossless mode
  int mcu_height;
  int strip_stride;  // bytes per line of every component buffer
  int strip_rows;    // source lines in the current strip
  int pad_columns;   // what the grid has beyond the image, in pixels
  int pad_rows;
  int restarts_to_go;  // MCUs, or blocks, until the interval is full
  int next_restart;    // number of the next RST, 0 to 7
  int scan_count;
  int scan_start;  // Ss, Se, Al, Ah of the WriteSOS without arguments
  int scan_end;
  int approx_low;
  int approx_high;
  int predictor;  // lossless
  int point_transform;
  ScanRecord* scan_script;  // owned; scan_count records
  // Progressive: blocks of 64 in natural order, MCU after MCU in raster order, in each the blocks
  // of component 0 to the last. Owned.
  Ipp16s* coefficients;
  CJPEGColorComponent* components[4];      // owned; null where there is none
  CJPEGEncoderQuantTable quant_tables[4];  // 0 luma, 1 chroma; the others are not used
  CJPEGEncoderHuffmanTable dc_tables[4];   // the same
  CJPEGEncoderHuffmanTable ac_tables[4];
  CJPEGEncoderHuffmanState huffman_state;

 private:
  friend struct qrx::jpeg::EncoderRoom;
  qrx::jpeg::EncoderRoom* room_;  // the library's own, from image to image; owned
};

#endif  // QRX_JPEG_ENCODER_H_
