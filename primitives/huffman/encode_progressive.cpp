// Progressive Huffman coding (T.81 G.1.2): bands of DC and AC coefficients, first scans and
// refinements, and the statistics for their tables.
//
// A walk over a band hands its symbols and bits to a sink: one writes them, one counts the symbols.
#include "primitives/checks.h"
#include "primitives/form.h"
#include "primitives/huffman/encode_common.h"
#include "primitives/zigzag.h"

namespace {

constexpr int kHighestPointTransform = 13;
constexpr int kLargestDcCategory = 11;
constexpr unsigned kLongestEobRun = 0x7FFF;
constexpr int kZeroRun = 0xF0;  // the symbol for 16 zeros

// Held correction bits above which a run is written, so that one more block always fits.
constexpr int kHeldBitsLimit = 937;

inline bool isPointTransform(int Al) { return Al >= 0 && Al <= kHighestPointTransform; }

inline bool isBand(int Ss, int Se) { return Ss >= 1 && Ss <= 63 && Se >= Ss && Se <= 63; }

// Writes symbols and bits, in the AC coders' form of the state.
class Coder {
 public:
  static constexpr int kLargestCategory = 11;

  Coder(const Output& out, const IppiEncodeHuffmanSpec* table, const IppiEncodeHuffmanState* state)
      : out_(out), table_(table), wide_{state->bitAcc, state->bitCount & 63} {}

  IppStatus symbol(int symbol) {
    const uint32_t entry = table_->entries[symbol];
    const unsigned length = entry >> 16;
    if (!isCodeLength(length)) return ippStsJPEGHuffTableErr;
    return bits(entry & 0xFFFF, static_cast<int>(length));
  }

  // The low `count` bits, 0 to 16.
  IppStatus bits(unsigned value, int count) {
    if (count == 0) return ippStsNoErr;
    const unsigned masked = value & ((1u << count) - 1);
    return wide_.put(&out_, masked, count) ? ippStsNoErr : ippStsJPEGOutOfBufErr;
  }

  // Completes the last byte with ones and writes out what is pending.
  IppStatus pad() {
    const int missing = -wide_.count & 7;
    const IppStatus status = bits(0x7F, missing);
    if (status != ippStsNoErr) return status;
    const bool fits = WideBits::putBytes(&out_, wide_.leftJustified(), wide_.count / 8);
    return fits ? ippStsNoErr : ippStsJPEGOutOfBufErr;
  }

  void close(int* pDstCurrPos, IppiEncodeHuffmanState* state) const {
    store(pDstCurrPos, out_.position);
    state->bitAcc = wide_.bits;
    state->bitCount = wide_.count;
  }

 private:
  Output out_;
  const IppiEncodeHuffmanSpec* table_;
  WideBits wide_;
};

class Counter {
 public:
  static constexpr int kLargestCategory = 10;

  explicit Counter(int* statistics) : statistics_(statistics) {}

  IppStatus symbol(int symbol) {
    int* cell = statistics_ + symbol;
    store(cell, static_cast<int>(static_cast<unsigned>(load(cell)) + 1));
    return ippStsNoErr;
  }

  IppStatus bits(unsigned, int) { return ippStsNoErr; }

 private:
  int* statistics_;
};

// One band of one block. The run of empty bands and the correction bits that belong to it are
// held in the state until a coefficient, a limit or the flush brings them out.
template <typename Sink>
class BandWalk {
 public:
  BandWalk(Sink* sink, IppiEncodeHuffmanState* state) : sink_(sink), state_(state) {}

  IppStatus first(const Ipp16s* block, int Ss, int Se, int Al) {
    int run = 0;
    for (int k = Ss; k <= Se; ++k) {
      const int v = load(block + own_pj_izigzag_index[k]);
      const int magnitude = (v < 0 ? -v : v) >> Al;
      if (magnitude == 0) {
        ++run;
        continue;
      }
      IppStatus status = pendingRun();
      for (; status == ippStsNoErr && run > 15; run -= 16) status = sink_->symbol(kZeroRun);
      if (status != ippStsNoErr) return status;
      const int size = category(magnitude);
      if (size > Sink::kLargestCategory) return ippStsJPEGDCTRangeErr;
      status = sink_->symbol(run * 16 + size);
      if (status != ippStsNoErr) return status;
      status = sink_->bits(static_cast<unsigned>(v < 0 ? ~magnitude : magnitude), size);
      if (status != ippStsNoErr) return status;
      run = 0;
    }
    return run == 0 ? ippStsNoErr : endOfBand();
  }

