// A network that loses, reorders, duplicates and damages datagrams, the same way for the same seed.
#ifndef QRX_TOOLS_LIVE_BAD_NETWORK_H_
#define QRX_TOOLS_LIVE_BAD_NETWORK_H_

#include <cstdint>
#include <vector>

#include "tools/live/packet.h"
#include "tools/live/random.h"

namespace qrx::tool {

// Shares of datagrams, 0 to 1.
struct BadNetworkOptions {
  double loss = 0;
  double reorder = 0;    // held back behind 1 to 8 later ones
  double duplicate = 0;  // delivered twice
  double corrupt = 0;    // some bytes changed
  int burst = 1;         // mean number of datagrams lost in a row
  std::uint64_t seed = 1;
};

struct BadNetworkCounts {
  std::uint64_t taken = 0, lost = 0, reordered = 0, duplicated = 0, corrupted = 0;
};

// What happens to a datagram depends on the seed and on the datagrams before it, not on time. For
// one thread.
class BadNetwork {
 public:
  explicit BadNetwork(const BadNetworkOptions& options);

  // Takes a datagram and appends what arrives now to `out`.
  void push(Packet datagram, std::vector<Packet>& out);
  // Lets go of all that is held back; for a line that has gone quiet.
  void flush(std::vector<Packet>& out);

  const BadNetworkCounts& counts() const { return counts_; }

 private:
  struct Held {
    Packet datagram;
    int later;  // datagrams that overtake it
  };

  bool loses();
  void damage(Packet& datagram);
  void release(std::vector<Packet>& out);

  BadNetworkOptions options_;
  Random random_;
  bool losing_ = false;
  std::vector<Held> held_;
  BadNetworkCounts counts_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_BAD_NETWORK_H_
