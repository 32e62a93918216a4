// A still picture over which a box wanders whose pixels all change from frame to frame: for
// measuring, where the share of what changes has to be known.
#ifndef QRX_TOOLS_SCENE_WANDERING_BOX_H_
#define QRX_TOOLS_SCENE_WANDERING_BOX_H_

#include "tools/image/image.h"
#include "tools/scene/painter.h"

namespace qrx::tool {

class WanderingBox {
 public:
  // The box has this share, above 0 to 1, of the synthetic scene of that size.
  WanderingBox(Size size, double share);

  // The picture of a frame, until the next call. A frame depends on its number alone; frames that
  // follow each other are cheap.
  const Image& render(int frame);

 private:
  Box place(int frame) const;
  void clear(const Box& box);

  Size box_;
  Image still_, picture_;
  Box last_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SCENE_WANDERING_BOX_H_
