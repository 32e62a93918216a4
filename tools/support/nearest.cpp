// Edit distance with swaps of neighbours.
#include "tools/support/nearest.h"

#include <algorithm>

namespace qrx::tool {
namespace {

std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before = last;
    last = row;
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = a[i - 1] == b[j - 1];
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0u : 1u)});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
  }
  return row.back();
}

}  // namespace

std::string nearestWord(const std::string& word, const std::vector<std::string>& candidates) {
  constexpr std::size_t kLongestWord = 64;
  if (word.size() > kLongestWord) return {};
  std::size_t best = std::max<std::size_t>(1, word.size() / 3) + 1;
  std::string nearest;
  for (const std::string& candidate : candidates) {
    const std::size_t d = distance(word, candidate);
    if (d >= best) continue;
    best = d;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace qrx::tool
