// The work that the frame benchmark measures: each road through the library, and beside it the same
// work done by libjpeg-turbo, or for packets by our own road of frames.
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

// Makes the work of a case; the session's compressor has the case's sampling.
using MakeWork = Work (*)(tool::Session& session, const FrameCase& frame);

struct Road {
  const char* name;
  MakeWork ours;
  const char* peer;
  MakeWork theirs;
};

Work encodeOurs(tool::Session& session, const FrameCase& frame);
Work encodeTheirs(tool::Session& session, const FrameCase& frame);
// Both decode what our compressor made of the frame, to four bytes per pixel.
Work decodeOurs(tool::Session& session, const FrameCase& frame);
Work decodeTheirs(tool::Session& session, const FrameCase& frame);

// The whole frame as one rectangle: all its packets out, or in, one after the other.
Work packetsOut(tool::Session& session, const FrameCase& frame);
Work packetsIn(tool::Session& session, const FrameCase& frame);

inline constexpr Road kRoads[] = {{"encode", encodeOurs, "libjpeg-turbo", encodeTheirs},
                                  {"decode", decodeOurs, "libjpeg-turbo", decodeTheirs},
                                  {"packets out", packetsOut, "our frames", encodeOurs},
                                  {"packets in", packetsIn, "our frames", decodeOurs}};

}  // namespace qrx::bench

#endif  // QRX_BENCH_FRAME_ROADS_H_
