// The order of every primitive's checks, and that a refused call writes nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <sstream>
#include <tuple>
#include <type_traits>

#include "tests/forms/huffman_kit.h"

namespace {

// An argument at fault, written as index, letter of the status, and value (0 if left out): a
// pointer is null (an array of planes holds a null, plane `value` - 1), an integer is `value`, a
// size `value` wide, or of height `value` if that is negative.
struct Fault {
  size_t argument;
  char letter;  // '!': not a fault, but an argument that stands in every call
  int value = 0;
};

const std::map<char, IppStatus> kStatuses = {{'d', ippStsNoErr},     {'n', ippStsNullPtrErr},
                                             {'z', ippStsSizeErr},   {'t', ippStsStepErr},
                                             {'a', ippStsBadArgErr}, {'s', ippStsShiftErr}};

alignas(64) Ipp8u memory[8192];
Ipp8u* planes[4];

template <typename T>
void setArgument(T* argument, int value, bool isFault) {
  if constexpr (std::is_same_v<T, IppiSize>) {
    *argument = value < 0 ? IppiSize{1, value} : IppiSize{value, 1};
  } else if constexpr (std::is_same_v<T, int>) {
    *argument = value;
  } else if constexpr (std::is_same_v<T, Ipp8u**> || std::is_same_v<T, const Ipp8u**>) {
    if (isFault && value > 0) planes[value - 1] = nullptr;
    if (isFault && value == 0) *argument = nullptr;
    if (!isFault) *argument = const_cast<T>(planes);
  } else {
    *argument = isFault ? nullptr : reinterpret_cast<T>(memory);
  }
}

// Each fault counts before those behind it in the list.
template <typename... T>
void expectOrder(const char* list, IppStatus (*f)(T...)) {
  std::vector<Fault> faults;
  std::istringstream text(list);
  for (Fault fault{}; text >> fault.argument >> fault.letter; faults.push_back(fault)) {
    fault.value = 0;
    if (text.peek() != ' ' && text.peek() != EOF) text >> fault.value;
  }
  for (size_t active = 0; active < faults.size(); ++active) {
    if (faults[active].letter == '!') continue;
    for (Ipp8u*& plane : planes) plane = memory;
    std::tuple<T...> arguments;
    std::apply([](T&... argument) { (setArgument(&argument, 8, false), ...); }, arguments);
    for (size_t i = faults.size(); i-- > 0;) {
      if (i < active && faults[i].letter != '!') continue;
      size_t index = 0;
      const auto spoil = [&](auto* argument) {
        if (index++ == faults[i].argument) setArgument(argument, faults[i].value, true);
      };
      std::apply([&](T&... argument) { (spoil(&argument), ...); }, arguments);
    }
    EXPECT_EQ(std::apply(f, arguments), kStatuses.at(faults[active].letter)) << list << active;
  }
}

template <typename... F>
void expectOrder(const char* list, F... functions) {
  (expectOrder(list, functions), ...);
}

class Checks : public testing::Test {
 protected:
  void SetUp() override { std::memset(memory, 0, sizeof memory); }
  void TearDown() override {
    for (const Ipp8u byte : memory) ASSERT_EQ(byte, 0);
  }
};

TEST_F(Checks, Images) {
  expectOrder("0n 2n 2n1 2n3 2!4 1t 3t-8 4z 4z-1", ippiRGBToYCbCr_JPEG_8u_C3P3R,
              ippiBGRToYCbCr_JPEG_8u_C3P3R);
  expectOrder("2n 0n 0n1 0n3 0!4 1t 3t 4z 4z-1", ippiYCbCrToRGB_JPEG_8u_P3C3R,
              ippiYCbCrToBGR_JPEG_8u_P3C3R);
  expectOrder("0n 2n 2n4 1t 3t 4z", ippiCMYKToYCCK_JPEG_8u_C4P4R);
  expectOrder("2n 0n 0n4 1t 3t 4z", ippiYCCKToCMYK_JPEG_8u_P4C4R);
  expectOrder("0n 2n 1t 3t 4z", ippiRGBToY_JPEG_8u_C3C1R);
  expectOrder("0n 1t 2z 3n 4t 5z 5z-1", ippiSampleDownH2V1_JPEG_8u_C1R,
              ippiSampleDownH2V2_JPEG_8u_C1R, ippiSampleUpH2V1_JPEG_8u_C1R,
              ippiSampleUpH2V2_JPEG_8u_C1R);
  expectOrder("0n 2n 1! 4z 4z-1", ippiCopy_8u_C1R, ippiCopy_8u_AC4C3R, ippiCopy_8u_C3AC4R);
  expectOrder("0n 2n 2n3 2!4 4z", ippiCopy_8u_C3P3R);
  expectOrder("0n 2n 2n4 4z", ippiCopy_8u_C4P4R);
  expectOrder("2n 0n 0n3 0!4 4z", ippiCopy_8u_P3C3R);
  expectOrder("2n 0n 0n4 4z", ippiCopy_8u_P4C4R);
  expectOrder("0n 2n 4z 1t 3t", ippiConvert_8u16s_C1R, ippiConvert_16s8u_C1R);
}

TEST_F(Checks, VectorsTransformsTables) {
  expectOrder("0n 1n 2z", ippsCopy_8u);
  expectOrder("0n 1z-1", ippsZero_8u);
  expectOrder("0n 2n 3z 1s-1", ippsLShiftC_16s, ippsRShiftC_16s);
  expectOrder("0n 1n 2z 3a1 3a17 4a-1", ippiDiffPredFirstRow_JPEG_16s_C1,
              ippiReconstructPredFirstRow_JPEG_16s_C1);
  expectOrder("0n 1n 2n 3z 4a 4a8", ippiDiffPredRow_JPEG_16s_C1,
              ippiReconstructPredRow_JPEG_16s_C1);
  expectOrder("0n 2n 1t 3n", ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R);
  expectOrder("0n 1n 2t 3n", ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R);
  expectOrder("0n 1a 1a-1", ippiQuantFwdRawTableInit_JPEG_8u);
  expectOrder("0n 1n", ippiQuantFwdTableInit_JPEG_8u16u, ippiQuantInvTableInit_JPEG_8u16u);
  expectOrder("0n 1n 2n", ippiEncodeHuffmanRawTableInit_JPEG_8u, ippiEncodeHuffmanSpecInit_JPEG_8u,
              ippiDecodeHuffmanSpecInit_JPEG_8u);
  expectOrder("0n", ippiEncodeHuffmanSpecGetBufSize_JPEG_8u,
              ippiEncodeHuffmanStateGetBufSize_JPEG_8u, ippiDecodeHuffmanSpecGetBufSize_JPEG_8u,
              ippiDecodeHuffmanStateGetBufSize_JPEG_8u, ippiEncodeHuffmanStateInit_JPEG_8u,
              ippiDecodeHuffmanStateInit_JPEG_8u);
}

// The last argument but for the statistics' is the flush, which needs no block and no tables.
TEST_F(Checks, Encoders) {
  expectOrder("1n 2z 3n 7n 0d 5d", ippiEncodeHuffman8x8_JPEG_16s1u_C1);
  expectOrder("8! 1n 2z 3n 7n 0n 4n 5n 6n", ippiEncodeHuffman8x8_JPEG_16s1u_C1);
  expectOrder("1n 2z-1 3n 5n 0d 4d", ippiEncodeHuffmanOne_JPEG_16s1u_C1);
  expectOrder("6! 2z-1 0n 4n", ippiEncodeHuffmanOne_JPEG_16s1u_C1);
  expectOrder("7n 0d 4d 5d99 6d", ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1);
  expectOrder("8! 0n 4n 5a14 5a-1 6n", ippiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1);
  expectOrder("6! 0n 4a14 4a-1", ippiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1);
  expectOrder("1n 2z 7n 8n 0d 4d", ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1,
              ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1);
  expectOrder("9! 7n 0n 4a 4a64 5a7 5a64 6a14 6a-1", ippiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1,
              ippiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1);
  expectOrder("0n 1n 2n 3a14", ippiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1);
  expectOrder("1n 5n 0d 2d", ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1,
              ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1);
  expectOrder("6! 0n 2a 3a7 4a14", ippiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1,
              ippiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1);
}

TEST_F(Checks, Decoders) {
  expectOrder("0n 1a-1 2n 3n 4n 5n 6n 7n 8n", ippiDecodeHuffman8x8_JPEG_1u16s_C1);
  expectOrder("0n 1z 2n 3n 4n 5n 6n", ippiDecodeHuffmanOne_JPEG_1u16s_C1);
  expectOrder("0n 1z 2n 4n 6a14 6a-1 7n 8n", ippiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1);
  expectOrder("0n 1z 4n 5a-1 5a14 6n", ippiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1);
  expectOrder("0n 1z 3n 5a 5a64 6a7 6a64 7a14 7a-1 8n 9n",
              ippiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1,
              ippiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1);
}

}  // namespace
