// Shares and counts.
#include "tools/commands/network_options.h"

#include <cstdlib>

namespace qrx::tool {
namespace {

// "5%" or "0.05" to a share; false for anything else.
bool parseShare(const std::string& text, double& share) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  const std::string unit = end;
  share = unit == "%" ? number / 100 : number;
  return end != text.c_str() && (unit.empty() || unit == "%") && share >= 0 && share <= 1;
}

}  // namespace

void addShareOption(CLI::App& command, const char* name, double& share, const char* text) {
  command
      .add_option_function<std::string>(
          name,
          [name, &share](const std::string& value) {
            if (!parseShare(value, share)) throw CLI::ValidationError(name, "give 0% to 100%");
          },
          text)
      ->type_name("SHARE");
}

void addNetworkOptions(CLI::App& command, BadNetworkOptions& network) {
  addShareOption(command, "--loss", network.loss, "Share of datagrams that are lost, as in 5%");
  command.add_option("--burst", network.burst, "Mean number of datagrams lost in a row")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str()
      ->type_name("N");
  addShareOption(command, "--reorder", network.reorder, "Share that up to eight others overtake");
  command.add_option("--seed", network.seed, "The same seed treats datagrams the same way")
      ->capture_default_str()
      ->type_name("N");
}

}  // namespace qrx::tool
