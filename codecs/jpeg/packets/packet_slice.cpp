// Structure of a packet's slice. Everything here comes from the network.
#include "codecs/jpeg/packets/packet_slice.h"

#include <emmintrin.h>

#include "codecs/jpeg/library/markers.h"
#include "codecs/jpeg/library/mcu_grid.h"

namespace qrx::codec {
namespace {

constexpr int kSegmentFixed = 9;   // marker, quality, height, width, component count
constexpr int kBytesPerEntry = 3;  // of a component in the packet segment
constexpr int kScanFixed = 8;      // marker, length, count, Ss, Se, Ah/Al
constexpr int kTables = 2;         // that a packet's quality and the defaults make

int word(const std::uint8_t* bytes) { return bytes[0] << 8 | bytes[1]; }

// Whether `scan` is the header of one baseline scan over the components at `entries`.
bool isScanHeader(const std::uint8_t* scan, const std::uint8_t* entries, int components) {
  if (word(scan) != kMarkerSOS || word(scan + 2) != 6 + 2 * components || scan[4] != components) {
    return false;
  }
  for (int i = 0; i < components; ++i) {
    const std::uint8_t id = scan[5 + 2 * i], tables = scan[6 + 2 * i];
    if (id != entries[i * kBytesPerEntry] || tables >> 4 >= kTables || (tables & 15) >= kTables) {
      return false;
    }
  }
  const std::uint8_t* tail = scan + 5 + 2 * components;
  return tail[0] == 0 && tail[1] == 63 && tail[2] == 0;
}

// 0xFF in front of anything but a zero. A search that stops at each 0xFF takes longer than to look
// at all bytes by vectors.
bool hasMarker(const std::uint8_t* data, int length) {
  constexpr int kVector = sizeof(__m128i);
  __m128i behind = _mm_setzero_si128();  // 0xFF
  int i = 0;
  for (; i + kVector < length; i += kVector) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i + 1));
    behind = _mm_or_si128(behind, _mm_and_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(-1)), next));
  }
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(behind, _mm_setzero_si128())) != 0xFFFF) return true;
  for (; i < length; ++i) {
    if (data[i] == 0xFF && (i + 1 == length || data[i + 1] != 0)) return true;
  }
  return false;
}

}  // namespace

bool PacketSlice::canHold(int mcuCount) const {
  // Shortest codes of a block without change: DC 2 bits and end-of-block 4 in luma, 2 and 2 in
  // chroma.
  const int lumaBlocks = mcuWidth / 8 * (mcuHeight / 8);
  const int bits = 6 * lumaBlocks + (components == 3 ? 2 * 4 : 0);
  return std::int64_t{mcuCount} * bits <= std::int64_t{dataBytes} * 8;
}

std::optional<PacketSlice> parseSlice(SliceBytes bytes) {
  const std::uint8_t* slice = bytes.data();
  const auto length = static_cast<int>(bytes.size());
  if (length < kSegmentFixed || word(slice) != kMarkerPDK) return std::nullopt;
  const int quality = word(slice + 2);
  PacketSlice parsed = {};
  parsed.height = word(slice + 4);
  parsed.width = word(slice + 6);
  parsed.components = slice[8];
  if (quality < 1 || (parsed.components != 1 && parsed.components != 3)) return std::nullopt;

  const int headers =
      kSegmentFixed + kBytesPerEntry * parsed.components + kScanFixed + 2 * parsed.components;
  if (length < headers) return std::nullopt;
  const std::uint8_t* entries = slice + kSegmentFixed;
  for (int i = 0; i < parsed.components; ++i) {
    if (entries[i * kBytesPerEntry + 2] >= kTables) return std::nullopt;
  }
  const auto sampling = samplingOf(parsed.components, [&](int i) {
    const int factors = entries[i * kBytesPerEntry + 1];
    return ComponentSampling{factors >> 4, factors & 15, 0, 0};
  });
  if (!sampling) return std::nullopt;
  const MCUSize mcu = mcuSize(JPEG_MODE_BASELINE, *sampling);
  parsed.mcuWidth = mcu.width;
  parsed.mcuHeight = mcu.height;

  const std::uint8_t* scan = entries + kBytesPerEntry * parsed.components;
  if (!isScanHeader(scan, entries, parsed.components)) return std::nullopt;
  parsed.dataBytes = length - headers;
  if (hasMarker(slice + headers, parsed.dataBytes)) return std::nullopt;
  return parsed;
}

}  // namespace qrx::codec
