// Which of a row of datagrams the bad network of the live tools loses, for programs that send
// something else through it: a line of one sign each, x lost, . arrived.
//
//   loss_pattern PERCENT BURST SEED COUNT
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/live/bad_network.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "loss_pattern PERCENT BURST SEED COUNT\n");
    return 64;
  }
  qrx::tool::BadNetworkOptions options;
  options.loss = std::strtod(argv[1], nullptr) / 100;
  options.burst = static_cast<int>(std::strtol(argv[2], nullptr, 10));
  options.seed = std::strtoull(argv[3], nullptr, 10);
  const auto count = std::strtoull(argv[4], nullptr, 10);
  qrx::tool::BadNetwork network(options);
  std::string line;
  std::vector<qrx::tool::Packet> arrived;
  for (unsigned long long i = 0; i < count; ++i) {
    arrived.clear();
    network.push(qrx::tool::Packet(1), arrived);
    line += arrived.empty() ? 'x' : '.';
  }
  std::puts(line.c_str());
  return 0;
}
