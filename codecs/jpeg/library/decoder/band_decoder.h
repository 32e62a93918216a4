// Scans and the output of a progressive image by the fused routes of the processor, for the images
// that they take. Wherever a route stops, the primitives go on.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_BAND_DECODER_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_BAND_DECODER_H_

#include <cstddef>

#include "primitives/strips/bands.h"
#include "qrx/jpeg_decoder.h"

namespace qrx::jpeg {

// One scan. Its units are the blocks of an AC scan and the MCUs of a DC scan.
class BandDecoder {
 public:
  // `decoder` is initialised for a progressive scan and stays the caller's.
  BandDecoder(CJPEGDecoder& decoder, bool isSpectral);
  ~BandDecoder();
  BandDecoder(const BandDecoder&) = delete;
  BandDecoder& operator=(const BandDecoder&) = delete;

  // Opens the next unit; tells whether the routes have decoded it.
  bool open();
  // The primitives have worked on the open unit, which the routes had left to them.
  void note();

 private:
  bool takeRoute();
  bool takeTables();
  bool takeStore();

  CJPEGDecoder& decoder_;
  const bool isSpectral_;
  const bool startsEmpty_;  // the image had no coefficients when the scan began
  strips::BandsIn scan_ = {};
  std::ptrdiff_t count_ = 0;  // of all units
  std::ptrdiff_t next_ = 0;   // unit to open
  std::ptrdiff_t done_ = 0;   // units that are decoded
  bool serves_;
  bool hasStore_ = false;
};

// Transforms the whole image into its planes. False, with nothing done, where the routes do not
// take it.
bool transformImage(CJPEGDecoder& decoder);

// The same and on to the pixels of the destination, without a use for planes of full size. The
// image has coefficients.
bool showImage(CJPEGDecoder& decoder);

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_BAND_DECODER_H_
