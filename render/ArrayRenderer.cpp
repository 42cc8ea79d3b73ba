#include "render/ArrayRenderer.h"

#include <algorithm>
#include <utility>

#include "viewer/Display.h"

namespace marrowfin {
namespace {

constexpr size_t BACKGROUND = 0;  // the number of the owner
constexpr Pixel WHITE = {255, 255, 255, 0};
constexpr Pixel BLACK = {0, 0, 0, 0};

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
  const auto side = static_cast<uint32_t>(ArrayPieces(shape).Units());
  auto context = OffscreenContext::Open(view.size.value_or(PictureSize{side, side}), way);
  if (!context) {
    return context.Why();
  }
  return std::unique_ptr<ArrayRenderer>(
      new ArrayRenderer(shape, std::move(context).Take(), view.spin));
}

// The context is current when it has been opened.
ArrayRenderer::ArrayRenderer(const ArrayShape& shape, std::unique_ptr<OffscreenContext> opened,
                             uint32_t spin)
    : shape(shape), pieces(shape), context(std::move(opened)), spin(spin) {
  colors.resize(pieces.FirstSwitch() + shape.Switches());
  colors[BACKGROUND] = WHITE;
  colors[ArrayPieces::OUTLINE] = BLACK;
  FindOwners();
  FindBands();
}

void ArrayRenderer::SetUpView() const {
  FitPicture(static_cast<int>(Size().width), static_cast<int>(Size().height), pieces.Units(),
             pieces.Units());
  // Number 0, and a colour that no message has.
  glClearColor(0, 0, 0, 0);
  glClear(GL_COLOR_BUFFER_BIT);
  TurnPicture(pieces.Units(), pieces.Units(), static_cast<float>(spin));
}

void ArrayRenderer::FindOwners() {
  SetUpView();
  pieces.DrawNumbers(spin == 0 ? ArrayPieces::TOPS : ArrayPieces::ALL_SIDES);
  std::vector<Pixel> drawn;
  context->Read(drawn);
  owners = PixelOwners(Size(), drawn);
}

// Bands are painted where a unit is a pixel, nothing is turned, and OpenGL draws the same here.
void ArrayRenderer::FindBands() {
  const auto side = static_cast<uint32_t>(pieces.Units());
  if (spin != 0 || Size().width != side || Size().height != side) {
    return;
  }
  const MessageBands painter(pieces.ElementBases(), side);
  const ArrayState sample = MessageBands::Sample(shape);
  std::vector<Pixel> drawn(Size().Pixels(), WHITE);
  std::vector<Pixel> painted = drawn;
  AddMessages(sample, drawn);
  painter.Paint(sample, painted.data());
  const auto alike = [](const Pixel& a, const Pixel& b) {
    return std::equal(a.begin(), a.begin() + Picture::CHANNELS, b.begin());
  };
  if (std::equal(drawn.begin(), drawn.end(), painted.begin(), alike)) {
    bands = painter;
  }
}

void ArrayRenderer::TakeColors(const ArrayState& state) {
  Pixel* to = colors.data() + ArrayPieces::FIRST_ELEMENT;
  for (const auto* pieceColors : {&state.elements, &state.switches}) {
    to = std::transform(pieceColors->begin(), pieceColors->end(), to, [](Color color) {
      return Pixel{color.red, color.green, color.blue, 0};
    });
  }
}

void ArrayRenderer::AddMessages(const ArrayState& state, std::vector<Pixel>& pixels) {
  SetUpView();
  pieces.DrawMessages(state);
  context->Read(messageRows);
  const size_t width = Size().width;
  for (size_t row = 0; row < Size().height; ++row) {
    const Pixel* const from = messageRows.data() + (Size().height - 1 - row) * width;
    Pixel* const to = pixels.data() + row * width;
    for (size_t x = 0; x < width; ++x) {
      if (from[x][0] != 0) {
        to[x] = from[x];
      }
    }
  }
}

Fault ArrayRenderer::DrawInto(const ArrayState& state, std::vector<Pixel>& pixels) {
  TakeColors(state);
  pixels.resize(Size().Pixels());
  owners.Paint(colors, pixels.data());
  if (bands && bands->CanPaint(state)) {
    bands->Paint(state, pixels.data());
  } else if (!state.messages.empty()) {
    if (Fault fault = context->MakeCurrent()) {
      return fault;
    }
    AddMessages(state, pixels);
  }
  return {};
}

}  // namespace marrowfin
