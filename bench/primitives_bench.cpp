// Speed of the primitives: each distinct form beside the scalar reference.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "qrx/primitives.h"
#include "tests/forms/slots.h"

#define QRX_FORM ref
#include "primitives/form.h"

namespace {

constexpr IppiSize kImage = {1920, 64};  // a strip of MCUs or four
constexpr int kBlocks = 1024;

std::vector<Ipp8u> noise(size_t size) {
  std::mt19937 random(7);
  std::vector<Ipp8u> bytes(size);
  for (Ipp8u& byte : bytes) byte = static_cast<Ipp8u>(random());
  return bytes;
}

// Calls run(form) for the reference and every distinct form that this processor has. `run` does
// one unit of work of `bytes` bytes or `blocks` blocks.
template <typename Function, typename Run>
void compare(const std::string& name, const Function (&table)[7], Function reference, int64_t bytes,
             int64_t blocks, Run run) {
  const auto add = [=](const std::string& code, Function form) {
    benchmark::RegisterBenchmark((name + "/" + code).c_str(), [=](benchmark::State& state) {
      for (auto _ : state) {
        run(form);
        benchmark::ClobberMemory();
      }
      if (bytes != 0) state.SetBytesProcessed(state.iterations() * bytes);
      if (blocks != 0) state.SetItemsProcessed(state.iterations() * blocks);
    });
  };
  add("ref", reference);
  std::set<Function> seen;
  for (const Slot& slot : runnableSlots()) {
    if (seen.insert(table[slot.index]).second) {
      add("slot" + std::to_string(slot.index), table[slot.index]);
    }
  }
}

#define QRX_COMPARE(name, bytes, blocks, run) \
  compare(#name, name##_arraddr, ref_##name, bytes, blocks, run)

// Four planes and an interleaved image of four channels, with margins for the up-sampling.
struct Image {
  static constexpr int kStep = kImage.width * 4 + 64;
  std::vector<Ipp8u> interleaved = noise(size_t{kStep} * kImage.height * 2);
  std::vector<Ipp8u> planeData = noise(size_t{kStep} * (kImage.height + 2) * 4);
  std::vector<Ipp8u> output = noise(size_t{kStep} * kImage.height * 2);
  std::array<Ipp8u*, 4> planes;

  Image() {
    for (size_t p = 0; p < 4; ++p) planes[p] = planeData.data() + p * kStep * (kImage.height + 2);
  }
  const Ipp8u** sources() { return const_cast<const Ipp8u**>(planes.data()); }
};

Image& image() {
  static Image instance;
  return instance;
}

int64_t pixelBytes(int channels) { return int64_t{kImage.width} * kImage.height * channels; }

void addImages() {
  const auto split = [](auto form) {
    form(image().interleaved.data(), Image::kStep, image().planes.data(), Image::kStep, kImage);
  };
  const auto join = [](auto form) {
    form(image().sources(), Image::kStep, image().output.data(), Image::kStep, kImage);
  };
  const auto rows = [](auto form) {
    form(image().interleaved.data(), Image::kStep, image().output.data(), Image::kStep, kImage);
  };
  QRX_COMPARE(ippiRGBToYCbCr_JPEG_8u_C3P3R, pixelBytes(3), 0, split);
  QRX_COMPARE(ippiBGRToYCbCr_JPEG_8u_C3P3R, pixelBytes(3), 0, split);
  QRX_COMPARE(ippiRGBToY_JPEG_8u_C3C1R, pixelBytes(3), 0, rows);
  QRX_COMPARE(ippiCMYKToYCCK_JPEG_8u_C4P4R, pixelBytes(4), 0, split);
  QRX_COMPARE(ippiYCbCrToRGB_JPEG_8u_P3C3R, pixelBytes(3), 0, join);
  QRX_COMPARE(ippiYCbCrToBGR_JPEG_8u_P3C3R, pixelBytes(3), 0, join);
  QRX_COMPARE(ippiYCCKToCMYK_JPEG_8u_P4C4R, pixelBytes(4), 0, join);
  QRX_COMPARE(ippiCopy_8u_C1R, pixelBytes(1), 0, rows);
  QRX_COMPARE(ippiCopy_8u_AC4C3R, pixelBytes(4), 0, rows);
  QRX_COMPARE(ippiCopy_8u_C3AC4R, pixelBytes(3), 0, rows);
  QRX_COMPARE(ippiCopy_8u_C3P3R, pixelBytes(3), 0, split);
  QRX_COMPARE(ippiCopy_8u_P3C3R, pixelBytes(3), 0, join);
  const auto widen = [](auto form) {
    form(image().interleaved.data(), Image::kStep, reinterpret_cast<Ipp16s*>(image().output.data()),
         Image::kStep, kImage);
  };
  const auto narrow = [](auto form) {
    form(reinterpret_cast<const Ipp16s*>(image().interleaved.data()), Image::kStep,
         image().output.data(), Image::kStep, kImage);
  };
  QRX_COMPARE(ippiConvert_8u16s_C1R, pixelBytes(1), 0, widen);
  QRX_COMPARE(ippiConvert_16s8u_C1R, pixelBytes(2), 0, narrow);
}

void addSampling() {
  static constexpr IppiSize kHalf = {kImage.width / 2, kImage.height / 2};
  const auto down = [](auto form) {
    form(image().interleaved.data(), Image::kStep, kImage, image().output.data(), Image::kStep,
         kHalf);
  };
  const auto up = [](auto form) {
    form(image().interleaved.data() + Image::kStep + 1, Image::kStep, kHalf, image().output.data(),
         Image::kStep, kImage);
  };
  const int64_t halfBytes = int64_t{kHalf.width} * kHalf.height;
  QRX_COMPARE(ippiSampleDownH2V1_JPEG_8u_C1R, halfBytes, 0, down);
  QRX_COMPARE(ippiSampleDownH2V2_JPEG_8u_C1R, halfBytes, 0, down);
  QRX_COMPARE(ippiSampleUpH2V1_JPEG_8u_C1R, pixelBytes(1), 0, up);
  QRX_COMPARE(ippiSampleUpH2V2_JPEG_8u_C1R, pixelBytes(1), 0, up);
}

// Blocks of a picture with smooth parts and texture, quantised as at quality 85, and their scan.
struct Scan {
  std::vector<Ipp8u> samples;
  std::vector<Ipp16s> blocks;
  std::array<Ipp16u, 64> forwardTable, inverseTable;
  std::array<Ipp8u, 1024> dcCodes, acCodes;
  std::array<Ipp8u, 1644> dcLookup, acLookup;
  std::vector<Ipp8u> stream;
  int streamLength = 0;

  Scan() : samples(64 * kBlocks), blocks(64 * kBlocks), stream(256 * kBlocks) {
    std::mt19937 random(11);
    for (int b = 0; b < kBlocks; ++b) {
      const int amplitude = b % 4 == 0 ? 24 : 3;
      for (int i = 0; i < 64; ++i) {
        const int column = i % 8, line = i / 8;
        const double wave = 90 * std::sin(0.05 * column + 0.03 * line + 0.1 * b);
        samples[size_t{64} * static_cast<size_t>(b) + static_cast<size_t>(i)] = static_cast<Ipp8u>(
            128 + wave + static_cast<int>(random() % static_cast<unsigned>(amplitude)));
      }
    }
    std::array<Ipp8u, 64> raw;
    for (size_t k = 0; k < 64; ++k) raw[k] = static_cast<Ipp8u>(5 + k / 2);
    ippiQuantFwdTableInit_JPEG_8u16u(raw.data(), forwardTable.data());
    ippiQuantInvTableInit_JPEG_8u16u(raw.data(), inverseTable.data());
    for (size_t b = 0; b < kBlocks; ++b) {
      ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&samples[64 * b], 8, &blocks[64 * b],
                                          forwardTable.data());
    }
    makeTables();
    streamLength = encode(ippiEncodeHuffman8x8_JPEG_16s1u_C1);
  }

  IppiEncodeHuffmanSpec* encodeSpec(std::array<Ipp8u, 1024>& record) {
    return reinterpret_cast<IppiEncodeHuffmanSpec*>(record.data());
  }
  IppiDecodeHuffmanSpec* decodeSpec(std::array<Ipp8u, 1644>& record) {
    return reinterpret_cast<IppiDecodeHuffmanSpec*>(record.data());
  }

  // Tables that favour small categories and short runs.
  void makeTables() {
    int dc[256] = {}, ac[256] = {};
    for (int s = 0; s < 12; ++s) dc[s] = 4096 >> s;
    for (int r = 0; r < 16; ++r) {
      for (int s = 1; s < 11; ++s) ac[16 * r + s] = 1 + (1 << 20 >> (2 * s + r));
    }
    ac[0] = 1 << 19;
    ac[0xF0] = 16;
    std::array<Ipp8u, 16> bits;
    std::array<Ipp8u, 256> values;
    ippiEncodeHuffmanRawTableInit_JPEG_8u(dc, bits.data(), values.data());
    ippiEncodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), encodeSpec(dcCodes));
    ippiDecodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), decodeSpec(dcLookup));
    ippiEncodeHuffmanRawTableInit_JPEG_8u(ac, bits.data(), values.data());
    ippiEncodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), encodeSpec(acCodes));
    ippiDecodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), decodeSpec(acLookup));
  }

  template <typename Form>
  int encode(Form form) {
    std::array<Ipp8u, 1044> state = {};
    auto* record = reinterpret_cast<IppiEncodeHuffmanState*>(state.data());
    const int size = static_cast<int>(stream.size());
    int position = 0;
    Ipp16s lastDc = 0;
    for (size_t b = 0; b <= kBlocks; ++b) {
      form(&blocks[64 * (b % kBlocks)], stream.data(), size, &position, &lastDc,
           encodeSpec(dcCodes), encodeSpec(acCodes), record, b == kBlocks);
    }
    return position;
  }

  template <typename Form>
  void decode(Form form) {
    std::array<Ipp8u, 20> state = {};
    auto* record = reinterpret_cast<IppiDecodeHuffmanState*>(state.data());
    int position = 0, marker = 0;
    Ipp16s lastDc = 0;
    Ipp16s block[64];
    for (int b = 0; b < kBlocks; ++b) {
      form(stream.data(), streamLength, &position, block, &lastDc, &marker, decodeSpec(dcLookup),
           decodeSpec(acLookup), record);
      benchmark::DoNotOptimize(block);
    }
  }
};

