// Memory that runs out at every place of the codec's roads and of the coder classes.
#include <memory>

#include "qrx/codec.h"
#include "qrx/qrx.h"
#include "tests/unit/codec_kit.h"
#include "tests/unit/shortage/shortage_kit.h"

namespace qrx::test {
namespace {

// A callback's user data: byte 4 goes into packets.
struct Sink {
  std::uint8_t block[8] = {};
  Outcome* outcome;
};

void take(std::uint8_t* data, std::uint32_t length, void* sink) {
  static_cast<Sink*>(sink)->outcome->add(data, length);
}

void compressFrame(codec::Compressor& c, const Image& image, Outcome* outcome) {
  Sink sink{{}, outcome};
  const bool done =
      c.compress(image.pixels.data(), 4, 0, 0, 0, 0, static_cast<std::uint32_t>(image.size.width),
                 static_cast<std::uint32_t>(image.size.height), 0, 60, take, &sink);
  const std::uint8_t* const end = outcome->bytes.data() + outcome->size;
  const bool complete = outcome->size > 2 && end[-2] == 0xFF && end[-1] == 0xD9;
  outcome->code = !done ? 0 : complete ? 1 : 2;
}

void compressPackets(codec::Compressor& c, const Image& image, unsigned quality, Outcome* outcome) {
  Sink sink{{}, outcome};
  outcome->code =
      c.compress(image.pixels.data(), 4, 0, 1, 0, 0, static_cast<std::uint32_t>(image.size.width),
                 static_cast<std::uint32_t>(image.size.height), 0, 0, quality, take, &sink);
}

// Pictures, streams and packets, made before memory gets short.
struct Material {
  explicit Material(Size size) : image(scenePicture(size)) {
    for (const _JPEG_MODE mode : {JPEG_MODE_BASELINE, JPEG_MODE_PROGRESSIVE, JPEG_MODE_LOSSLESS}) {
      EncoderJob& job = jobs[mode] = mode == JPEG_MODE_LOSSLESS ? grayJob(image) : colourJob(image);
      job.mode = mode;
      job.capacity = sizeof Outcome().bytes;
      Bytes& stream = streams[mode] = encode(job).bytes;
      const Bytes comment = segment(0xFE, {'h', 'i'});
      stream.insert(stream.begin() + 2, comment.begin(), comment.end());
    }
    codec::Codec* const codec = createCodec();
    Outcome outcome;
    compressPackets(*codec->getCompressor(), image, 20, &outcome);
    packet.assign(outcome.bytes.begin(),
                  outcome.bytes.begin() + static_cast<std::ptrdiff_t>(outcome.size));
    qrxMarkPacket(packet.data());
    codec->release();
  }
  static const Material& of(Part part) {
    static const Material small({9, 7}), whole({33, 35});
    return part == Part::kWarmUp ? small : whole;
  }

