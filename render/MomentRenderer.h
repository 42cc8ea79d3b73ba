#ifndef RENDER_MOMENTRENDERER_H
#define RENDER_MOMENTRENDERER_H

#include <string>
#include <vector>

#include "render/Picture.h"
#include "trace/ask/ArrayState.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What draws moments of a trace, one after the other, all of them in one size. One thread at a
// time.
class MomentRenderer {
 public:
  virtual ~MomentRenderer() = default;

  // Draws a state of the shape that the renderer was opened for into memory of the caller: all
  // pixels, the topmost row first.
  [[nodiscard]] virtual Fault DrawInto(const ArrayState& state, std::vector<Pixel>& pixels) = 0;

  virtual PictureSize Size() const = 0;

  // What draws, in words.
  virtual std::string Drawer() const = 0;

  // The same as a picture.
  Result<Picture> Draw(const ArrayState& state) {
    std::vector<Pixel> pixels;
    if (Fault fault = DrawInto(state, pixels)) {
      return fault;
    }
    return PictureOf(Size(), pixels);
  }
};

}  // namespace marrowfin

#endif
