// The faults of a bad network, as options.
#ifndef QRX_TOOLS_COMMANDS_NETWORK_OPTIONS_H_
#define QRX_TOOLS_COMMANDS_NETWORK_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "tools/live/bad_network.h"

namespace qrx::tool {

// An option that takes a share, as in 5% or 0.05.
void addShareOption(CLI::App& command, const char* name, double& share, const char* text);
// --loss, --burst, --reorder and --seed.
void addNetworkOptions(CLI::App& command, BadNetworkOptions& network);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_NETWORK_OPTIONS_H_
