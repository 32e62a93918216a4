// The window through SDL.
#include "tools/live/viewer_window.h"

#include <SDL.h>

#include <cstdio>
#include <memory>

#include "tools/image/image_io.h"
#include "tools/live/rate_meter.h"
#include "tools/scene/font.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

const char kWindowKeys[] =
    "Keys in the window: o overlay, p or space pause, t tint what never arrived, s save the\n"
    "picture, q or Escape quit.";

namespace {

[[noreturn]] void fail(const char* what) { throw Error(std::string(what) + ": " + SDL_GetError()); }

struct Library {
  Library() {
    if (SDL_Init(SDL_INIT_VIDEO) != 0) fail("no display");
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

  void show(const Image& picture) {
    if (picture.size != size_) fit(picture.size);
    SDL_UpdateTexture(texture_.get(), nullptr, picture.pixels.data(),
                      static_cast<int>(picture.stride()));
    SDL_RenderClear(renderer_.get());
    SDL_RenderCopy(renderer_.get(), texture_.get(), nullptr, nullptr);
    SDL_RenderPresent(renderer_.get());
  }

 private:
  void fit(Size size) {
    texture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_BGRA32,
                                     SDL_TEXTUREACCESS_STREAMING, size.width, size.height));
    if (!texture_) fail("no texture");
    SDL_SetWindowSize(window_.get(), size.width, size.height);
    SDL_RenderSetLogicalSize(renderer_.get(), size.width, size.height);
    size_ = size;
  }

  Library library_;
  std::unique_ptr<SDL_Window, Destroy> window_;
  std::unique_ptr<SDL_Renderer, Destroy> renderer_;
  std::unique_ptr<SDL_Texture, Destroy> texture_;
  Size size_;
};

struct State {
  bool overlay = true, paused = false, tint = false, quit = false, save = false;
};

void press(SDL_Keycode key, State& state) {
  switch (key) {
    case SDLK_o: state.overlay = !state.overlay; break;
    case SDLK_p:
    case SDLK_SPACE: state.paused = !state.paused; break;
    case SDLK_t: state.tint = !state.tint; break;
    case SDLK_s: state.save = true; break;
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

void drawOverlay(Image& picture, const std::vector<std::string>& lines) {
  constexpr int kScale = 2, kMargin = 8, kLineHeight = (kGlyphHeight + 3) * kScale;
  int widest = 0;
  for (const std::string& line : lines) widest = std::max(widest, textWidth(line, kScale));
  const int height = static_cast<int>(lines.size()) * kLineHeight + kMargin;
  fillBox(picture, {kMargin, kMargin, widest + 3 * kMargin, kMargin + height}, {16, 18, 22});
  int y = 2 * kMargin;
  for (const std::string& line : lines) {
    drawText(picture, wholeImage(picture), 2 * kMargin, y, kScale, {235, 235, 225}, line);
    y += kLineHeight;
  }
}

void savePicture(const std::string& folder, const Image& picture, std::uint32_t frame) {
  char name[32];
  std::snprintf(name, sizeof name, "/view%05u.png", frame);
  const std::string path = folder + name;
  writeImage(path, picture, ImageFormat::kPng);
  std::fprintf(stderr, "qrx-jpeg: saved %s\n", path.c_str());
}

}  // namespace

void showWindow(const FrameAssembler& assembler, const WindowOptions& options,
                const std::atomic<bool>& stop) {
  Screen screen;
  State state;
  state.tint = options.tintMissing;
  RateMeter meter;
  Image picture, shown;
  while (!state.quit && !stop) {
    takeEvents(state);
    const AssemblerStatistics statistics = assembler.statistics();
    const Rates& rates = meter.update(statistics, RateMeter::Clock::now());
    if (!state.paused) assembler.copyPicture(picture, state.tint);
    if (!picture.pixels.empty()) {
      if (state.save) savePicture(options.saveFolder, picture, statistics.latest->frame);
      shown = picture;
      if (state.overlay) drawOverlay(shown, overlayLines(statistics, rates));
      screen.show(shown);
    }
    state.save = false;
    SDL_Delay(10);
  }
}

}  // namespace qrx::tool
