#include "render/floorplan/FloorplanRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "render/floorplan/FloorplanShapes.h"

namespace marrowfin {
namespace {

// By age: the side of a cell as a share of its room. The last one stands for all that is older.
constexpr std::array<double, ElementCodes::OLDEST + 1> SIDES = {1, 0.94, 0.88, 0.82, 0.72};
constexpr int64_t LEAST_FRAMED =
    24;  // pixels of a cluster: frames of smaller ones hide what is in them
constexpr double LEAST_FILL =
    0.2;                     // of a unit that anything has touched: one element is to be seen
constexpr double DOT = 0.3;  // of an element that nothing has touched

Pixel PixelOf(Color color) { return {color.red, color.green, color.blue, 0}; }

// Fills what lies on the picture.
class Brush {
 public:
  Brush(PictureSize size, Pixel* pixels) : width(size.width), height(size.height), pixels(pixels) {}

  void Fill(const PixelBox& box, Color color) const {
    const int64_t first = std::max<int64_t>(0, box.x);
    const int64_t end = std::min(width, box.x + box.width);
    for (int64_t y = std::max<int64_t>(0, box.y); y < std::min(height, box.y + box.height); ++y) {
      if (first < end) {
        std::fill_n(pixels + y * width + first, end - first, PixelOf(color));
      }
    }
  }

  void Frame(const PixelBox& box, Color color) const {
    Fill({box.x, box.y, box.width, 1}, color);
    Fill({box.x, box.y + box.height - 1, box.width, 1}, color);
    Fill({box.x, box.y, 1, box.height}, color);
    Fill({box.x + box.width - 1, box.y, 1, box.height}, color);
  }

 private:
  int64_t width;
  int64_t height;
  Pixel* pixels;
};

// The middle of a box, `share` as wide and high.
PixelBox Shrunk(const PixelBox& box, double share) {
  const auto shrink = [share](int64_t side) {
    return std::max<int64_t>(1, std::lround(static_cast<double>(side) * share));
  };
  const int64_t width = shrink(box.width);
  const int64_t height = shrink(box.height);
  return {box.x + (box.width - width) / 2, box.y + (box.height - height) / 2, width, height};
}

PixelBox Inner(const PixelBox& box) {
  return {box.x + 1, box.y + 1, box.width - 2, box.height - 2};
}

// The elements of a domain or a cluster together.
class UnitSum {
 public:
  void Add(uint8_t code) {
    ++elements;
    if (code != ElementCodes::UNTOUCHED) {
      ++threads[ElementCodes::Thread(code)];
      fill += FillAt(ElementCodes::Age(code));
    }
  }

  bool IsUntouched() const { return fill == 0; }
  double Fill() const { return std::max(LEAST_FILL, fill / static_cast<double>(elements)); }
  size_t Thread() const {
    return static_cast<size_t>(std::max_element(threads.begin(), threads.end()) - threads.begin());
  }

 private:
  uint64_t elements = 0;
  double fill = 0;
  std::array<uint64_t, ElementCodes::THREADS> threads = {};
};

}  // namespace

Result<std::unique_ptr<FloorplanRenderer>> FloorplanRenderer::Open(const ArrayShape& shape,
                                                                   const FloorplanView& view) {
  const PictureSize size = view.size.value_or(FloorplanLayout::SizeFor(shape));
  if (size.Pixels() == 0) {
    return FloorplanFault("a picture without pixels shows nothing", "give a larger size");
  }
  std::unique_ptr<FloorplanRenderer> renderer(new FloorplanRenderer(shape, size, *view.colors));
  renderer->DrawFrames();
  if (Fault fault = renderer->DrawNumbers()) {
    return fault;
  }
  return renderer;
}

FloorplanRenderer::FloorplanRenderer(const ArrayShape& shape, PictureSize size,
                                     const FloorplanColors& colors)
    : size(size),
      layout(shape, size),
      colors(colors),
      ground(size.Pixels(), PixelOf(colors.paper)) {}

void FloorplanRenderer::DrawFrames() {
  const ArrayShape& shape = layout.Shape();
  const PixelBox first = layout.Cluster({0, 0});
  if (shape.Switches() == 1 || std::min(first.width, first.height) < LEAST_FRAMED) {
    return;
  }
  const Brush brush(size, ground.data());
  for (uint32_t row = 0; row < shape.clusters.rows; ++row) {
    for (uint32_t column = 0; column < shape.clusters.columns; ++column) {
      brush.Frame(layout.Cluster({column, row}), colors.outline);
    }
  }
}

Fault FloorplanRenderer::DrawNumbers() {
  FloorplanShapes shapes(size, ground.data(), layout, colors);
  shapes.AddNumbers();
  return shapes.Finish();
}

std::string FloorplanRenderer::Drawer() const {
  return std::string("Cairo, as a floorplan of ") +
         (layout.Drawn() == Level::PE
              ? "PEs"
              : std::string(LevelName(layout.Drawn())) + "s: there is no room for PEs");
}

void FloorplanRenderer::DrawElements(const ArrayState& state, Pixel* pixels) const {
  const Brush brush(size, pixels);
  const bool hollow = layout.Pitch() >= CELL_PITCH;
  for (size_t i = 0; i < state.elementCodes.size(); ++i) {
    const PixelBox box = layout.Element(layout.Shape().ElementAt(i));
    const uint8_t code = state.elementCodes[i];
    if (code == ElementCodes::UNTOUCHED) {
      brush.Fill(Shrunk(box, DOT), colors.idle);
      continue;
    }
    const Color thread = colors.threads[ElementCodes::Thread(code)];
    const Color fill = ElementFill(colors, code);
    const PixelBox cell = hollow ? Shrunk(box, SIDES[ElementCodes::Age(code)]) : box;
    brush.Fill(cell, hollow ? thread : fill);
    if (hollow) {
      brush.Fill(Inner(cell), fill);
    }
  }
}

void FloorplanRenderer::DrawUnits(const ArrayState& state, Pixel* pixels) const {
  const ArrayShape& shape = layout.Shape();
  const PerAxis units = UnitsOf(shape, layout.Drawn());
  std::vector<UnitSum> sums(static_cast<size_t>(units.columns) * units.rows);
  for (size_t i = 0; i < state.elementCodes.size(); ++i) {
    const Place unit = UnitOf(shape, layout.Drawn(), shape.ElementAt(i));
    sums[static_cast<size_t>(unit.row) * units.columns + unit.column].Add(state.elementCodes[i]);
  }
  const Brush brush(size, pixels);
  for (size_t i = 0; i < sums.size(); ++i) {
    if (!sums[i].IsUntouched()) {
      const Place unit = {static_cast<uint32_t>(i % units.columns),
                          static_cast<uint32_t>(i / units.columns)};
      brush.Fill(layout.Unit(unit),
                 Mix(colors.threads[sums[i].Thread()], colors.paper, sums[i].Fill()));
    }
  }
}

Fault FloorplanRenderer::DrawShapes(const ArrayState& state, Pixel* pixels) const {
  FloorplanShapes shapes(size, pixels, layout, colors);
  shapes.AddSwitches(state);
  shapes.AddMessages(state);
  if (layout.Pitch() >= DIGIT_PITCH) {
    shapes.AddDigits(state);
  }
  return shapes.Finish();
}

Fault FloorplanRenderer::DrawInto(const ArrayState& state, std::vector<Pixel>& pixels) {
  pixels = ground;
  if (layout.Drawn() != Level::PE) {
    DrawUnits(state, pixels.data());
    return {};
  }
  DrawElements(state, pixels.data());
  return DrawShapes(state, pixels.data());
}

}  // namespace marrowfin
