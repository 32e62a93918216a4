// A walk over the markers of a JPEG stream (ITU T.81), independent of the library: what a host can
// tell of an image without decoding it.
#ifndef QRX_TOOLS_JPEG_WALK_H_
#define QRX_TOOLS_JPEG_WALK_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qrx::tool {

struct JpegSegment {
  std::size_t offset = 0;  // of the marker
  std::size_t size = 0;    // with the marker; a scan's entropy-coded data is not part of it
  std::uint8_t marker = 0;
};

struct JpegComponent {
  int id = 0;
  int horizontal = 0, vertical = 0;  // sampling factors
  int quantTable = 0;
};

struct JpegFrame {
  std::uint8_t marker = 0;  // 0xC0 to 0xCF: the mode
  int precision = 0;
  int width = 0, height = 0;
  std::vector<JpegComponent> components;
};

struct JpegScanComponent {
  int id = 0;
  int dcTable = 0, acTable = 0;
};

struct JpegScan {
  std::vector<JpegScanComponent> components;
  int spectralStart = 0, spectralEnd = 0, approximationHigh = 0, approximationLow = 0;
  int restartInterval = 0;
  std::size_t dataOffset = 0, dataSize = 0;
  std::size_t restarts = 0;
  bool restartsInOrder = true;
  // Tables that stand when the scan begins, a bit per selector.
  unsigned quantTables = 0, dcTables = 0, acTables = 0;
};

struct JpegQuantTable {
  int id = 0;
  int bits = 8;
  std::array<int, 64> values{};  // in zigzag order
};

struct JpegHuffmanTable {
  bool ac = false;
  int id = 0;
  int symbols = 0;
};

struct JpegInfo {
  std::vector<JpegSegment> segments;
  std::vector<JpegFrame> frames;  // one, in a sound image
  std::vector<JpegScan> scans;
  std::vector<JpegQuantTable> quantTables;  // all definitions, in order
  std::vector<JpegHuffmanTable> huffmanTables;
  std::vector<std::string> comments;
  int restartInterval = 0;
  bool jfif = false;
  std::optional<int> adobeTransform;
  std::size_t bytes = 0;
  std::size_t bytesAfterEnd = 0;
  std::vector<std::string> damage;  // in the order met; empty: none found

  // The first frame, or null.
  const JpegFrame* frame() const { return frames.empty() ? nullptr : frames.data(); }
};

// Walks to EOI or as far as it gets; never throws for what the data hold.
JpegInfo walkJpeg(std::span<const std::uint8_t> data);

// Adds to info.damage what shows only with the whole image in view: missing or repeated frames,
// tables that were never defined, restart markers out of order or too few. Called by walkJpeg.
void findDamage(JpegInfo& info);

// "SOF0", "DHT", "APP14" and so on.
std::string markerName(std::uint8_t marker);
// "baseline", "progressive" and so on.
std::string modeName(const JpegFrame& frame);
// "4:4:4", "4:2:2", "4:2:0", "gray", else the factors: "2x1 1x1".
std::string samplingText(const JpegFrame& frame);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_JPEG_WALK_H_
