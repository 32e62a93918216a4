// How a cell is measured: its sides take turns, so that whatever disturbs the machine disturbs all.
#ifndef QRX_BENCH_ROUNDS_H_
#define QRX_BENCH_ROUNDS_H_

#include <functional>
#include <vector>

#include "bench/records.h"
#include "tools/host/roads.h"

namespace qrx::bench {

struct Contender {
  Side side;
  tool::Work work;
  std::function<void()> prepare = {};  // before each of its runs, not timed
};

// A figure for each contender. A run repeats the work until it takes some milliseconds, so that the
// clock's grain does not show in small pictures; times are of one work.
std::vector<Figure> measureCell(const Cell& cell, const std::vector<Contender>& contenders,
                                int rounds);

// Makes the same work anew for each thread.
using MakeWork = std::function<tool::Work()>;

// One thread against two that do twice the work, ours and the peer's in turn.
Gain measureGain(const Cell& cell, const MakeWork& ours, const MakeWork& peer, int rounds);

// The first run brings up what is kept; the rest are watched, for the heap's growth those behind
// the second.
Upkeep measureUpkeep(const Cell& cell, const tool::Work& work);

}  // namespace qrx::bench

#endif  // QRX_BENCH_ROUNDS_H_
