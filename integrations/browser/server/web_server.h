// Serves the page, frames as JPEGs over HTTP, and packets over WebSockets, on one thread.
#ifndef QRX_INTEGRATIONS_BROWSER_SERVER_WEB_SERVER_H_
#define QRX_INTEGRATIONS_BROWSER_SERVER_WEB_SERVER_H_

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "tools/host/session.h"
#include "tools/live/bad_network.h"
#include "tools/live/endpoint.h"
#include "tools/live/window_sender.h"

namespace qrx::web {

struct WebServerOptions {
  tool::Endpoint listen;
  tool::Size size;
  double framesPerSecond = 25;
  int frames = 0;  // 0: without end; else the last one stays
  int mostViewers = 4;
  tool::WindowSenderOptions sender;
  tool::BadNetworkOptions network;
};

class WebServer {
 public:
  // The frame of a number, until the next call.
  using FrameSource = std::function<const tool::Image&(int number)>;

  // Throws Error where the address can't be had.
  WebServer(tool::Session& codec, FrameSource source, const WebServerOptions& options);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Where the page is, token and all.
  std::string url() const;
  // Returns when `stop` becomes true.
  void run(const std::atomic<bool>& stop);

  struct Parts;

 private:
  std::unique_ptr<Parts> parts_;
};

}  // namespace qrx::web

#endif  // QRX_INTEGRATIONS_BROWSER_SERVER_WEB_SERVER_H_
