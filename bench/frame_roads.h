// The work that the frame benchmark measures: each road through the library, and the same work done
// by libjpeg-turbo.
#ifndef QRX_BENCH_FRAME_ROADS_H_
#define QRX_BENCH_FRAME_ROADS_H_

#include <cstddef>
#include <functional>

#include "tools/host/session.h"
#include "tools/image/image.h"

namespace qrx::bench {

struct FrameCase {
  const tool::Image& image;
  int quality;
  tool::Sampling sampling;
};

// Does the work once and gives the size of the compressed data; throws tool::Error on failure.
using Work = std::function<std::size_t()>;

struct Road {
  const char* name;
  // The session's compressor has the case's sampling.
  Work (*ours)(tool::Session& session, const FrameCase& frame);
  Work (*theirs)(tool::Session& session, const FrameCase& frame);
};

Work encodeOurs(tool::Session& session, const FrameCase& frame);
Work encodeTheirs(tool::Session& session, const FrameCase& frame);
// Both decode what our compressor made of the frame, to four bytes per pixel.
Work decodeOurs(tool::Session& session, const FrameCase& frame);
Work decodeTheirs(tool::Session& session, const FrameCase& frame);

inline constexpr Road kRoads[] = {{"encode", encodeOurs, encodeTheirs},
                                  {"decode", decodeOurs, decodeTheirs}};

}  // namespace qrx::bench

#endif  // QRX_BENCH_FRAME_ROADS_H_
