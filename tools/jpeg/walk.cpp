// The marker walk: segments into records. Every read is tested against the segment's end.
#include "tools/jpeg/walk.h"

#include <algorithm>

namespace qrx::tool {
namespace {

enum Marker : std::uint8_t {
  kDht = 0xC4,
  kJpg = 0xC8,
  kDac = 0xCC,
  kRst0 = 0xD0,
  kRst7 = 0xD7,
  kSoi = 0xD8,
  kEoi = 0xD9,
  kSos = 0xDA,
  kDqt = 0xDB,
  kDnl = 0xDC,
  kDri = 0xDD,
  kApp0 = 0xE0,
  kApp14 = 0xEE,
  kCom = 0xFE,
  kTem = 0x01,
};

bool isFrameMarker(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != kDht && marker != kJpg && marker != kDac;
}

bool isRestart(std::uint8_t marker) { return marker >= kRst0 && marker <= kRst7; }

// Bytes of one segment. Reading past the end gives 0 and is remembered.
class Body {
 public:
  explicit Body(std::span<const std::uint8_t> data) : data_(data) {}

  int byte() {
    if (position_ >= data_.size()) {
      overrun_ = true;
      return 0;
    }
    return data_[position_++];
  }
  int word() {
    const int high = byte();
    return high << 8 | byte();
  }
  void skip(std::size_t count) {
    overrun_ = overrun_ || count > left();
    position_ += std::min(count, left());
  }
  std::size_t left() const { return data_.size() - position_; }
  bool overrun() const { return overrun_; }
  bool startsWith(std::string_view text) const {
    return data_.size() >= text.size() && std::equal(text.begin(), text.end(), data_.begin());
  }
  std::string rest() {
    return std::string(data_.begin() + static_cast<long>(position_), data_.end());
  }

 private:
  std::span<const std::uint8_t> data_;
  std::size_t position_ = 0;
  bool overrun_ = false;
};

class Walker {
 public:
  explicit Walker(std::span<const std::uint8_t> data) : data_(data) { info_.bytes = data.size(); }

  JpegInfo walk() {
    if (data_.size() < 2 || data_[0] != 0xFF || data_[1] != kSoi) {
      report("does not begin with SOI");
      return std::move(info_);
    }
    while (step()) {
    }
    return std::move(info_);
  }

 private:
  void report(const std::string& text) { info_.damage.push_back(text); }

  // Takes one marker with its segment; false at the end.
  bool step() {
    if (!findMarker()) {
      report("ends without EOI");
      return false;
    }
    const std::size_t offset = position_ - 2;
    const std::uint8_t marker = data_[position_ - 1];
    const bool alone = marker == kSoi || marker == kEoi || marker == kTem || isRestart(marker);
    if (marker == kEoi) info_.bytesAfterEnd = data_.size() - position_;
    if (isRestart(marker)) report("restart marker outside a scan at " + std::to_string(offset));
    if (marker == kSoi && offset != 0) report("second SOI at " + std::to_string(offset));
    if (alone) {
      info_.segments.push_back({offset, 2, marker});
      return marker != kEoi;
    }
    return takeSegment(offset, marker);
  }

  // Moves behind the next marker, over fill bytes; anything else in between is damage.
  bool findMarker() {
    const std::size_t start = position_;
    while (position_ + 1 < data_.size()) {
      if (data_[position_] == 0xFF && data_[position_ + 1] != 0xFF && data_[position_ + 1] != 0) {
        if (strayBytes(start, position_)) {
          report("stray bytes at " + std::to_string(start));
        }
        position_ += 2;
        return true;
      }
      ++position_;
    }
    return false;
  }

  bool strayBytes(std::size_t from, std::size_t to) const {
    return std::any_of(data_.begin() + static_cast<long>(from),
                       data_.begin() + static_cast<long>(to),
                       [](std::uint8_t c) { return c != 0xFF; });
  }

  bool takeSegment(std::size_t offset, std::uint8_t marker) {
    const std::string where = markerName(marker) + " at " + std::to_string(offset);
    const std::size_t left = data_.size() - position_;
    const std::size_t length =
        left < 2 ? 0 : static_cast<std::size_t>(data_[position_] << 8 | data_[position_ + 1]);
    if (left < 2 || length > left) {
      report(where + " is cut off");
      info_.segments.push_back({offset, data_.size() - offset, marker});
      return false;
    }
    if (length < 2) {
      report(where + " has a length below 2");
      info_.segments.push_back({offset, 4, marker});
      position_ += 2;
      return true;
    }
    info_.segments.push_back({offset, length + 2, marker});
    Body body(data_.subspan(position_ + 2, length - 2));
    position_ += length;
    read(marker, body);
    if (body.overrun()) report(where + " is shorter than its contents");
    if (marker == kSos) walkScan();
    return true;
  }

