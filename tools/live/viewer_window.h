// The viewer's window on the screen.
#ifndef QRX_TOOLS_LIVE_VIEWER_WINDOW_H_
#define QRX_TOOLS_LIVE_VIEWER_WINDOW_H_

#include <atomic>
#include <functional>
#include <string>

#include "tools/live/frame_assembler.h"
#include "tools/live/link.h"

namespace qrx::tool {

extern const char kWindowKeys[];  // for --help

struct WindowOptions {
  bool tint = false;
  std::string saveFolder = ".";
  std::function<LinkStatistics()> link = [] { return LinkStatistics{}; };
  std::function<std::string()> notice = [] { return std::string(); };  // shown unless served
};

// Throws Error where there is no display.
void requireDisplay();

// Shows the picture until it is closed, or `stop` becomes true. On the main thread. Throws Error
// where there is no display.
void showWindow(const FrameAssembler& assembler, const WindowOptions& options,
                const std::atomic<bool>& stop);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_LIVE_VIEWER_WINDOW_H_
