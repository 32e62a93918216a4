/* libqrx_jpeg for C: pictures to JPEGs and packets, and back, with results that say what happened.
 *
 *   qrxc_coder* coder = qrxc_open();
 *   qrxc_layout layout = {0, width, height, QRXC_RGB, 0};
 *   size_t size = 0, room = qrxc_bound(width, height, QRXC_RGB, QRXC_420);
 *   void* jpeg = malloc(room);
 *   if (qrxc_encode(coder, pixels, &layout, 85, QRXC_420, jpeg, room, &size) != QRXC_DONE) {
 *     fprintf(stderr, "%s\n", qrxc_text(coder));
 *   }
 *   qrxc_close(coder);
 *
 * It stands beside the contract of codec.h, on the same roads. It reads no setting, needs no
 * initCodec, and writes nothing to any stream.
 *
 * Coders. One coder serves one thread at a time; any number of coders work at once. A coder keeps
 * its working memory from call to call. Tables that a JPEG leaves out are those of the one before.
 *
 * Results. Every function that can fail gives a qrxc_code. Below 0 the call was refused: nothing
 * was written to the caller's memory, unless it says so, and the coder is good for the next call.
 * Any pointer may be null and any size absurd: that is QRXC_BAD_ARGUMENT or another refusal.
 *
 * Memory. Pixels, JPEGs and packets are the caller's; the library points at them for the length of
 * a call. Sizes are in bytes and in 64 bits; a JPEG is at most 2147483647 bytes long. */
#ifndef QRX_QRX_H_
#define QRX_QRX_H_

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QRXC_API __attribute__((visibility("default")))
#else
#define QRXC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qrxc_coder qrxc_coder;

typedef enum qrxc_code {
  QRXC_DONE = 0,
  QRXC_DAMAGED = 1,        /* decoded, but not all of it was good: see qrxc_report */
  QRXC_BAD_ARGUMENT = -1,  /* a null pointer, a number out of range */
  QRXC_BAD_DATA = -2,      /* no JPEG, no packet, or one with nothing to decode in it */
  QRXC_NOT_SUPPORTED = -3, /* a JPEG of a kind, or for a pixel format, that is not served */
  QRXC_NO_ROOM = -4,       /* the caller's memory is too small */
  QRXC_NO_MEMORY = -5      /* decoded rows may have been written before memory ran out */
} qrxc_code;

/* Bytes of a pixel, in the order of memory. X is a byte that is neither read nor written. */
typedef enum qrxc_format {
  QRXC_GRAY = 1,
  QRXC_RGB = 2,
  QRXC_BGR = 3,
  QRXC_RGBX = 4,
  QRXC_BGRX = 5,
  QRXC_CMYK = 6 /* 255 is full ink, whatever way the JPEG stores it */
} qrxc_format;

/* Sampling of chroma. Gray has none: any of these will do. */
typedef enum qrxc_sampling {
  QRXC_444 = 0,
  QRXC_422 = 1,
  QRXC_420 = 2,
  QRXC_OTHER = 3 /* told of a JPEG that can't be decoded; refused for encoding */
} qrxc_sampling;

typedef enum qrxc_mode { QRXC_BASELINE = 0, QRXC_PROGRESSIVE = 1, QRXC_LOSSLESS = 2 } qrxc_mode;

typedef enum qrxc_color {
  QRXC_COLOR_UNKNOWN = 0,
  QRXC_COLOR_GRAY = 1,
  QRXC_COLOR_RGB = 2,
  QRXC_COLOR_YCBCR = 4,
  QRXC_COLOR_CMYK = 5,
  QRXC_COLOR_YCCK = 6
} qrxc_color;

/* How pixels lie in memory. The pixel pointer of a call is the picture's upper left pixel. */
typedef struct qrxc_layout {
  int64_t stride; /* bytes from a row to the one below it; negative for pictures that are stored
                     bottom row first; 0 for rows without a gap */
  uint32_t width, height;
  int32_t format; /* a qrxc_format */
  int32_t reserved;
} qrxc_layout;

/* What a JPEG's header says. */
typedef struct qrxc_info {
  uint32_t width, height; /* 1 to 65535: it is the caller's part to say how much is too much */
  int32_t components;     /* 1, 3 or 4 of what can be decoded */
  int32_t precision;      /* bits of a sample */
  int32_t color;          /* a qrxc_color */
  int32_t sampling;       /* a qrxc_sampling */
  int32_t mode;           /* a qrxc_mode */
  int32_t restart_interval;
  int32_t format; /* the qrxc_format that keeps what is there: GRAY, RGB or CMYK */
  int32_t reserved[3];
} qrxc_info;

/* What came of decoding. */
typedef struct qrxc_report {
  uint32_t rows; /* from the top that came undamaged; of progressive ones, that were painted;
                    of a packet, of its own box */
  uint32_t reserved;
  double covered; /* share of the picture, 0 to 1, that came before the first fault that was found;
                     of a packet, share of the rectangle that this packet brought */
} qrxc_report;