  void read(std::uint8_t marker, Body& body) {
    if (isFrameMarker(marker)) return readFrame(marker, body);
    switch (marker) {
      case kDqt: return readQuantTables(body);
      case kDht: return readHuffmanTables(body);
      case kDri: info_.restartInterval = body.word(); return;
      case kDnl: return readLineCount(body);
      case kSos: return readScan(body);
      case kCom: info_.comments.push_back(body.rest()); return;
      case kApp0:
        if (body.startsWith(std::string_view("JFIF\0", 5))) info_.jfif = true;
        return;
      case kApp14:
        if (body.startsWith("Adobe") && body.left() >= 12) {
          body.skip(11);
          info_.adobeTransform = body.byte();
        }
        return;
      default: return;
    }
  }

  void readFrame(std::uint8_t marker, Body& body) {
    JpegFrame frame;
    frame.marker = marker;
    frame.precision = body.byte();
    frame.height = body.word();
    frame.width = body.word();
    for (int count = body.byte(); count > 0 && !body.overrun(); --count) {
      JpegComponent component;
      component.id = body.byte();
      const int factors = body.byte();
      component.horizontal = factors >> 4;
      component.vertical = factors & 15;
      component.quantTable = body.byte();
      frame.components.push_back(component);
    }
    info_.frames.push_back(std::move(frame));
  }

  void readLineCount(Body& body) {
    const int lines = body.word();
    if (!info_.frames.empty() && info_.frames[0].height == 0) info_.frames[0].height = lines;
  }

  void readQuantTables(Body& body) {
    while (body.left() > 0 && !body.overrun()) {
      const int head = body.byte();
      JpegQuantTable table;
      table.id = head & 15;
      table.bits = head >> 4 != 0 ? 16 : 8;
      for (int& value : table.values) value = table.bits == 16 ? body.word() : body.byte();
      if (table.id > 3) report("DQT with table " + std::to_string(table.id));
      quantSeen_ |= 1u << table.id;
      info_.quantTables.push_back(table);
    }
  }

  void readHuffmanTables(Body& body) {
    while (body.left() > 0 && !body.overrun()) {
      const int head = body.byte();
      JpegHuffmanTable table;
      table.ac = head >> 4 != 0;
      table.id = head & 15;
      int codes = 0;  // of the current length, of those that are left
      bool overfull = false;
      for (int length = 1; length <= 16; ++length) {
        const int count = body.byte();
        table.symbols += count;
        codes = codes * 2 + count;
        overfull = overfull || codes > 1 << length;
      }
      body.skip(static_cast<std::size_t>(table.symbols));
      if (overfull || table.symbols > 256) report("DHT whose codes do not fit in their lengths");
      if (table.id > 3) report("DHT with table " + std::to_string(table.id));
      (table.ac ? acSeen_ : dcSeen_) |= 1u << table.id;
      info_.huffmanTables.push_back(table);
    }
  }

  void readScan(Body& body) {
    JpegScan scan;
    for (int count = body.byte(); count > 0 && !body.overrun(); --count) {
      JpegScanComponent component;
      component.id = body.byte();
      const int selectors = body.byte();
      component.dcTable = selectors >> 4;
      component.acTable = selectors & 15;
      scan.components.push_back(component);
    }
    scan.spectralStart = body.byte();
    scan.spectralEnd = body.byte();
    const int approximation = body.byte();
    scan.approximationHigh = approximation >> 4;
    scan.approximationLow = approximation & 15;
    scan.restartInterval = info_.restartInterval;
    scan.quantTables = quantSeen_;
    scan.dcTables = dcSeen_;
    scan.acTables = acSeen_;
    info_.scans.push_back(std::move(scan));
  }

  // Passes over entropy-coded data, restart markers included, to the next other marker.
  void walkScan() {
    JpegScan& scan = info_.scans.back();
    scan.dataOffset = position_;
    for (; position_ + 1 < data_.size(); ++position_) {
      if (data_[position_] != 0xFF) continue;
      const std::uint8_t next = data_[position_ + 1];
      if (isRestart(next)) {
        if (next != kRst0 + scan.restarts % 8) scan.restartsInOrder = false;
        ++scan.restarts;
      } else if (next != 0 && next != 0xFF) {
        break;
      }
    }
    if (position_ + 1 >= data_.size()) position_ = data_.size();
    scan.dataSize = position_ - scan.dataOffset;
  }

  std::span<const std::uint8_t> data_;
  std::size_t position_ = 0;
  unsigned quantSeen_ = 0, dcSeen_ = 0, acSeen_ = 0;
  JpegInfo info_;
};

}  // namespace

JpegInfo walkJpeg(std::span<const std::uint8_t> data) {
  JpegInfo info = Walker(data).walk();
  findDamage(info);
  return info;
}

}  // namespace qrx::tool
