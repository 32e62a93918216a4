// What the children of a comparison measure and the parent reports. Plain data: it goes through a
// pipe.
#ifndef QRX_BENCH_RECORDS_H_
#define QRX_BENCH_RECORDS_H_

#include <variant>
#include <vector>

#include "tools/host/session.h"
#include "tools/image/image.h"
#include "tools/support/timing.h"

namespace qrx::bench {

// Sides of a measurement. kOurs is the library at its best slot, the others stand beside it.
enum class Side { kOurs, kBaseline, kSlot1, kFrames, kPeer, kPeerWhole };
inline constexpr const char* kSideNames[] = {"ours",   "baseline", "slot 1",
                                             "frames", "peer",     "peer whole"};

// One picture at one quality and sampling on one road.
struct Cell {
  char road[24];
  char picture[16];
  tool::Size size;
  int quality;
  tool::Sampling sampling;
};

// Milliseconds of one side in a cell.
struct Figure {
  Cell cell;
  Side side;
  tool::Summary cpu, wall;
  double bytes;
};

// How much more two threads do than one.
struct Gain {
  Cell cell;
  double ours, peer;
  double ratio;  // the median round's of ours / peer
};

// What a frame costs from the second one on.
struct Upkeep {
  Cell cell;
  double heapGrowth;  // bytes over all frames
  double faults;      // pages per frame
  double bytes;       // of the result
};

using Record = std::variant<Figure, Gain, Upkeep>;
using Records = std::vector<Record>;

}  // namespace qrx::bench

#endif  // QRX_BENCH_RECORDS_H_
