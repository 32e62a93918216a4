// The roads of the comparison: what is measured, which sides are held against each other, and what
// is wanted of them.
#ifndef QRX_BENCH_COMPARISON_H_
#define QRX_BENCH_COMPARISON_H_

#include <memory>
#include <string>
#include <vector>

#include "bench/our_library.h"
#include "bench/records.h"
#include "bench/rounds.h"
#include "tools/image/image.h"

namespace qrx::bench {

// One ratio over all cells of a road: the time of `against` divided by that of `side`, so that more
// is better. `goal` is for the geometric mean, `floor` for the worst cell; 0 where nothing is set.
struct Ratio {
  const char* name;
  const char* road;
  Side against;
  Side side;
  double goal;
  double floor;
};

inline constexpr Ratio kRatios[] = {
    {"frame out", "frame out", Side::kPeer, Side::kOurs, 1.7, 1.3},
    {"frame in", "frame in", Side::kPeer, Side::kOurs, 1.5, 1.1},
    {"packets out / tiny JPEGs", "packets out", Side::kPeer, Side::kOurs, 1.9, 1.5},
    {"packets in / tiny JPEGs", "packets in", Side::kPeer, Side::kOurs, 1.6, 1.3},
    {"packets out / our frames", "packets out", Side::kFrames, Side::kOurs, 0.95, 0},
    {"packets in / our frames", "packets in", Side::kFrames, Side::kOurs, 0.75, 0},
    {"packets out / one JPEG", "packets out", Side::kPeerWhole, Side::kOurs, 0, 0},
    {"packets in / one JPEG", "packets in", Side::kPeerWhole, Side::kOurs, 0, 0},
    {"progressive out", "progressive out", Side::kPeer, Side::kOurs, 1.2, 1.0},
    {"progressive in", "progressive in", Side::kPeer, Side::kOurs, 1.2, 1.0},
    {"slot 6 / slot 1, out", "frame out", Side::kSlot1, Side::kOurs, 1.5, 0},
    {"slot 6 / slot 1, in", "frame in", Side::kSlot1, Side::kOurs, 1.3, 0},
    {"slot 1 alone, out", "frame out", Side::kPeer, Side::kSlot1, 1.2, 0},
    {"slot 1 alone, in", "frame in", Side::kPeer, Side::kSlot1, 1.1, 0},
};

// Two threads' gain beside the peer's.
inline constexpr double kGainGoal = 0.97;

struct Plan {
  std::string library, baseline;   // baseline: a second build, empty for none
  std::vector<std::string> roads;  // names of kGroups; empty for all
  bool quick = false;              // 1920x1080 and quality 85 alone
  int rounds = 0;

  bool has(const char* group) const;
};

struct Group {
  const char* name;
  const char* what;
};
inline constexpr Group kGroups[] = {
    {"frames", "whole JPEGs, slots 6 and 1, beside the peer"},
    {"packets", "packets beside the peer's run of tiny JPEGs and whole JPEG, and our frames"},
    {"progressive", "progressive JPEGs through the coder classes"},
    {"threads", "two threads against one"},
    {"upkeep", "heap growth and page faults from the second frame on"},
    {"others", "roads without a goal, to hold one build against another"}};

// Pictures that are made once, before the processes part.
struct NamedPicture {
  const char* name;
  tool::Image image;
};
std::vector<NamedPicture> makePictures(const Plan& plan);

using Sink = void (*)(const Record& record, void* context);

// Measures all cells of a sampling, which the process's first compressor then has: one process for
// each sampling. Throws tool::Error.
class Comparison {
 public:
  Comparison(const Plan& plan, const std::vector<NamedPicture>& pictures, tool::Sampling sampling,
             Sink sink, void* context);
  void run();

 private:
  void measureFrames(const NamedPicture& picture);
  void measurePackets(const NamedPicture& picture);
  void measureProgressive(const NamedPicture& picture);
  void measureThreads(const NamedPicture& picture);
  void measureUpkeepOf(const NamedPicture& picture);
  void measureOthers(const NamedPicture& picture);
  void measureTiny();

  Cell cellOf(const char* road, const NamedPicture& picture, int quality) const;
  void send(const Record& record) { sink_(record, context_); }
  template <typename MakeOurs>
  void measure(const Cell& cell, const MakeOurs& make, std::vector<Contender> others = {});

  const Plan& plan_;
  const std::vector<NamedPicture>& pictures_;
  tool::Sampling sampling_;
  Sink sink_;
  void* context_;
  std::unique_ptr<OurLibrary> ours_, baseline_;
};

}  // namespace qrx::bench

#endif  // QRX_BENCH_COMPARISON_H_
