// CJPEGDecoder: turns a JPEG stream that lies whole in memory (ITU T.81) into 8-bit pixels. A
// codec's host does not need it: see codec.h.
//
//   CJPEGDecoder decoder;
//   decoder.SetSource(stream, length);
//   int width, height, channels, precision;
//   _JPEG_COLOR color;
//   _JPEG_SAMPLING sampling;
//   if (decoder.ReadHeader(&width, &height, &channels, &color, &sampling, &precision) == 0) {
//     // ... make room for height lines of 3 * width bytes
//     decoder.SetDestination(pixels, 3 * width, {width, height}, 3, JPEG_COLOR_BGR, 8);
//     const int result = decoder.ReadData();
//   }
//   decoder.Clean();
//   decoder.Reset();
//
// Order of calls for one image: Clean and Reset (not for the first), SetSource, ReadHeader,
// SetDestination, ReadData; for the slice of a packet ReadDataTiles in the place of ReadData. The
// operations that these are made of can be called alone; each tells what it needs and leaves.
//
// Accepted: SOF0, SOF1 (8 bits, one interleaved scan), SOF2 (8 bits), SOF3 (one component, 2 to 16
// bits); 1, 3 or 4 components; 4:4:4, 4:2:2 and 4:2:0; restart intervals; abbreviated streams,
// whose tables are those of the image before on the same object. The decoder favours output over
// reporting: damaged entropy-coded data of a sequential scan is not reported, and a progressive
// stream shows what has arrived: each scan that fails, and each scan of a complete image, one whose
// last bits of DC and of some AC band of every component have come, paints the whole picture. Good
// scans of an image that is not complete paint nothing. What was painted is not told: a caller who
// has to know fills the destination first.
//
// Errors. Operations return a _JPEG_ERROR code as an int (GetErrorStr gives its text) and throw
// nothing but std::bad_alloc, which only frame headers, packet heads and comments can bring about.
// JPEG_NOT_SUPPORTED stands for a well-formed stream outside of what is accepted,
// JPEG_BAD_... for a malformed segment, JPEG_BUFFER_TOO_SMALL for data that ends in front of a
// segment or marker, JPEG_INTERNAL_ERROR for a primitive that refuses. Fields that a failed
// operation has written stay written. After any failure the object is good for the next image
// after Clean and Reset. Nothing is printed, but for a bad DQT (see ParseDQT). Streams are not
// trusted, arguments are: pointers and sizes are taken as they come, and stages called alone want
// the calls in front of them to have succeeded.
//
// Ownership. Stream and destination stay the caller's and have to live until ReadData returns.
// What the object allocates belongs to it: components with their planes, comment and coefficients
// until Clean; tables, the bit reader and what the library keeps for itself until the destructor.
// The constructor allocates nothing. A baseline image takes one row of MCUs per component however
// tall it is, a progressive one the whole image. The buffers and tables that are named here come
// from ippMalloc.
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

// A quantisation table (T.81 B.2.4.1) as DQT gives it, and as the inverse transform multiplies by
// it. Allocates nothing.
class QRX_API CJPEGDecoderQuantTable {
 public:
  CJPEGDecoderQuantTable();
  virtual ~CJPEGDecoderQuantTable();
  CJPEGDecoderQuantTable(const CJPEGDecoderQuantTable&) = delete;
  CJPEGDecoderQuantTable& operator=(const CJPEGDecoderQuantTable&) = delete;

  // Takes over a table of a DQT segment: 64 bytes in zigzag order, copied. The low four bits of
  // `id` count; `precision` becomes 0. Returns 0.
  int Init(int id, Ipp8u* raw);
  // Takes a table over and scales it, as the encoder scales its own.
  //   idAndPrecision  table number in the low four bits, precision in the next four
  //   quality         50 keeps `raw`; 100 and more makes every entry 1
  //   raw             64 bytes in zigzag order; copied
  // JPEG_INTERNAL_ERROR for a quality below 1: `initialized` and `inverse` are then what they were.
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

// A Huffman table as DHT gives it (T.81 B.2.4.2), with the decoding table of the entropy
// primitives.
class QRX_API CJPEGDecoderHuffmanTable {
 public:
  CJPEGDecoderHuffmanTable();
  virtual ~CJPEGDecoderHuffmanTable();
  CJPEGDecoderHuffmanTable(const CJPEGDecoderHuffmanTable&) = delete;
  CJPEGDecoderHuffmanTable& operator=(const CJPEGDecoderHuffmanTable&) = delete;

