// The library's four roads as pieces of work to be timed: frames and packets, out and in. Neither
// copies its result: the data is consumed where it stands.
#ifndef QRX_TOOLS_HOST_ROADS_H_
#define QRX_TOOLS_HOST_ROADS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "tools/host/session.h"
#include "tools/image/image.h"

namespace qrx::tool {

// Does the work once and gives the size of the compressed data; throws Error on failure. One Work
// is for one thread at a time; the session and the picture have to outlive it.
using Work = std::function<std::size_t()>;

struct RoadCase {
  const Image& image;
  unsigned quality;
};

Work frameOut(Session& session, const RoadCase& c);
Work frameIn(Session& session, const RoadCase& c);
// The whole picture as one rectangle: all its packets out, or in, one after the other.
Work packetsOut(Session& session, const RoadCase& c);
Work packetsIn(Session& session, const RoadCase& c);

struct Road {
  const char* name;
  Work (*make)(Session& session, const RoadCase& c);
};

inline constexpr Road kRoads[] = {{"frame out", frameOut},
                                  {"frame in", frameIn},
                                  {"packets out", packetsOut},
                                  {"packets in", packetsIn}};

// The frame as a JPEG; throws Error where the library gives no complete one.
std::vector<std::uint8_t> compressWhole(Session& session, const RoadCase& c);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_ROADS_H_
