// The coefficients and scans of a progressive image.
//
// Where the image is one that the fused routes of the processor take, the store is filled strip by
// strip, with notes on what each block holds, and scans are coded from these; else, and where a
// route stops, the encoder's stages and the primitives run.
#ifndef QRX_CODECS_JPEG_LIBRARY_BAND_CODER_H_
#define QRX_CODECS_JPEG_LIBRARY_BAND_CODER_H_

#include "codecs/jpeg/library/entropy_interval.h"
#include "primitives/strips/bands.h"
#include "qrx/jpeg_encoder.h"

namespace qrx::jpeg {

class BandCoder {
 public:
  // `encoder` is initialised for a progressive image and stays the caller's.
  explicit BandCoder(CJPEGEncoder& encoder) : encoder_(encoder) {}

  // Fills the encoder's coefficients, which need not be cleared, from the source pixels.
  int fill();

  // Writes tables, header and code of a scan of the encoder's own script. Nothing but this object
  // has worked on the coefficients since `fill`.
  int code(const Scan& scan);

 private:
  bool takeRoute();
  void fillByRoute();
  int codeByRoute(const Scan& scan);
  strips::BandsOut bandsOf(const Scan& scan, int (&counts)[2][256]) const;
  void setPredictions(const Scan& scan);

  CJPEGEncoder& encoder_;
  bool hasRoute_ = false;
  strips::StoreOut image_ = {};
  strips::Tokens tokens_ = {};
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_BAND_CODER_H_
