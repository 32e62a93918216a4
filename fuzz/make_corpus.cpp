// Writes the seed corpus to a folder: make_corpus FOLDER. By functions of C: the memory sanitizer
// does not know what the standard library's streams have written.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/sample_streams.h"
#include "qrx/tile_header.h"

namespace {

const char* g_folder;

void save(const std::string& name, const std::vector<std::uint8_t>& bytes) {
  const std::string path = g_folder + ("/" + name);
  FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    std::perror(path.c_str());
    std::exit(1);
  }
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  // The targets take the last byte as a choice of their own.
  std::fputc('\x19', file);
  std::fclose(file);
}

void saveStreams() {
  const struct {
    const char* name;
    _JPEG_COLOR source, jpeg;
  } colors[] = {
      {"gray", JPEG_COLOR_GRAY, JPEG_COLOR_GRAY}, {"ycbcr", JPEG_COLOR_BGR, JPEG_COLOR_YCBCR},
      {"rgb", JPEG_COLOR_RGB, JPEG_COLOR_RGB},    {"cmyk", JPEG_COLOR_CMYK, JPEG_COLOR_CMYK},
      {"ycck", JPEG_COLOR_CMYK, JPEG_COLOR_YCCK},
  };
  for (const auto& color : colors) {
    for (const int sampling : {0, 1, 2}) {
      for (const int mode : {0, 1, 2}) {
        for (const int interval : {0, 1, 7}) {
          if (mode == JPEG_MODE_LOSSLESS && (interval != 0 || color.jpeg != JPEG_COLOR_GRAY)) {
            continue;
          }
          SampleOptions options;
          options.source = color.source;
          options.jpeg = color.jpeg;
          options.sampling = static_cast<_JPEG_SAMPLING>(sampling);
          options.mode = static_cast<_JPEG_MODE>(mode);
          options.restartInterval = interval;
          save(std::string(color.name) + "-" + std::to_string(sampling) + "-mode" +
                   std::to_string(mode) + "-restart" + std::to_string(interval) + ".jpg",
               sampleStream(options));
        }
      }
    }
  }
}

struct PacketSink {
  std::string prefix;
  int count;
};

void savePacket(std::uint8_t* packet, int length, void* context) {
  auto* sink = static_cast<PacketSink*>(context);
  std::vector<std::uint8_t> bytes(packet, packet + length);
  bytes[2] = 1;  // as a receiver sees it
  save(sink->prefix + std::to_string(sink->count++) + ".pkt", bytes);
}

void savePackets() {
  constexpr std::uint8_t kShapes[] = {0x11, 0x21, 0x22};
  for (const int sampling : {0, 1, 2}) {
    for (const auto [width, height] : {IppiSize{64, 32}, IppiSize{100, 33}, IppiSize{5, 3}}) {
      const std::vector<std::uint8_t> pixels = samplePixels(width, height);
      std::vector<std::uint8_t> stream(32768);
      udp_header head = {};
      head.headerSize = 32;
      head.mcuShape = kShapes[sampling];
      head.index = 3;
      head.width = head.frameWidth = static_cast<std::int16_t>(width);
      head.height = head.frameHeight = static_cast<std::int16_t>(height);
      CJPEGEncoder encoder;
      encoder.SetSource(pixels.data(), 3 * width, {width, height}, 3, JPEG_COLOR_BGR);
      encoder.SetDestinationTiles(stream.data(), static_cast<int>(stream.size()), 80,
                                  static_cast<_JPEG_SAMPLING>(sampling), JPEG_COLOR_YCBCR,
                                  JPEG_MODE_BASELINE, 0, 0);
      PacketSink sink = {"packet-" + std::to_string(sampling) + "-" + std::to_string(width) + "-",
                         0};
      encoder.WriteImageBaselineCB(nullptr, &head, stream.data(), savePacket, &sink);
    }
  }
}

void saveTexts() {
  const std::string texts[] = {
      "[Remotization]\nimage_quality = 70 ; per cent\n",
      "# all forms of a line\n[Logging]\nlog_level: debug\nverbose=TRUE\n\n[a]\n = b\nc =\n",
      "P3 2 1 255\n1 2 3 4 5 6\n",
  };
  int count = 0;
  for (const std::string& text : texts) {
    save("text-" + std::to_string(count++), {text.begin(), text.end()});
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: make_corpus FOLDER\n", stderr);
    return 64;
  }
  g_folder = argv[1];
  mkdir(g_folder, 0777);  // unless it is there
  saveStreams();
  savePackets();
  saveTexts();
  return 0;
}
