#include "codecs/jpeg/library/band_room.h"

#include <algorithm>

#include "codecs/jpeg/library/plane_room.h"

namespace qrx::jpeg {
namespace {

// Tokens of a full block, with its end. What a scan leaves free is never touched.
constexpr std::int64_t kTokensOfBlock = 64;
// Beyond that a scan is gathered in pieces.
constexpr std::int64_t kMostTokens = std::int64_t{1} << 22;

}  // namespace

bool BandRoom::fit(strips::StoreOut* image, strips::Tokens* tokens) {
  const strips::Store& store = image->store;
  std::int64_t blocks[strips::kComponents], noted = 0;
  for (int i = 0; i < strips::kComponents; ++i) {
    blocks[i] = std::int64_t{image->grid[i].lines} * image->grid[i].columns;
    noted += blocks[i];
  }
  const std::int64_t perMCU = store.layout.across * store.layout.down + strips::kComponents - 1;
  const std::int64_t stored = perMCU * store.mcusAcross * store.mcusDown;
  const std::int64_t capacity =
      std::min(strips::kLeastTokens + kTokensOfBlock * blocks[0], kMostTokens);
  const std::int64_t size = noted * std::int64_t{sizeof(strips::Magnitudes)} +
                            capacity * std::int64_t{sizeof(std::uint32_t)} +
                            stored * std::int64_t{sizeof(Ipp16s)};
  if (!fitBuffer(&memory_, &size_, size)) return false;

  auto* const notes = reinterpret_cast<strips::Magnitudes*>(memory_.get());
  image->magnitudes[0] = notes;
  for (int i = 1; i < strips::kComponents; ++i) {
    image->magnitudes[i] = image->magnitudes[i - 1] + blocks[i - 1];
  }
  tokens->room = reinterpret_cast<std::uint32_t*>(notes + noted);
  tokens->capacity = static_cast<int>(capacity);
  image->dc = reinterpret_cast<Ipp16s*>(tokens->room + capacity);
  return true;
}

}  // namespace qrx::jpeg
