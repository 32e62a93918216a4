// What a page calls. One view at a time; pointers are good until the next call.
#include <emscripten.h>

#include <optional>
#include <string>
#include <vector>

#include "integrations/browser/view/window_view.h"

namespace {

using qrx::web::WindowView;

struct Page {
  WindowView view;
  std::vector<std::uint8_t> message;
  std::vector<qrx::tool::Packet> toSend;
  std::string words;
};

// Never destroyed: a page ends with its memory.
Page& page() {
  static auto* const page = new Page;
  return *page;
}

}  // namespace

extern "C" {

EMSCRIPTEN_KEEPALIVE void viewRestart() { page().view = WindowView(); }

// Room for a message, and the message that was written there.
EMSCRIPTEN_KEEPALIVE std::uint8_t* viewRoom(std::size_t size) {
  page().message.resize(size);
  return page().message.data();
}
EMSCRIPTEN_KEEPALIVE void viewTake() {
  page().view.take(page().message, qrx::web::steadyMicroseconds());
}

EMSCRIPTEN_KEEPALIVE std::size_t viewToSend() {
  page().toSend = page().view.toSend(qrx::web::steadyMicroseconds());
  return page().toSend.size();
}
EMSCRIPTEN_KEEPALIVE const std::uint8_t* viewMessage(std::size_t number) {
  return page().toSend.at(number).data();
}
EMSCRIPTEN_KEEPALIVE std::size_t viewMessageSize(std::size_t number) {
  return page().toSend.at(number).size();
}

EMSCRIPTEN_KEEPALIVE int viewWidth() { return page().view.width(); }
EMSCRIPTEN_KEEPALIVE int viewHeight() { return page().view.height(); }
EMSCRIPTEN_KEEPALIVE const std::uint8_t* viewPicture(int tint) {
  return page().view.picture(tint != 0).data();
}

EMSCRIPTEN_KEEPALIVE const char* viewWords() {
  Page& all = page();
  all.words.clear();
  for (const std::string& line : all.view.words()) {
    if (!all.words.empty()) all.words += '\n';
    all.words += line;
  }
  return all.words.c_str();
}

// For who counts.
EMSCRIPTEN_KEEPALIVE double viewFrames() {
  return static_cast<double>(page().view.statistics().window.frames);
}
EMSCRIPTEN_KEEPALIVE double viewLost() {
  return static_cast<double>(page().view.statistics().link.lost);
}
EMSCRIPTEN_KEEPALIVE double viewVerdicts(std::size_t verdict) {
  return static_cast<double>(page().view.statistics().window.verdicts.at(verdict));
}
EMSCRIPTEN_KEEPALIVE double viewCurrent() { return page().view.statistics().window.coverage; }
EMSCRIPTEN_KEEPALIVE int viewFinished() { return page().view.isFinished() ? 1 : 0; }

}  // extern "C"