  // Clears the table and allocates `spec` anew, without content. JPEG_OUT_OF_MEMORY.
  int Create();
  // Clears the table and frees `spec`. Returns 0.
  int Destroy();
  // Takes a table's lists over and makes `spec` of them. Needs Create.
  //   id, tableClass  table number and class; the low four bits count
  //   bits            16 bytes: how many codes have 1, 2, ... 16 bits
  //   values          as many symbols, in the order of their codes, as `bits` adds up to
  // JPEG_INTERNAL_ERROR for more than 256 symbols, for counts that make no prefix code and without
  // a `spec`.
  int Init(int id, int tableClass, Ipp8u* bits, Ipp8u* values);
  int Init(int id, int tableClass, const Ipp8u* bits, const Ipp8u* values);

  int id;
  int table_class;              // 0 DC, 1 AC
  IppiDecodeHuffmanSpec* spec;  // owned; null until Create
  Ipp8u bits[16];
  Ipp8u values[256];
  bool empty;  // true while spec is not allocated
};

// The entropy decoder's bit reader: the bits that it has taken from the stream and not used yet.
class QRX_API CJPEGDecoderHuffmanState {
 public:
  CJPEGDecoderHuffmanState();
  virtual ~CJPEGDecoderHuffmanState();
  CJPEGDecoderHuffmanState(const CJPEGDecoderHuffmanState&) = delete;
  CJPEGDecoderHuffmanState& operator=(const CJPEGDecoderHuffmanState&) = delete;

  // Allocates `state` anew, without content. JPEG_OUT_OF_MEMORY.
  int Create();
  // Empties the bit reader, as a scan and a restart interval start. JPEG_INTERNAL_ERROR without a
  // `state`.
  int Init();
  // Frees `state`. Returns 0.
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

  // Clears all frame and scan fields without freeing anything: Clean comes first. The destination,
  // the packet's place and the tables stay.
  void Reset();
  // Frees components, buffers and comment. Tables keep their memory. Returns 0.
  int Clean();
  // The stream: `srcSize` bytes, which stay the caller's. Reading starts at the first. Returns 0.
  int SetSource(const Ipp8u* pSrc, int srcSize);
  // The destination: `dstStep` bytes from line to line, at most the padded frame in size. Pairs of
  // stream and destination colours: GRAY to GRAY, RGB or BGR; RGB and YCBCR to RGB or BGR; CMYK and
  // YCCK to CMYK; NONE to NONE. Other pairs write nothing, and that is no error. Samples are 8 bits
  // wide whatever dstPrecision says, and the colours alone decide how many a pixel has; dstChannels
  // is stored only. Returns 0: sizes are checked by ReadData.
  int SetDestination(Ipp8u* pDst, int dstStep, IppiSize dstSize, int dstChannels,
                     _JPEG_COLOR dstColor, int dstPrecision);
  int SetDestination(Ipp16s* pDst, int dstStep, IppiSize dstSize, int dstChannels,
                     _JPEG_COLOR dstColor, int dstPrecision);

  // --- Reading

  // Reads up to the first scan, and leaves the position on its marker.
  //   width, height  in pixels; what the header says, up to 65535 each: it is the caller's part to
  //                  decide how much of that to make room for
  //   channels       components, 1 to 4
  //   color          NONE for what no application segment settles
  //   sampling       OTHER for a layout that ReadData will refuse
  //   precision      bits of a sample
  // All are written on success only; a stream without a frame gives size and channels 0.
  int ReadHeader(int* width, int* height, int* channels, _JPEG_COLOR* color,
                 _JPEG_SAMPLING* sampling, int* precision);
  // Decodes the image into the destination, once after ReadHeader. JPEG_NOT_SUPPORTED, before
  // anything is written, for a destination larger than the padded frame (lossless: than the
  // frame); JPEG_OUT_OF_MEMORY; else the first error in what follows the header, which leaves
  // what was painted. 0 does not promise an undamaged picture.
  // Lossless images give one channel in lines of exactly the destination's width; precisions
  // above 8 bits saturate at 255. Lines are held in signed 16 bits, so that samples of 32768 and
  // more are predicted by T.81 H.1.2 with predictors 1 to 4 only.
  int ReadData();
  // Decodes the slice of a packet: `mcuCount` MCUs of which the first lies `xOffset` pixels from
  // the left edge of a rectangle of `rectangleWidth` pixels. Rows of MCUs come one above the other,
  // each from the destination's column 0: the caller moves the first one. Behind a row's last MCU
  // stands what was decoded there before. A slice ends without EOI, so that the result tells
  // nothing about the scan; JPEG_BAD_SCAN_SEGMENT for an offset outside the rectangle.
  int ReadDataTiles(int mcuCount, int xOffset, int rectangleWidth);