Scan& scan() {
  static Scan instance;
  return instance;
}

void addBlocks() {
  const auto forward = [](auto form) {
    for (size_t b = 0; b < kBlocks; ++b) {
      Ipp16s block[64];
      form(&scan().samples[64 * b], 8, block, scan().forwardTable.data());
      benchmark::DoNotOptimize(block);
    }
  };
  const auto inverse = [](auto form) {
    for (size_t b = 0; b < kBlocks; ++b) {
      Ipp8u block[64];
      form(&scan().blocks[64 * b], block, 8, scan().inverseTable.data());
      benchmark::DoNotOptimize(block);
    }
  };
  QRX_COMPARE(ippiDCTQuantFwd8x8LS_JPEG_8u16s_C1R, 0, kBlocks, forward);
  QRX_COMPARE(ippiDCTQuantInv8x8LS_JPEG_16s8u_C1R, 0, kBlocks, inverse);
  QRX_COMPARE(ippiEncodeHuffman8x8_JPEG_16s1u_C1, scan().streamLength, kBlocks,
              [](auto form) { scan().encode(form); });
  QRX_COMPARE(ippiDecodeHuffman8x8_JPEG_1u16s_C1, scan().streamLength, kBlocks,
              [](auto form) { scan().decode(form); });
}

void addRows() {
  static std::vector<Ipp8u> bytes = noise(1 << 16);
  static std::vector<Ipp16s> row(4096), above(4096), out(4096);
  std::memcpy(row.data(), bytes.data(), 8192);
  std::memcpy(above.data(), bytes.data() + 8192, 8192);
  const auto predictRow = [](auto form) { form(row.data(), above.data(), out.data(), 4096, 7); };
  QRX_COMPARE(ippiDiffPredRow_JPEG_16s_C1, 8192, 0, predictRow);
  QRX_COMPARE(ippiReconstructPredRow_JPEG_16s_C1, 8192, 0, predictRow);
  QRX_COMPARE(ippsCopy_8u, 32768, 0,
              [](auto form) { form(bytes.data(), bytes.data() + 32768, 32768); });
  QRX_COMPARE(ippsLShiftC_16s, 8192, 0, [](auto form) { form(row.data(), 3, out.data(), 4096); });
}

}  // namespace

int main(int argc, char** argv) {
  addImages();
  addSampling();
  addBlocks();
  addRows();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 64;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
