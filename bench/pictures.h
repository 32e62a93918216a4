// The four pictures of the comparison, made by code: alike on every machine and of any size.
#ifndef QRX_BENCH_PICTURES_H_
#define QRX_BENCH_PICTURES_H_

#include "tools/image/image.h"

namespace qrx::bench {

struct PictureKind {
  const char* name;
  tool::Image (*make)(tool::Size size);
};

tool::Image desktopPicture(tool::Size size);     // windows, text, a solid: tools/scene
tool::Image photographPicture(tool::Size size);  // noise of all scales, and grain
tool::Image renderPicture(tool::Size size);      // shaded balls on a textured floor
tool::Image gradientPicture(tool::Size size);    // smooth ramps of colour

inline constexpr PictureKind kPictures[] = {{"desktop", desktopPicture},
                                            {"photograph", photographPicture},
                                            {"render", renderPicture},
                                            {"gradient", gradientPicture}};

}  // namespace qrx::bench

#endif  // QRX_BENCH_PICTURES_H_
