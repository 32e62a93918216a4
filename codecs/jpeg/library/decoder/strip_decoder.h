// Rows of MCUs of a sequential scan by the fused routes of the processor, for the images that they
// take: from data to samples, and of three colours to pixels. Wherever a route stops, the
// primitives go on.
#ifndef QRX_CODECS_JPEG_LIBRARY_DECODER_STRIP_DECODER_H_
#define QRX_CODECS_JPEG_LIBRARY_DECODER_STRIP_DECODER_H_

#include "codecs/jpeg/library/decoder/output_stage.h"
#include "primitives/strips/strips.h"
#include "qrx/jpeg_decoder.h"

namespace qrx::jpeg {

class StripDecoder {
 public:
  // `decoder` is initialised for a baseline scan and stays the caller's.
  explicit StripDecoder(CJPEGDecoder& decoder);
  // Reads ahead into itself.
  StripDecoder(const StripDecoder&) = delete;
  StripDecoder& operator=(const StripDecoder&) = delete;

  // Whether the routes decode the image; without them nothing else is to be called.
  bool decodes() const { return decodes_; }
  // Whether they show it too. Else the samples lie where the decoder's stages look for them.
  bool shows() const { return shows_; }

  void fetchTarget(int row, const RowSpan& span);
  // Decodes the next row of `mcus` MCUs to samples. What a failure leaves undecoded keeps the
  // coefficients of the row above. Tells how many were decoded.
  int decode(int mcus);
  // Behind the last row that is decoded: gives the stream's position and what is in hand back.
  // Whether they are those that the primitives leave.
  bool standsAtEnd();
  // Gives the row to the destination. Rows come from the top.
  void show(int row, const RowSpan& span);

 private:
  bool takeScan();
  bool takePlanes();
  bool takeStagePlanes();
  const strips::Routes& takeRoutes();
  void extend(int mcus);
  void keepLastLines();

  CJPEGDecoder& decoder_;
  strips::ScanIn scan_ = {};
  strips::ReadAhead ahead_;
  const strips::Routes* decoding_ = nullptr;  // of the last row
  bool decodes_ = false;
  bool shows_ = false;
};

}  // namespace qrx::jpeg

#endif  // QRX_CODECS_JPEG_LIBRARY_DECODER_STRIP_DECODER_H_