  IppStatus refine(const Ipp16s* block, int Ss, int Se, int Al) {
    const auto shifted = [=](int k) {
      const int v = load(block + own_pj_izigzag_index[k]);
      return (v < 0 ? -v : v) >> Al;
    };
    int lastNew = 0;  // the last coefficient that becomes non-zero, if there is one
    for (int k = Ss; k <= Se; ++k) {
      if (shifted(k) == 1) lastNew = k;
    }
    int run = 0;
    for (int k = Ss; k <= Se; ++k) {
      const int magnitude = shifted(k);
      if (magnitude == 0) {
        ++run;
        continue;
      }
      for (; run > 15 && k <= lastNew; run -= 16) {
        const IppStatus status = symbolAndCorrections(kZeroRun, 0, 0);
        if (status != ippStsNoErr) return status;
      }
      if (magnitude > 1) {
        corrections_ = corrections_ << 1 | static_cast<unsigned>(magnitude & 1);
        ++correctionCount_;
        continue;
      }
      const unsigned positive = load(block + own_pj_izigzag_index[k]) > 0 ? 1 : 0;
      const IppStatus status = symbolAndCorrections(run * 16 + 1, positive, 1);
      if (status != ippStsNoErr) return status;
      run = 0;
    }
    return run == 0 && correctionCount_ == 0 ? ippStsNoErr : endOfBand();
  }

  // The run of empty bands before this one, with its correction bits.
  IppStatus pendingRun() {
    const auto run = static_cast<unsigned>(state_->eobRun);
    if (run == 0) return ippStsNoErr;
    if (run > kLongestEobRun) return ippStsJPEGDCTRangeErr;
    const int size = category(static_cast<int>(run)) - 1;
    IppStatus status = sink_->symbol(size * 16);
    if (status == ippStsNoErr) status = sink_->bits(run, size);
    if (status != ippStsNoErr) return status;
    state_->eobRun = 0;
    const int held = heldBits(0);
    for (int i = 0; status == ippStsNoErr && i < held; ++i) {
      status = sink_->bits(state_->corrBits[i], 1);
    }
    if (status == ippStsNoErr) state_->corrBitCount = 0;
    return status;
  }

 private:
  static constexpr int kCapacity = 1024;

  // The bits held, where `more` fit behind them, else none: a record that was not initialised, or
  // not after a failure, must not lead out of corrBits.
  int heldBits(int more) const {
    const int held = state_->corrBitCount;
    return held < 0 || held > kCapacity - more ? 0 : held;
  }

  // A symbol and its sign bit, between the pending run and the corrections since the last one.
  IppStatus symbolAndCorrections(int symbol, unsigned sign, int signBits) {
    IppStatus status = pendingRun();
    if (status == ippStsNoErr) status = sink_->symbol(symbol);
    if (status == ippStsNoErr) status = sink_->bits(sign, signBits);
    for (; status == ippStsNoErr && correctionCount_ > 0; --correctionCount_) {
      status = sink_->bits(static_cast<unsigned>(corrections_ >> (correctionCount_ - 1)), 1);
    }
    return status;
  }

  // Counts the rest of the band as empty and holds its correction bits.
  IppStatus endOfBand() {
    const unsigned run = static_cast<unsigned>(state_->eobRun) + 1;
    state_->eobRun = static_cast<int32_t>(run);
    int held = heldBits(correctionCount_);
    while (correctionCount_ > 0) {
      --correctionCount_;
      state_->corrBits[held++] = static_cast<Ipp8u>(corrections_ >> correctionCount_ & 1);
    }
    state_->corrBitCount = held;
    return run == kLongestEobRun || held > kHeldBitsLimit ? pendingRun() : ippStsNoErr;
  }

  Sink* sink_;
  IppiEncodeHuffmanState* state_;
  uint64_t corrections_ = 0;  // of this block, since the last symbol
  int correctionCount_ = 0;
};

enum class Scan { kFirst, kRefinement };

template <Scan kScan, typename Sink>
IppStatus walkBand(Sink* sink, const Ipp16s* pSrc, int Ss, int Se, int Al,
                   IppiEncodeHuffmanState* pState) {
  BandWalk<Sink> walk(sink, pState);
  return kScan == Scan::kFirst ? walk.first(pSrc, Ss, Se, Al) : walk.refine(pSrc, Ss, Se, Al);
}

template <Scan kScan>
IppStatus encodeBand(const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, int Ss,
                     int Se, int Al, const IppiEncodeHuffmanSpec* pAcTable,
                     IppiEncodeHuffmanState* pState, int bFlushState) {
  if (pDst == nullptr) return ippStsNullPtrErr;
  if (dstLenBytes < 1) return ippStsSizeErr;
  if (anyNull(pDstCurrPos, pAcTable, pState)) return ippStsNullPtrErr;
  Coder coder({pDst, dstLenBytes, load(pDstCurrPos)}, pAcTable, pState);
  if (bFlushState != 0) {
    const IppStatus runStatus = BandWalk<Coder>(&coder, pState).pendingRun();
    const IppStatus padStatus = coder.pad();
    coder.close(pDstCurrPos, pState);
    clear(pState);
    return runStatus != ippStsNoErr ? runStatus : padStatus;
  }
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (!isBand(Ss, Se) || !isPointTransform(Al)) return ippStsBadArgErr;
  const IppStatus status = walkBand<kScan>(&coder, pSrc, Ss, Se, Al, pState);
  coder.close(pDstCurrPos, pState);
  return status;
}

template <Scan kScan>
IppStatus countBand(const Ipp16s* pSrc, int* pStatistics, int Ss, int Se, int Al,
                    IppiEncodeHuffmanState* pState, int bFlushState) {
  if (anyNull(pStatistics, pState)) return ippStsNullPtrErr;
  Counter counter(pStatistics);
  if (bFlushState != 0) {
    const IppStatus status = BandWalk<Counter>(&counter, pState).pendingRun();
    clear(pState);
    return status;
  }
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (!isBand(Ss, Se) || !isPointTransform(Al)) return ippStsBadArgErr;
  return walkBand<kScan>(&counter, pSrc, Ss, Se, Al, pState);
}

// The difference to the last DC value, both after the point transform.
int nextDcDifference(const Ipp16s* pSrc, Ipp16s* pLastDC, int Al) {
  const int dc = load(pSrc) >> Al;
  const int difference = dc - load(pLastDC);
  store(pLastDC, dc);
  return difference;
}

}  // namespace

