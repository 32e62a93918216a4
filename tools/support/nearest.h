// The known word that a mistyped one was meant for.
#ifndef QRX_TOOLS_SUPPORT_NEAREST_H_
#define QRX_TOOLS_SUPPORT_NEAREST_H_

#include <string>
#include <vector>

namespace qrx::tool {

// The candidate with the fewest letters changed, added, dropped or swapped; the first of equals.
// Empty where none is within a third of the word's letters.
std::string nearestWord(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_NEAREST_H_
