// A synthetic desktop that changes from frame to frame, for demos, tests and benchmarks: a shaded
// solid that turns, windows with text that scrolls, a gradient and a noisy texture.
#ifndef QRX_TOOLS_SCENE_SCENE_RENDERER_H_
#define QRX_TOOLS_SCENE_SCENE_RENDERER_H_

#include "tools/image/image.h"
#include "tools/scene/mesh.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

// A frame depends on its number and the size only, bit for bit, on every machine. One renderer is
// for one thread; `frame` may be any number, in any order.
class SceneRenderer {
 public:
  explicit SceneRenderer(Size size);

  // Renders into `image`, which gets the scene's size.
  void render(int frame, Image& image) const;
  Image render(int frame) const;

 private:
  struct Layout {
    Box bar, object, window, page, texture;
    int scale;  // of the text
  };
  static Layout arrange(Size size);

  void paintStill();
  void drawSolid(Image& image, int frame) const;
  void drawLog(Image& image, int frame) const;
  void drawCounter(Image& image, int frame) const;

  Layout layout_;
  Mesh mesh_;
  Image still_;  // what no frame changes
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_SCENE_RENDERER_H_
