#ifndef RENDER_ARRAYRENDERER_H
#define RENDER_ARRAYRENDERER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "render/ArrayPieces.h"
#include "render/MessageBands.h"
#include "render/MomentRenderer.h"
#include "render/OffscreenContext.h"
#include "render/Picture.h"
#include "render/PixelOwners.h"
#include "trace/ask/ArrayState.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Result.h"

namespace marrowfin {

// How the viewer's window would stand.
struct WindowView {
  // The window that the viewer opens unless another size is given.
  std::optional<PictureSize> size = {};

  // Steps of spinning so far: as many degrees about the x axis, a quarter of that about the y axis
  // and a sixteenth about the z axis. The viewer goes up to MOST_SPIN and then on with 1.
  static constexpr uint32_t MOST_SPIN = 2880;
  uint32_t spin = 0;
};

// Draws states of an array as the viewer's window shows them, to the pixel, without a window.
//
// OpenGL draws the pieces that stay once, and tells which of them each pixel shows; each picture is
// then that in the colours of its state, under the messages. OpenGL draws those each time, unless
// they are painted pixel for pixel as it does (MessageBands). Used by one thread at a time.
class ArrayRenderer : public MomentRenderer {
 public:
  // The most elements that are told apart.
  static constexpr size_t MOST_ELEMENTS = size_t{1} << 20;

  // Faults: of OffscreenContext, and of a shape that no viewer shows or that has too many elements.
  static Result<std::unique_ptr<ArrayRenderer>> Open(
      const ArrayShape& shape, const WindowView& view,
      OffscreenContext::Way way = OffscreenContext::ANY_WAY);

  [[nodiscard]] Fault DrawInto(const ArrayState& state, std::vector<Pixel>& pixels) override;
  PictureSize Size() const override { return context->Size(); }

  // See OffscreenContext::Drawer.
  std::string Drawer() const override { return context->Drawer(); }

 private:
  ArrayRenderer(const ArrayShape& shape, std::unique_ptr<OffscreenContext> context, uint32_t spin);

  void SetUpView() const;
  void FindOwners();
  void TakeColors(const ArrayState& state);
  void AddMessages(const ArrayState& state, std::vector<Pixel>& pixels);
  void FindBands();

  ArrayShape shape;
  ArrayPieces pieces;
  std::unique_ptr<OffscreenContext> context;
  uint32_t spin;
  PixelOwners owners;                 // of the pieces that stay
  std::optional<MessageBands> bands;  // where they are painted as OpenGL draws them here
  std::vector<Pixel> colors;          // of each owner
  std::vector<Pixel> messageRows;     // what was drawn of messages, the lowest row first
};

}  // namespace marrowfin

#endif
