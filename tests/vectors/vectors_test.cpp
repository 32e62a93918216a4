// Digests of whole streams, packets and pictures, sound and damaged. Other tests tell whether these
// are right; this one tells that every machine, compiler and build makes the same.
#include <gtest/gtest.h>

#include <map>

#include "qrx/front_end.h"
#include "tests/support/guarded_buffer.h"
#include "tests/unit/codecs/encoder_job.h"
#include "tests/unit/codecs/packet_run.h"

namespace qrx::test {
namespace {

const std::map<std::string, std::uint64_t> kExpected = {
    {"baseline 420", 0x63b71cd61799fbb2u},
    {"baseline 422", 0x9982cc59695e230bu},
    {"baseline 444", 0xc05fd553e8d32a8eu},
    {"baseline damaged 420", 0xc6ba29766e727421u},
    {"baseline damaged 422", 0x422fe487cfde9fd2u},
    {"baseline damaged 444", 0x512d821942a9051du},
    {"baseline decoded 420", 0xeab32eba338a2e78u},
    {"baseline decoded 422", 0xb120aed8f2fe0c58u},
    {"baseline decoded 444", 0x5b154b738847133cu},
    {"lossless", 0x647d9749c0ec8ccdu},
    {"packets 420", 0x86f68b70c31bac28u},
    {"packets 422", 0xe3f8fb4e23597d88u},
    {"packets 444", 0xb223b7d3302753ceu},
    {"packets damaged 420", 0x850e1957f0438387u},
    {"packets damaged 422", 0xf95e739523d1c694u},
    {"packets damaged 444", 0xb7df03df1dba9f8cu},
    {"packets decoded 420", 0xc2399944dd519a18u},
    {"packets decoded 422", 0x6c9c474a86b85c3cu},
    {"packets decoded 444", 0x5b154b738847133cu},
    {"progressive 420", 0x5a3770a4f735477au},
    {"progressive 422", 0x2bb7f04611437c6cu},
    {"progressive 444", 0x8334dd29fe18e54eu},
    {"progressive cut 420", 0x1327e91711bd878du},
    {"progressive cut 422", 0x9df59c79fa31e123u},
    {"progressive cut 444", 0x3f00ec04afb91f1cu},
    {"progressive decoded 420", 0x4ee9c7dbff1543e6u},
    {"progressive decoded 422", 0xb120aed8f2fe0c58u},
    {"progressive decoded 444", 0x5b154b738847133cu},
};

constexpr const char* kSamplings[] = {"444", "422", "420"};

// The picture, with a fixed fill where nothing was decoded.
Bytes decodeFrame(Bytes stream, std::size_t pixels) {
  decompressor();
  Bytes result(pixels * 4, GuardedBuffer::kFill);
  EXPECT_EQ(DecompressPatch(stream.data(), 4, 0, 0, 0, 0, 0, static_cast<int>(stream.size()),
                            result.data()),
            1);
  return result;
}

TEST(Vectors, AreTheSameEverywhere) {
  std::map<std::string, std::uint64_t> found;
  const Image image = scenePicture({203, 117});
  const std::size_t pixels = image.pixels.size() / 4;
  for (int sampling = 0; sampling < 3; ++sampling) {
    const std::string suffix = std::string(" ") + kSamplings[sampling];
    EncoderJob job = colourJob(image);
    job.sampling = static_cast<_JPEG_SAMPLING>(sampling);
    job.quality = 85;
    job.restartInterval = 7;
    Bytes baseline = encode(job).bytes;
    job.mode = JPEG_MODE_PROGRESSIVE;
    Bytes progressive = encode(job).bytes;
    found["baseline" + suffix] = digest(baseline);
    found["progressive" + suffix] = digest(progressive);
    found["baseline decoded" + suffix] = digest(decodeFrame(baseline, pixels));
    found["progressive decoded" + suffix] = digest(decodeFrame(progressive, pixels));
    baseline[baseline.size() / 2] ^= 0x10;
    progressive.resize(progressive.size() / 2);
    found["baseline damaged" + suffix] = digest(decodeFrame(baseline, pixels));
    found["progressive cut" + suffix] = digest(decodeFrame(progressive, pixels));

    const PacketRun run(image, sampling, 85);
    Bytes packets, canvas(image.pixels.size(), GuardedBuffer::kFill);
    for (const Bytes& packet : run.packets) {
      packets.insert(packets.end(), packet.begin(), packet.end());
      EXPECT_TRUE(decodePacket(packet, 4, canvas.data(), canvas.size()));
    }
    found["packets" + suffix] = digest(packets);
    found["packets decoded" + suffix] = digest(canvas);
    Bytes damaged = run.packets[0];
    damaged[500] ^= 0x10;
    EXPECT_TRUE(decodePacket(damaged, 4, canvas.data(), canvas.size()));
    found["packets damaged" + suffix] = digest(canvas);
  }
  EncoderJob gray = grayJob(image);
  gray.mode = JPEG_MODE_LOSSLESS;
  found["lossless"] = digest(encode(gray).bytes);

  EXPECT_EQ(found.size(), kExpected.size());
  for (const auto& [name, value] : found) {
    const auto expected = kExpected.find(name);
    EXPECT_TRUE(expected != kExpected.end() && expected->second == value)
        << "{\"" << name << "\", 0x" << std::hex << value << "u},";
  }
}

}  // namespace
}  // namespace qrx::test
