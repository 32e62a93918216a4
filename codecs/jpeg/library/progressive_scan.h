// One scan of a progressive image (T.81 Annex G) over the encoder's coefficient store: a pass for
// its Huffman tables, a pass for its code.
#ifndef QRX_CODECS_JPEG_LIBRARY_PROGRESSIVE_SCAN_H_
#define QRX_CODECS_JPEG_LIBRARY_PROGRESSIVE_SCAN_H_

#include "codecs/jpeg/library/entropy_interval.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

// Gathers the scan's symbols and builds the tables that fit them best. A refinement of DC needs
// none.
int buildScanTables(CJPEGEncoder& encoder, const Scan& scan);

// Builds the tables and writes DHT, SOS and code.
int encodeScan(CJPEGEncoder& encoder, const Scan& scan);

// Writes out what the scan's coder holds back.
int flushProgressive(CJPEGEncoder& encoder, const Scan& scan);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_PROGRESSIVE_SCAN_H_
