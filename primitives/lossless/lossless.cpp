// Rows of samples to prediction differences, and back (T.81 Annex H).
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/lossless/lossless_ref.h"
#include "primitives/unaligned.h"

namespace {

template <int kPredictor>
void differences(const Ipp16s* row, const Ipp16s* above, Ipp16s* out, int width) {
  store(out, load(row) - load(above));
  for (int i = 1; i < width; ++i) {
    const int prediction =
        predict<kPredictor>(load(row + i - 1), load(above + i), load(above + i - 1));
    store(out + i, load(row + i) - prediction);
  }
}

template <int kPredictor>
void reconstruct(const Ipp16s* differences, const Ipp16s* above, Ipp16s* out, int width) {
  int aboveLeft = load(above);
  auto left = static_cast<Ipp16s>(load(differences) + aboveLeft);
  store(out, left);
  for (int i = 1; i < width; ++i) {
    const int aboveHere = load(above + i);
    const int prediction = predict<kPredictor>(left, aboveHere, aboveLeft);
    left = static_cast<Ipp16s>(load(differences + i) + prediction);
    aboveLeft = aboveHere;
    store(out + i, left);
  }
}

using RowFunction = void (*)(const Ipp16s* row, const Ipp16s* above, Ipp16s* out, int width);

constexpr RowFunction kDifferences[] = {differences<1>, differences<2>, differences<3>,
                                        differences<4>, differences<5>, differences<6>,
                                        differences<7>};
constexpr RowFunction kReconstruct[] = {reconstruct<1>, reconstruct<2>, reconstruct<3>,
                                        reconstruct<4>, reconstruct<5>, reconstruct<6>,
                                        reconstruct<7>};

IppStatus predictRow(const RowFunction (&byPredictor)[7], const Ipp16s* pSrc,
                     const Ipp16s* pPrevRow, Ipp16s* pDst, int width, int predictor) {
  if (anyNull(pSrc, pPrevRow, pDst)) return ippStsNullPtrErr;
  if (width < 1) return ippStsSizeErr;
  if (predictor < 1 || predictor > 7) return ippStsBadArgErr;
  byPredictor[predictor - 1](pSrc, pPrevRow, pDst, width);
  return ippStsNoErr;
}

IppStatus checkFirstRow(const Ipp16s* pSrc, const Ipp16s* pDst, int width, int P, int Pt) {
  if (anyNull(pSrc, pDst)) return ippStsNullPtrErr;
  if (width < 1) return ippStsSizeErr;
  return P < 2 || P > 16 || Pt < 0 ? ippStsBadArgErr : ippStsNoErr;
}

// What stands for the sample before the first: half of the range. A point transform that leaves
// no bit, which callers exclude, gives none.
int firstPrediction(int P, int Pt) { return Pt < P ? 1 << (P - Pt - 1) : 0; }

}  // namespace

IppStatus FORM(ippiDiffPredFirstRow_JPEG_16s_C1)(const Ipp16s* pSrc, Ipp16s* pDst, int width, int P,
                                                 int Pt) {
  const IppStatus status = checkFirstRow(pSrc, pDst, width, P, Pt);
  if (status != ippStsNoErr) return status;
  store(pDst, load(pSrc) - firstPrediction(P, Pt));
  for (int i = 1; i < width; ++i) store(pDst + i, load(pSrc + i) - load(pSrc + i - 1));
  return ippStsNoErr;
}

IppStatus FORM(ippiDiffPredRow_JPEG_16s_C1)(const Ipp16s* pSrc, const Ipp16s* pPrevRow,
                                            Ipp16s* pDst, int width, int predictor) {
  return predictRow(kDifferences, pSrc, pPrevRow, pDst, width, predictor);
}

IppStatus FORM(ippiReconstructPredFirstRow_JPEG_16s_C1)(const Ipp16s* pSrc, Ipp16s* pDst, int width,
                                                        int P, int Pt) {
  const IppStatus status = checkFirstRow(pSrc, pDst, width, P, Pt);
  if (status != ippStsNoErr) return status;
  auto left = static_cast<Ipp16s>(load(pSrc) + firstPrediction(P, Pt));
  store(pDst, left);
  for (int i = 1; i < width; ++i) {
    left = static_cast<Ipp16s>(left + load(pSrc + i));
    store(pDst + i, left);
  }
  return ippStsNoErr;
}

IppStatus FORM(ippiReconstructPredRow_JPEG_16s_C1)(const Ipp16s* pSrc, const Ipp16s* pPrevRow,
                                                   Ipp16s* pDst, int width, int predictor) {
  return predictRow(kReconstruct, pSrc, pPrevRow, pDst, width, predictor);
}
