// Options whose values are words.
#ifndef QRX_TOOLS_COMMANDS_ONE_OF_H_
#define QRX_TOOLS_COMMANDS_ONE_OF_H_

#include <CLI/CLI.hpp>
#include <map>
#include <string>

namespace qrx::tool {

// Turns a word into its enumerator, and tells the words where it is none of them.
template <typename T>
CLI::Validator oneOf(const std::map<std::string, T>& names) {
  return CLI::Validator(
      [names](std::string& text) {
        const auto found = names.find(text);
        if (found != names.end()) {
          text = std::to_string(static_cast<int>(found->second));
          return std::string();
        }
        std::string list;
        for (const auto& [name, value] : names) list += (list.empty() ? "" : ", ") + name;
        return text + " is none of " + list;
      },
      "");
}

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_ONE_OF_H_
