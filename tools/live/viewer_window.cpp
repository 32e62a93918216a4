// The window through SDL.
#include "tools/live/viewer_window.h"

#include <SDL.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "tools/image/image_io.h"
#include "tools/live/rate_meter.h"
#include "tools/scene/font.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

const char kWindowKeys[] =
    "Keys in the window: o overlay, t tint what is out of date, p or space pause, s save the\n"
    "picture, f full screen, h or ? these keys, q or Escape quit.";

namespace {

[[noreturn]] void fail(const char* what) { throw Error(std::string(what) + ": " + SDL_GetError()); }

struct Library {
  Library() {
    const bool chosen = std::getenv("SDL_VIDEODRIVER") != nullptr;
    const bool there = SDL_Init(SDL_INIT_VIDEO) == 0;
    const char* driver = there ? SDL_GetCurrentVideoDriver() : nullptr;
    // Without a screen the system may still offer one that nobody sees.
    const bool unseen =
        driver != nullptr && (std::string(driver) == "offscreen" || std::string(driver) == "dummy");
    if (there && (chosen || !unseen)) return;
    if (there) SDL_Quit();
    throw Error("no display: use --headless, --snapshot or --repaired, or set DISPLAY");
  }
  ~Library() { SDL_Quit(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

struct Destroy {
  void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
  void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
  void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
};

// A picture on the graphics side, made anew when its size changes.
class Layer {
 public:
  void set(SDL_Renderer* renderer, const Image& picture) {
    if (!texture_ || picture.size != size_) {
      texture_.reset(SDL_CreateTexture(renderer, SDL_PIXELFORMAT_BGRA32,
                                       SDL_TEXTUREACCESS_STREAMING, picture.size.width,
                                       picture.size.height));
      if (!texture_) fail("no texture");
      size_ = picture.size;
    }
    SDL_UpdateTexture(texture_.get(), nullptr, picture.pixels.data(),
                      static_cast<int>(picture.stride()));
  }
  void draw(SDL_Renderer* renderer, const SDL_Rect& place) const {
    SDL_RenderCopy(renderer, texture_.get(), nullptr, &place);
  }
  Size size() const { return size_; }

 private:
  std::unique_ptr<SDL_Texture, Destroy> texture_;
  Size size_;
};

class Screen {
 public:
  Screen() {
    window_.reset(SDL_CreateWindow("qrx-jpeg view", SDL_WINDOWPOS_UNDEFINED,
                                   SDL_WINDOWPOS_UNDEFINED, 1280, 720, SDL_WINDOW_RESIZABLE));
    if (!window_) fail("no window");
    renderer_.reset(SDL_CreateRenderer(window_.get(), -1, SDL_RENDERER_PRESENTVSYNC));
    if (!renderer_) renderer_.reset(SDL_CreateRenderer(window_.get(), -1, SDL_RENDERER_SOFTWARE));
    if (!renderer_) fail("no renderer");
  }

  // The picture as large as fits; what is laid over it in the window's own pixels.
  void show(const Image& picture, const Image* overlay) {
    if (picture.size != picture_.size()) fitWindow(picture.size);
    picture_.set(renderer_.get(), picture);
    SDL_RenderClear(renderer_.get());
    picture_.draw(renderer_.get(), fitted(picture.size));
    if (overlay != nullptr) {
      overlay_.set(renderer_.get(), *overlay);
      overlay_.draw(renderer_.get(), {8, 8, overlay->size.width, overlay->size.height});
    }
    SDL_RenderPresent(renderer_.get());
  }

  void switchFullScreen() {
    fullScreen_ = !fullScreen_;
    const Uint32 mode = SDL_WINDOW_FULLSCREEN_DESKTOP;
    SDL_SetWindowFullscreen(window_.get(), fullScreen_ ? mode : 0);
  }

 private:
  // No larger than the screen.
  void fitWindow(Size size) {
    SDL_Rect bounds = {0, 0, size.width, size.height};
    SDL_GetDisplayUsableBounds(SDL_GetWindowDisplayIndex(window_.get()), &bounds);
    const SDL_Rect fitting = fit(size, {bounds.w, bounds.h}, false);
    SDL_SetWindowSize(window_.get(), fitting.w, fitting.h);
  }

  SDL_Rect fitted(Size size) const {
    Size room;
    SDL_GetRendererOutputSize(renderer_.get(), &room.width, &room.height);
    return fit(size, room, true);
  }

  // In the middle of the room, in its own proportions.
  static SDL_Rect fit(Size size, Size room, bool enlarge) {
    double scale = std::min(static_cast<double>(room.width) / size.width,
                            static_cast<double>(room.height) / size.height);
    if (!enlarge) scale = std::min(scale, 1.0);
    const int width = std::max(1, static_cast<int>(std::lround(size.width * scale)));
    const int height = std::max(1, static_cast<int>(std::lround(size.height * scale)));
    return {(room.width - width) / 2, (room.height - height) / 2, width, height};
  }

  Library library_;
  std::unique_ptr<SDL_Window, Destroy> window_;
  std::unique_ptr<SDL_Renderer, Destroy> renderer_;
  Layer picture_, overlay_;
  bool fullScreen_ = false;
};

struct State {
  bool overlay = true, keys = false, paused = false, tint = false, quit = false;
  bool save = false, fullScreen = false;  // once
};

void press(SDL_Keycode key, State& state) {
  switch (key) {
    case SDLK_o: state.overlay = !state.overlay; break;
    case SDLK_p:
    case SDLK_SPACE: state.paused = !state.paused; break;
    case SDLK_t: state.tint = !state.tint; break;
    case SDLK_s: state.save = true; break;
    case SDLK_f: state.fullScreen = true; break;
    case SDLK_h:
    case SDLK_SLASH:
    case SDLK_QUESTION: state.keys = !state.keys; break;
    case SDLK_q:
    case SDLK_ESCAPE: state.quit = true; break;
    default: break;
  }
}

void takeEvents(State& state) {
  for (SDL_Event event; SDL_PollEvent(&event) != 0;) {
    if (event.type == SDL_QUIT) state.quit = true;
    if (event.type == SDL_KEYDOWN) press(event.key.keysym.sym, state);
  }
}

// Lines of text, and a map below them.
Image drawOverlay(const std::vector<std::string>& lines, const Image* map) {
  constexpr int kScale = 2, kMargin = 8, kLineHeight = (kGlyphHeight + 3) * kScale;
  int width = map != nullptr ? map->size.width : 1;
  for (const std::string& line : lines) width = std::max(width, textWidth(line, kScale));
  int height = static_cast<int>(lines.size()) * kLineHeight;
  if (map != nullptr) height += map->size.height + kMargin;
  Image overlay({width + 2 * kMargin, height + 2 * kMargin});
  fillBox(overlay, wholeImage(overlay), {16, 18, 22});
  int y = kMargin;
  for (const std::string& line : lines) {
    drawText(overlay, wholeImage(overlay), kMargin, y, kScale, {235, 235, 225}, line);
    y += kLineHeight;
  }
  if (map == nullptr) return overlay;
  for (int row = 0; row < map->size.height; ++row) {
    std::copy_n(map->row(row), map->stride(), overlay.row(y + row) + kMargin * 4);
  }
  return overlay;
}

std::vector<std::string> keyLines() {
  return {"o overlay",     "t tint what is out of date", "p or space pause", "s save the picture",
          "f full screen", "h or ? these keys",          "q or escape quit"};
}

void savePicture(const std::string& folder, const Image& picture, std::uint32_t frame) {
  char name[32];
  std::snprintf(name, sizeof name, "/view%05u.png", frame);
  const std::string path = folder + name;
  writeImage(path, picture, ImageFormat::kPng);
  std::fprintf(stderr, "qrx-jpeg: saved %s\n", path.c_str());
}

// What lies over the picture; nothing where the person wants none.
std::optional<Image> overlayOf(const FrameAssembler& assembler, const WindowOptions& options,
                               const ViewerStatistics& statistics, const Rates& rates,
                               const State& state) {
  constexpr int kMapSide = 120;
  std::vector<std::string> lines;
  std::optional<Image> map;
  const std::string notice = options.notice();
  if (statistics.link.state != ViewerState::kServed && !notice.empty()) lines.push_back(notice);
  if (state.overlay) {
    for (std::string& line : plainWords(statistics, rates)) lines.push_back(std::move(line));
    if (!state.keys) lines.emplace_back("h: keys");
    map = assembler.ageOverview(kMapSide);
  }
  if (state.keys) {
    for (std::string& line : keyLines()) lines.push_back(std::move(line));
  }
  if (lines.empty()) return std::nullopt;
  return drawOverlay(lines, map ? &*map : nullptr);
}

}  // namespace

void requireDisplay() { const Library library; }

void showWindow(const FrameAssembler& assembler, const WindowOptions& options,
                const std::atomic<bool>& stop) {
  Screen screen;
  State state;
  state.tint = options.tint;
  RateMeter meter;
  Image picture;
  while (!state.quit && !stop) {
    takeEvents(state);
    const ViewerStatistics statistics{assembler.statistics(), options.link()};
    if (statistics.link.state == ViewerState::kRefused) break;
    const Rates& rates = meter.update(statistics, RateMeter::Clock::now());
    if (!state.paused) assembler.copyPicture(picture, state.tint);
    if (state.fullScreen) screen.switchFullScreen();
    if (!picture.pixels.empty()) {
      if (state.save) savePicture(options.saveFolder, picture, statistics.window.latest->frame);
      const auto overlay = overlayOf(assembler, options, statistics, rates, state);
      screen.show(picture, overlay ? &*overlay : nullptr);
    }
    state.save = state.fullScreen = false;
    SDL_Delay(10);
  }
}

}  // namespace qrx::tool
