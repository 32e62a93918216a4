// Damage that shows only with the whole image in view.
#include <algorithm>

#include "tools/jpeg/walk.h"

namespace qrx::tool {
namespace {

constexpr std::int64_t divideUp(std::int64_t a, std::int64_t b) { return (a + b - 1) / b; }

// Many scans may have the same fault: each text stands once.
class Report {
 public:
  explicit Report(std::vector<std::string>& texts) : texts_(texts) {}
  void add(const std::string& text) {
    if (std::find(texts_.begin(), texts_.end(), text) == texts_.end()) texts_.push_back(text);
  }

 private:
  std::vector<std::string>& texts_;
};

bool isLossless(const JpegFrame& frame) { return (frame.marker & 3) == 3; }
bool isProgressive(const JpegFrame& frame) { return (frame.marker & 3) == 2; }
bool isArithmetic(const JpegFrame& frame) { return (frame.marker & 8) != 0; }
bool isSet(unsigned mask, int bit) { return (mask >> bit & 1) != 0; }

const JpegComponent* findComponent(const JpegFrame& frame, int id) {
  for (const JpegComponent& component : frame.components) {
    if (component.id == id) return &component;
  }
  return nullptr;
}

// MCUs of a scan (T.81 A.2): a scan of one component counts that component's own blocks.
std::int64_t mcuCount(const JpegFrame& frame, const JpegScan& scan) {
  int across = 1, down = 1;
  for (const JpegComponent& component : frame.components) {
    across = std::max(across, component.horizontal);
    down = std::max(down, component.vertical);
  }
  const int unit = isLossless(frame) ? 1 : 8;
  if (scan.components.size() == 1) {
    const JpegComponent* component = findComponent(frame, scan.components[0].id);
    if (component == nullptr) return 0;
    return divideUp(divideUp(std::int64_t{frame.width} * component->horizontal, across), unit) *
           divideUp(divideUp(std::int64_t{frame.height} * component->vertical, down), unit);
  }
  return divideUp(frame.width, across * unit) * divideUp(frame.height, down * unit);
}

// Whether size and factors can be reckoned with.
bool checkFrame(const JpegFrame& frame, Report& damage) {
  const auto sound = [](int factor) { return factor >= 1 && factor <= 4; };
  bool factors = true;
  for (const JpegComponent& component : frame.components) {
    factors = factors && sound(component.horizontal) && sound(component.vertical);
  }
  if (frame.width == 0 || frame.height == 0) damage.add("the frame has no size");
  if (frame.components.empty()) damage.add("the frame has no components");
  if (!factors) damage.add("sampling factors outside 1 to 4");
  return frame.width > 0 && frame.height > 0 && !frame.components.empty() && factors;
}

void checkTables(const JpegFrame& frame, const JpegScan& scan, Report& damage) {
  const bool progressive = isProgressive(frame);
  const bool needsDc = !progressive || (scan.spectralStart == 0 && scan.approximationHigh == 0);
  const bool needsAc = !isLossless(frame) && (!progressive || scan.spectralStart > 0);
  for (const JpegScanComponent& selected : scan.components) {
    const JpegComponent* component = findComponent(frame, selected.id);
    if (component == nullptr) {
      damage.add("a scan names a component that the frame lacks");
      return;
    }
    if (!isLossless(frame) && !isSet(scan.quantTables, component->quantTable & 15)) {
      damage.add("a quantisation table is missing");
    }
    if (isArithmetic(frame)) continue;
    if ((needsDc && !isSet(scan.dcTables, selected.dcTable)) ||
        (needsAc && !isSet(scan.acTables, selected.acTable))) {
      damage.add("a Huffman table is missing");
    }
  }
}

void checkRestarts(const JpegFrame& frame, const JpegScan& scan, Report& damage) {
  if (!scan.restartsInOrder) damage.add("restart markers are out of order");
  if (scan.restartInterval == 0) {
    if (scan.restarts > 0) damage.add("restart markers without a restart interval");
    return;
  }
  const std::int64_t expected = divideUp(mcuCount(frame, scan), scan.restartInterval) - 1;
  if (static_cast<std::int64_t>(scan.restarts) != expected) {
    damage.add(std::to_string(scan.restarts) + " restart markers where there should be " +
               std::to_string(expected));
  }
}

}  // namespace

void findDamage(JpegInfo& info) {
  Report damage(info.damage);
  if (info.frames.empty()) damage.add("there is no frame header");
  if (info.frames.size() > 1) damage.add("there is more than one frame header");
  if (info.scans.empty()) damage.add("there is no scan");
  if (info.frames.empty()) return;
  const JpegFrame& frame = info.frames[0];
  if (!checkFrame(frame, damage)) return;
  for (const JpegScan& scan : info.scans) {
    if (scan.dataSize == 0) damage.add("a scan without data");
    checkTables(frame, scan, damage);
    checkRestarts(frame, scan, damage);
  }
}

}  // namespace qrx::tool