  // --- Marker parser (T.81 B.2). Apart from the first two each takes the segment behind a
  // marker's two bytes at the position, sets the fields that it names and clears `marker`. Reads
  // past the end of the data give zeros. Each that has a length word returns JPEG_BUFFER_TOO_SMALL
  // where that is not there with a byte behind it, and JPEG_BAD_SEGMENT_LENGTH where it is below 2.

  // The run behind ReadHeader and ReadData: takes markers until a scan (JPEG_READ_HEADER), or until
  // EOI or the end of the data (JPEG_READ_DATA). Returns the first error.
  int ParseJPEGBitStream(_JPEG_OPERATION op);
  // Looks for the next marker from the position on, which ends behind it. `next` gets its second
  // byte. JPEG_BUFFER_TOO_SMALL, and `next` as it was, where there is none.
  int NextMarker(_JPEG_MARKER* next);
  // Passes over the segment by its length word.
  int SkipMarker();
  int ParseSOI();  // without a length word
  int ParseEOI();  // without a length word
  // jfif_... of a JFIF segment, jfxx_... of its extension. Others are passed over.
  int ParseAPP0();
  // adobe_... of Adobe's segment. Others are passed over.
  int ParseAPP14();
  // comment, in place of the one before.
  int ParseCOM();
  // quant_tables. Entries of 16 bits count by their low byte. JPEG_BAD_QUANT_SEGMENT for a table
  // number above 3. Failures also print to standard error.
  int ParseDQT();
  // dc_tables and ac_tables, which are created where they are empty. JPEG_BAD_HUFFMAN_TABLE for
  // more symbols than 256 or than the segment has, and for a table number above 3;
  // JPEG_INTERNAL_ERROR for counts that make no prefix code and without memory.
  int ParseDHT();
  // restart_interval, in MCUs; in scans of one component of a progressive image, in blocks.
  int ParseDRI();
  // Frame headers: precision, size, mode, components and sampling. Components come anew, without
  // planes. SOF0 serves SOF1 too. JPEG_NOT_SUPPORTED for a precision other than 8 (SOF3: a count of
  // components other than 1), JPEG_BAD_FRAME_SEGMENT, JPEG_BAD_SAMPLING (see _set_sampling).
  int ParseSOF0();
  int ParseSOF2();
  int ParseSOF3();
  // Scan header: the components' tables, scan_..., approx_..., and jpeg_color by the application
  // segments so far. Starts a restart interval. JPEG_NOT_SUPPORTED for fewer components than the
  // frame has, unless it is progressive; JPEG_BAD_COMPONENT_ID, JPEG_BAD_SCAN_SEGMENT.
  int ParseSOS();
  // Passes over a restart marker: the one in hand, or the next marker from the position on,
  // whichever it is. JPEG_INTERNAL_ERROR where there is none.
  int ParseRST();
  // A packet's head, in the place of a frame header (see tile_header.h). Makes the default tables
  // for its quality. Without a length word.
  int ParsePDK();

  // --- Stages of a data run, each after ReadHeader and SetDestination

  // Allocates what the next scan needs and was not allocated yet, and the bit reader anew.
  // JPEG_NOT_SUPPORTED for a sampling or a count of components that is not accepted, and for
  // buffers of more than INT_MAX bytes; JPEG_OUT_OF_MEMORY.
  int Init();
  // Tells `sampling` from the components' factors; OTHER for three or four whose layout is none of
  // ours. JPEG_BAD_SAMPLING for a single component that is not 1x1.
  int _set_sampling();

  // Sequential scans (T.81 F.2), after ParseSOS and Init: all rows of MCUs of the frame, or of the
  // packet that tile_mcu_count, tile_x and tile_width tell. A row that fails is shown with what it
  // has, and the next follows. JPEG_INTERNAL_ERROR without a bit reader.
  int DecodeScanBaseline();
  int DecodeScanBaselineTiles();
  // Entropy-decodes mcus_across MCUs into `pMCUBuf`: 64 coefficients a block, MCU after MCU, in
  // each the components' blocks; mcus_across * mcu_blocks blocks. JPEG_INTERNAL_ERROR at the first
  // block that fails; those behind it keep what they held.
  int DecodeHuffmanMCURowBL(Ipp16s* pMCUBuf);
  // Takes such a row, row `row` of the frame, through the inverse transform, UpSampling and
  // ColorConvert. `slot` is a strip's index in the planes: 0, as Init makes room for one.
  int DCT_QNT_SSCC_MCURowBL(Ipp16s* pMCUBuf, int slot, int row);
  // Starts a restart interval: empties the bit reader, clears the predictions, passes over the
  // marker. JPEG_INTERNAL_ERROR without a bit reader.
  int ProcessRestart();
  // Brings the components of row `row` to full size in their cc_buffer. Rows come from the top:
  // under 4:2:0 each leaves its last line to the next one.
  int UpSampling(int row, int slot);
  // Converts row `row` into the destination, as far as that reaches. JPEG_NOT_SUPPORTED for 2
  // components of no colour.
  int ColorConvert(int row, int slot);