/* Where a rectangle belongs, carried by its packets. */
typedef struct qrxc_place {
  uint32_t window;
  int32_t index; /* of the frame, 1 up */
  int32_t x, y;  /* left and lower edge in the window, y growing upwards: -32768 to 32767 */
  uint8_t mark;  /* any byte of the caller's */
  uint8_t reserved[7];
} qrxc_place;

/* What a packet says, held against its data. */
typedef struct qrxc_packet {
  qrxc_place place;
  uint32_t width, height; /* of the whole rectangle */
  uint32_t left, top; /* of the box around the packet's own pixels in the rectangle's picture, */
  uint32_t columns, rows; /* top row first, and its size */
  int32_t components;     /* 1 or 3 */
  int32_t sampling;       /* a qrxc_sampling */
  int32_t last;           /* 1 in the last packet of a rectangle */
  int32_t reserved;
  double share; /* of the rectangle, 0 to 1: those of all its packets add up to 1 */
} qrxc_packet;

/* A packet, ready for the wire. The bytes are good until the function returns. */
typedef void (*qrxc_packet_function)(void* user, const uint8_t* packet, size_t size);
/* What a call gave, whenever that is not QRXC_DONE. */
typedef void (*qrxc_message_function)(void* user, qrxc_code code, const char* text);

/* Of the library: 10000 times the major, 100 times the minor version, and the patch. */
QRXC_API int32_t qrxc_version(void);
/* The dispatch slot that the library chose for this processor, 0 to 6. */
QRXC_API int32_t qrxc_slot(void);

/* A new coder, or null without memory. */
QRXC_API qrxc_coder* qrxc_open(void);
/* Ends it; null is let pass. */
QRXC_API void qrxc_close(qrxc_coder* coder);

/* What the coder's last call came to, as one line; valid until the next call. Never null. */
QRXC_API const char* qrxc_text(const qrxc_coder* coder);
/* Gives the text of each result but QRXC_DONE to `function` as well, on the thread of the call;
 * null for nobody. */
QRXC_API void qrxc_set_messages(qrxc_coder* coder, qrxc_message_function function, void* user);

/* Bytes that the JPEG of any such picture fits in; 0 where it can't be coded. It is several times
 * the raw size, since noise has to fit: memory that is not touched costs nothing. */
QRXC_API size_t qrxc_bound(uint32_t width, uint32_t height, int32_t format, int32_t sampling);

/* Codes a picture of 1 to 65535 pixels each way into a baseline JPEG at `jpeg`.
 *   quality   1 to 100; 50 gives the tables of ITU T.81 Annex K
 *   capacity  bytes at `jpeg`; with less than qrxc_bound it may be QRXC_NO_ROOM, and what stands at
 *             `jpeg` is then of no use. Never more than `capacity` is written.
 *   size      gets the JPEG's length, 0 with every refusal */
QRXC_API qrxc_code qrxc_encode(qrxc_coder* coder, const void* pixels, const qrxc_layout* layout,
                               int32_t quality, int32_t sampling, void* jpeg, size_t capacity,
                               size_t* size);

/* Reads a JPEG's header. */
QRXC_API qrxc_code qrxc_read_info(qrxc_coder* coder, const void* jpeg, size_t size,
                                  qrxc_info* info);

/* Decodes a JPEG. The layout has to have room for the picture; a larger one gets it in its upper
 * left corner. Gray goes to every format but CMYK, colour to RGB, BGR and theirs with X, four
 * components to these and to CMYK. `report` may be null. */
QRXC_API qrxc_code qrxc_decode(qrxc_coder* coder, const void* jpeg, size_t size, void* pixels,
                               const qrxc_layout* layout, qrxc_report* report);

/* Codes a rectangle of 1 to 32767 pixels each way into packets of about 1250 bytes, each of which
 * decodes alone, and hands them over in order. Any format but CMYK. An exception of the function
 * passes through. */
QRXC_API qrxc_code qrxc_encode_packets(qrxc_coder* coder, const void* pixels,
                                       const qrxc_layout* layout, int32_t quality, int32_t sampling,
                                       const qrxc_place* place, qrxc_packet_function function,
                                       void* user);

/* Looks into a packet as it came from the network, and refuses what is none. */
QRXC_API qrxc_code qrxc_read_packet(qrxc_coder* coder, const void* packet, size_t size,
                                    qrxc_packet* told);

/* Decodes a packet into the picture of its rectangle, whose size the layout has to have. Only the
 * packet's own pixels are written. Colour as for qrxc_decode. `told` and `report` may be null. */
QRXC_API qrxc_code qrxc_decode_packet(qrxc_coder* coder, const void* packet, size_t size,
                                      void* pixels, const qrxc_layout* layout, qrxc_packet* told,
                                      qrxc_report* report);

#ifdef __cplusplus
}
#endif

#endif /* QRX_QRX_H_ */
