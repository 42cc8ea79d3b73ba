#include "render/ArrayRenderer.h"

#include <utility>

#include "viewer/Display.h"

namespace marrowfin {
namespace {

Fault CheckShape(const ArrayShape& shape) {
  if (!shape.IsDrawable()) {
    return DrawingFault("the viewer shows no array of this shape",
                        "give counts that are alike along both axes");
  }
  if (shape.Elements() > ArrayRenderer::MOST_ELEMENTS) {
    return DrawingFault(
        "an array of " + std::to_string(shape.Elements()) + " elements is too large to be drawn",
        "give smaller counts");
  }
  return {};
}

}  // namespace

Result<std::unique_ptr<ArrayRenderer>> ArrayRenderer::Open(const ArrayShape& shape,
                                                           const WindowView& view,
                                                           OffscreenContext::Way way) {
  if (Fault fault = CheckShape(shape)) {
    return fault;
  }
  auto pieces = std::make_unique<ArrayPieces>(shape);
  const auto side = static_cast<uint32_t>(pieces->Units());
  auto context = OffscreenContext::Open(view.size.value_or(PictureSize{side, side}), way);
  if (!context) {
    return context.Why();
  }
  return std::unique_ptr<ArrayRenderer>(
      new ArrayRenderer(std::move(pieces), std::move(context).Take(), view.spin));
}

ArrayRenderer::ArrayRenderer(std::unique_ptr<ArrayPieces> pieces,
                             std::unique_ptr<OffscreenContext> context, uint32_t spin)
    : pieces(std::move(pieces)), context(std::move(context)), spin(spin) {}

Result<Picture> ArrayRenderer::Draw(const ArrayState& state) {
  if (Fault fault = context->MakeCurrent()) {
    return fault;
  }
  pieces->Show(state);
  const int units = pieces->Units();
  SetBackground();
  FitPicture(static_cast<int>(Size().width), static_cast<int>(Size().height), units, units);
  glClear(GL_COLOR_BUFFER_BIT);
  glPushMatrix();
  TurnPicture(units, units, static_cast<float>(spin));
  pieces->Draw();
  glPopMatrix();
  return context->Read();
}

}  // namespace marrowfin