  const Image image;
  EncoderJob jobs[3];
  Bytes streams[3], packet;
};

std::shared_ptr<codec::Codec> newCodec() {
  std::shared_ptr<codec::Codec> codec(createCodec(), [](codec::Codec* c) { c->release(); });
  codec->getCompressor();
  codec->getDecompressor();
  return codec;
}

Work makeObjects() {
  return [](Part, Outcome* outcome) {
    const std::shared_ptr<codec::Codec> codec = newCodec();
    outcome->code = codec->getCompressor() != nullptr && codec->getDecompressor() != nullptr;
  };
}

Work frameOut() {
  return [codec = newCodec()](Part part, Outcome* outcome) {
    compressFrame(*codec->getCompressor(), Material::of(part).image, outcome);
  };
}

Work packetsOut() {
  return [codec = newCodec()](Part part, Outcome* outcome) {
    compressPackets(*codec->getCompressor(), Material::of(part).image, 97, outcome);
  };
}

Work in(bool packet) {
  return [codec = newCodec(), packet](Part part, Outcome* outcome) {
    const Material& m = Material::of(part);
    Bytes& source = const_cast<Bytes&>(packet ? m.packet : m.streams[JPEG_MODE_BASELINE]);
    const Buffer buffer{nullptr, source.data(), static_cast<std::uint32_t>(source.size())};
    constexpr auto kRoom = static_cast<std::uint32_t>(sizeof outcome->bytes);
    codec::Decompressor& d = *codec->getDecompressor();
    outcome->code = packet ? d.decompressTile(&buffer, 4, 6408, outcome->bytes.data(), kRoom)
                           : d.decompress(&buffer, 4, 6408, outcome->bytes.data(), kRoom);
  };
}
Work frameIn() { return in(false); }
Work packetIn() { return in(true); }

template <_JPEG_MODE mode>
Work classOut() {
  return [encoder = std::make_shared<CJPEGEncoder>()](Part part, Outcome* outcome) {
    setUp(*encoder, Material::of(part).jobs[mode], outcome->bytes.data());
    outcome->code = writeImage(*encoder, mode);
  };
}

template <_JPEG_MODE mode>
Work classIn() {
  return [decoder = std::make_shared<CJPEGDecoder>()](Part part, Outcome* outcome) {
    const Bytes& stream = Material::of(part).streams[mode];
    decoder->Clean();
    decoder->Reset();
    decoder->SetSource(stream.data(), static_cast<int>(stream.size()));
    int width, height, channels, precision;
    _JPEG_COLOR color;
    _JPEG_SAMPLING sampling;
    outcome->code = decoder->ReadHeader(&width, &height, &channels, &color, &sampling, &precision);
    if (outcome->code != 0) return;
    const bool gray = mode == JPEG_MODE_LOSSLESS;
    decoder->SetDestination(outcome->bytes.data(), width * (gray ? 1 : 3), {width, height},
                            gray ? 1 : 3, gray ? JPEG_COLOR_GRAY : JPEG_COLOR_BGR, 8);
    outcome->code = decoder->ReadData();
  };
}

// The C interface.
std::shared_ptr<qrxc_coder> newCoder() { return {qrxc_open(), qrxc_close}; }

qrxc_layout layoutOf(const Image& image, bool isBottomUp) {
  const std::int64_t line = std::int64_t{4} * image.size.width;
  return {isBottomUp ? -line : line, static_cast<std::uint32_t>(image.size.width),
          static_cast<std::uint32_t>(image.size.height), QRXC_BGRX, 0};
}

Work openCoder() {
  return [](Part, Outcome* outcome) {
    outcome->code = newCoder() == nullptr ? QRXC_NO_MEMORY : QRXC_DONE;
  };
}

template <qrxc_format format>
Work callOut() {
  return [coder = newCoder()](Part part, Outcome* outcome) {
    static std::uint8_t jpeg[1 << 17];
    const Image& image = Material::of(part).image;
    qrxc_layout layout = layoutOf(image, true);
    layout.format = format;
    // In no more than this the JPEG fits for certain, so that only memory can be short.
    const std::size_t room = qrxc_bound(layout.width, layout.height, format, QRXC_420);
    ASSERT_LE(room, sizeof jpeg);
    std::size_t size = 0;
    outcome->code = qrxc_encode(coder.get(), image.row(image.size.height - 1), &layout, 60,
                                QRXC_420, jpeg, room, &size);
    outcome->add(jpeg, size);
  };
}

template <_JPEG_MODE mode>
Work callIn() {
  return [coder = newCoder()](Part part, Outcome* outcome) {
    const Material& m = Material::of(part);
    const qrxc_layout layout = layoutOf(m.image, true);
    const std::int64_t last = -layout.stride * (layout.height - 1);
    outcome->code = qrxc_decode(coder.get(), m.streams[mode].data(), m.streams[mode].size(),
                                outcome->bytes.data() + last, &layout, nullptr);
  };
}

Work callPacketsOut() {
  return [coder = newCoder()](Part part, Outcome* outcome) {
    const Image& image = Material::of(part).image;
    const qrxc_layout layout = layoutOf(image, false);
    const qrxc_place place = {0, 1, 0, 0, 0, {}};
    const auto add = [](void* to, const std::uint8_t* packet, std::size_t size) {
      static_cast<Outcome*>(to)->add(packet, size);
    };
    outcome->code =
        qrxc_encode_packets(coder.get(), image.row(0), &layout, 97, QRXC_420, &place, add, outcome);
  };
}

Work callPacketIn() {
  return [coder = newCoder()](Part part, Outcome* outcome) {
    const Material& m = Material::of(part);
    const qrxc_layout layout = layoutOf(m.image, false);
    outcome->code = qrxc_decode_packet(coder.get(), m.packet.data(), m.packet.size(),
                                       outcome->bytes.data(), &layout, nullptr, nullptr);
  };
}

class CodersShortage : public testing::TestWithParam<Road> {};

TEST_P(CodersShortage, Passes) {
  initCodec();
  Material::of(Part::kWhole);
  Material::of(Part::kWarmUp);
  expectToStandShortages(GetParam());
}

using Failures = std::vector<std::pair<int, std::string>>;
// The host's door, beside std::bad_alloc: a picture or packets without their end, or a false.
const Failures kFrameOut = {{2, "QRX JPEG: WriteImageBaseline() failed\n"}};
const Failures kPacketsOut = {{1, ""}};
const Failures kFrameIn = {{1, "QRX JPEG: ReadHeader() failed\n"},
                           {1, "QRX JPEG: ReadData() failed\n"}};
const Failures kPacketIn = {{0, ""}};
// The classes; the second where a table has none.
const Failures kClass = {{JPEG_OUT_OF_MEMORY, ""}, {JPEG_INTERNAL_ERROR, ""}};

const Failures kCall = {{QRXC_NO_MEMORY, ""}};

const Road kRoads[] = {
    {"objects", makeObjects, {}},
    {"frameOut", frameOut, kFrameOut},
    {"laterFrameOut", frameOut, kFrameOut, true},
    {"packetsOut", packetsOut, kPacketsOut},
    {"laterPacketsOut", packetsOut, kPacketsOut, true},
    {"frameIn", frameIn, kFrameIn},
    {"laterFrameIn", frameIn, kFrameIn, true},
    {"packetIn", packetIn, kPacketIn},
    {"laterPacketIn", packetIn, kPacketIn, true},
    {"baselineOut", classOut<JPEG_MODE_BASELINE>, kClass},
    {"progressiveOut", classOut<JPEG_MODE_PROGRESSIVE>, kClass},
    {"losslessOut", classOut<JPEG_MODE_LOSSLESS>, kClass},
    {"laterBaselineOut", classOut<JPEG_MODE_BASELINE>, kClass, true},
    {"laterProgressiveOut", classOut<JPEG_MODE_PROGRESSIVE>, kClass, true},
    {"laterLosslessOut", classOut<JPEG_MODE_LOSSLESS>, kClass, true},
    {"baselineIn", classIn<JPEG_MODE_BASELINE>, kClass},
    {"progressiveIn", classIn<JPEG_MODE_PROGRESSIVE>, kClass},
    {"losslessIn", classIn<JPEG_MODE_LOSSLESS>, kClass},
    {"laterBaselineIn", classIn<JPEG_MODE_BASELINE>, kClass, true},
    {"laterProgressiveIn", classIn<JPEG_MODE_PROGRESSIVE>, kClass, true},
    {"laterLosslessIn", classIn<JPEG_MODE_LOSSLESS>, kClass, true},
    {"openCoder", openCoder, kCall},
    {"callOut", callOut<QRXC_BGRX>, kCall},
    {"callCmykOut", callOut<QRXC_CMYK>, kCall},
    {"laterCallOut", callOut<QRXC_BGRX>, kCall, true},
    {"callPacketsOut", callPacketsOut, kCall},
    {"callBaselineIn", callIn<JPEG_MODE_BASELINE>, kCall},
    {"callProgressiveIn", callIn<JPEG_MODE_PROGRESSIVE>, kCall},
    {"callLosslessIn", callIn<JPEG_MODE_LOSSLESS>, kCall},
    {"laterCallIn", callIn<JPEG_MODE_BASELINE>, kCall, true},
    {"callPacketIn", callPacketIn, kCall},
    {"laterCallPacketIn", callPacketIn, kCall, true},
};
INSTANTIATE_TEST_SUITE_P(EveryRoad, CodersShortage, testing::ValuesIn(kRoads),
                         [](const auto& road) { return std::string(road.param.name); });

}  // namespace
}  // namespace qrx::test