IppStatus FORM(ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1)(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, Ipp16s* pLastDC, int Al,
    const IppiEncodeHuffmanSpec* pDcTable, IppiEncodeHuffmanState* pState, int bFlushState) {
  IppStatus status = checkOutput(pDst, dstLenBytes, pDstCurrPos, pState);
  if (status != ippStsNoErr) return status;
  if (bFlushState != 0) return flush(pDst, dstLenBytes, pDstCurrPos, pState);
  if (anyNull(pSrc, pLastDC)) return ippStsNullPtrErr;
  if (!isPointTransform(Al)) return ippStsBadArgErr;
  if (pDcTable == nullptr) return ippStsNullPtrErr;

  const int difference = nextDcDifference(pSrc, pLastDC, Al);
  const int size = category(difference);
  if (size > kLargestDcCategory) return ippStsJPEGDCTRangeErr;
  Output out = {pDst, dstLenBytes, load(pDstCurrPos)};
  status = writeValue(&out, pState, pDcTable, size, difference, size);
  store(pDstCurrPos, out.position);
  return status;
}

IppStatus FORM(ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1)(const Ipp16s* pSrc, Ipp8u* pDst,
                                                            int dstLenBytes, int* pDstCurrPos,
                                                            int Al, IppiEncodeHuffmanState* pState,
                                                            int bFlushState) {
  IppStatus status = checkOutput(pDst, dstLenBytes, pDstCurrPos, pState);
  if (status != ippStsNoErr) return status;
  if (bFlushState != 0) return flush(pDst, dstLenBytes, pDstCurrPos, pState);
  if (pSrc == nullptr) return ippStsNullPtrErr;
  if (!isPointTransform(Al)) return ippStsBadArgErr;

  Output out = {pDst, dstLenBytes, load(pDstCurrPos)};
  status = ownpj_write_bits_jpeg(&out, pState, static_cast<unsigned>(load(pSrc) >> Al), 1);
  store(pDstCurrPos, out.position);
  return status;
}

IppStatus FORM(ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1)(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, int Ss, int Se, int Al,
    const IppiEncodeHuffmanSpec* pAcTable, IppiEncodeHuffmanState* pState, int bFlushState) {
  return encodeBand<Scan::kFirst>(pSrc, pDst, dstLenBytes, pDstCurrPos, Ss, Se, Al, pAcTable,
                                  pState, bFlushState);
}

IppStatus FORM(ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1)(
    const Ipp16s* pSrc, Ipp8u* pDst, int dstLenBytes, int* pDstCurrPos, int Ss, int Se, int Al,
    const IppiEncodeHuffmanSpec* pAcTable, IppiEncodeHuffmanState* pState, int bFlushState) {
  return encodeBand<Scan::kRefinement>(pSrc, pDst, dstLenBytes, pDstCurrPos, Ss, Se, Al, pAcTable,
                                       pState, bFlushState);
}

IppStatus FORM(ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1)(const Ipp16s* pSrc,
                                                                int pStatistics[256],
                                                                Ipp16s* pLastDC, int Al) {
  if (anyNull(pSrc, pStatistics, pLastDC)) return ippStsNullPtrErr;
  if (!isPointTransform(Al)) return ippStsBadArgErr;
  const int size = category(nextDcDifference(pSrc, pLastDC, Al));
  if (size > kLargestDcCategory) return ippStsJPEGDCTRangeErr;
  return Counter(pStatistics).symbol(size);
}

IppStatus FORM(ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1)(const Ipp16s* pSrc,
                                                                int pStatistics[256], int Ss,
                                                                int Se, int Al,
                                                                IppiEncodeHuffmanState* pState,
                                                                int bFlushState) {
  return countBand<Scan::kFirst>(pSrc, pStatistics, Ss, Se, Al, pState, bFlushState);
}

IppStatus FORM(ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1)(const Ipp16s* pSrc,
                                                                 int pStatistics[256], int Ss,
                                                                 int Se, int Al,
                                                                 IppiEncodeHuffmanState* pState,
                                                                 int bFlushState) {
  return countBand<Scan::kRefinement>(pSrc, pStatistics, Ss, Se, Al, pState, bFlushState);
}
