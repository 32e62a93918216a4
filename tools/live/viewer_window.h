// The viewer's window on the screen.
#ifndef QRX_TOOLS_LIVE_VIEWER_WINDOW_H_
#define QRX_TOOLS_LIVE_VIEWER_WINDOW_H_

#include <atomic>
#include <string>

#include "tools/live/frame_assembler.h"

namespace qrx::tool {

extern const char kWindowKeys[];  // for --help

struct WindowOptions {
  bool tintMissing = false;
  std::string saveFolder = ".";
};

// Shows the picture until it is closed, or `stop` becomes true. On the main thread. Throws Error
// where there is no display.
void showWindow(const FrameAssembler& assembler, const WindowOptions& options,
                const std::atomic<bool>& stop);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_VIEWER_WINDOW_H_