  // A progressive scan (T.81 Annex G), after ParseSOS and Init: adds to `coefficients`, which are
  // allocated with the first that is not 0. A scan with Ss and Se above 0 is one of the component
  // scan_component, any other counts for all components. Returns the first error, which leaves what
  // was decoded.
  int DecodeScanProgressive();
  // From coefficients to pixels, for the whole image: inverse transform into every ss_buffer,
  // enlargement into every cc_buffer, conversion into the destination. Can be repeated.
  int PerformDCT();
  int UpSampling();
  int ColorConvert();

  // A lossless scan (T.81 Annex H), after ParseSOS and Init. The first failure ends it.
  int DecodeScanLossless();
  // Entropy-decodes the differences of a line: mcus_across of them.
  int DecodeHuffmanMCURowLS(Ipp16s* pMCUBuf);
  // Adds the prediction to a line of differences, which are used up, and writes line `row`. Lines
  // come from the top. `slot` has no effect.
  int ReconstructMCURowLS(Ipp16s* pMCUBuf, int slot, int row);

  // The processor's time-stamp counter.
  static std::uint64_t getRTClock();
  // Trace hooks; they do nothing and return 0.
  int PrintProgress(const char* label);
  int OutputProgress();

  // --- State, for reading

  _bitstream stream;  // source; position is the next byte to read
  Ipp8u* dest_data;   // not owned
  int dest_width;
  int dest_height;
  int dest_step;       // bytes from line to line
  int dest_precision;  // stored only
  int dest_channels;   // stored only
  _JPEG_COLOR dest_color;
  int jpeg_width;  // of the frame header
  int jpeg_height;
  int component_count;
  int precision;  // bits of a sample
  _JPEG_SAMPLING sampling;
  _JPEG_COLOR jpeg_color;
  int quality;           // of a packet
  int restart_interval;  // in MCUs, 0 for none
  _JPEG_MODE mode;
  int has_comment;     // 1 after a COM segment
  int comment_length;  // without the zero behind it
  Ipp8u* comment;      // zero-terminated; owned
  int jfif_found;      // 1 after an APP0 segment of JFIF; its fields
  int jfif_major, jfif_minor;
  int jfif_units;
  int jfif_x_density, jfif_y_density;
  int jfif_thumb_width, jfif_thumb_height;
  int jfxx_found;  // the same of its extension
  int jfxx_thumb_type;
  int adobe_found;  // the same of APP14
  int adobe_version, adobe_flags0, adobe_flags1;
  int adobe_transform;
  int mcus_across;  // in a row
  int mcus_down;    // rows
  int mcu_width;    // 8 or 16 pixels; lossless: 1
  int mcu_height;
  int strip_stride;  // bytes per line of every cc_buffer
  int strip_rows;    // lines of the next output step
  int pad_columns;   // of the MCU grid beyond the image
  int pad_rows;
  int restarts_to_go;           // MCUs left in the interval
  int next_restart;             // restarts of the scan, modulo 8
  int sos_length;               // length word of the last SOS
  int scan_component;           // index of the component that it named last
  int scan_start, scan_end;     // Ss, Se
  int approx_low, approx_high;  // Al, Ah
  int dc_scan_done;             // 1 once the last bits of DC have come
  int ac_scans_done;            // components of which the last bits of some AC band have come
  _JPEG_MARKER marker;          // read and not handled yet
  Ipp16s* coefficients;         // progressive: the whole image's, null while all are zero; owned
  Ipp16s* block_buffer;         // a row of MCUs, or a line of differences; owned
  int mcu_blocks;               // of all components, in baseline mode; else 1
  int tile_mcu_count;           // negative: not a packet
  int tile_x;                   // first pixel column
  int tile_width;               // of the rectangle, in pixels
  CJPEGColorComponent* components[4];      // null where there is none; owned
  CJPEGDecoderQuantTable quant_tables[4];  // by table number, as the next two
  CJPEGDecoderHuffmanTable dc_tables[4];
  CJPEGDecoderHuffmanTable ac_tables[4];
  CJPEGDecoderHuffmanState huffman_state;

 private:
  friend struct qrx::jpeg::DecoderRoom;
  qrx::jpeg::DecoderRoom* room_;  // the library's own, from image to image; owned
};

#endif  // QRX_JPEG_DECODER_H_
