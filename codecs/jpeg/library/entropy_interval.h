// The ends of entropy-coded intervals: at a restart marker, at a packet's end, at a scan's end.
#ifndef QRX_CODECS_JPEG_LIBRARY_ENTROPY_INTERVAL_H_
#define QRX_CODECS_JPEG_LIBRARY_ENTROPY_INTERVAL_H_

#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

using Scan = CJPEGEncoder::ScanRecord;

// In place of a scan's first component where it names none.
inline constexpr int kNoComponent = -1;
// The one scan of a baseline image or packet.
inline constexpr Scan kBaselineScan = {0, {kNoComponent}, 0, 63, 0, 0};

// Whether the scan's end flushes AC code.
inline bool endsInAC(const Scan& scan) { return scan.ss != 0 || scan.se != 0; }

// The scan that the arguments of a restart name; `components` may be null.
inline Scan scanAt(const int* components, int ss, int se, int ah, int al) {
  // A DC scan's end asks for no component: the array may be empty.
  const bool named = components != nullptr && (ss != 0 || se != 0);
  return {named ? 1 : 0, {named ? components[0] : kNoComponent}, ss, se, ah, al};
}

void clearPredictions(CJPEGEncoder& encoder);

// Writes out what the entropy coder of the encoder's mode holds back.
int flushEntropy(CJPEGEncoder& encoder, const Scan& scan);

// Flush and fresh predictions.
int endInterval(CJPEGEncoder& encoder, const Scan& scan);

// The same with a restart marker, after which a new interval counts.
int restartInterval(CJPEGEncoder& encoder, const Scan& scan);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_ENTROPY_INTERVAL_H_
