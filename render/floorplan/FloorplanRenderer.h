#ifndef RENDER_FLOORPLAN_FLOORPLANRENDERER_H
#define RENDER_FLOORPLAN_FLOORPLANRENDERER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "render/MomentRenderer.h"
#include "render/floorplan/FloorplanColors.h"
#include "render/floorplan/FloorplanLayout.h"

namespace marrowfin {

// How a floorplan is to look.
struct FloorplanView {
  std::optional<PictureSize> size = {};  // FloorplanLayout::SizeFor unless given
  const FloorplanColors* colors = &FloorplanColors::Light();
};

// Draws states of an array in the natural reading: as a floorplan of any shape, square or not, in
// which what is fresh is solid and what is old is hollow.
//
// An element is a cell in the colour of its thread, full and solid at age 0; then it shrinks, its
// fill fades towards the paper and its edge stays. One that nothing has touched is a dot. From
// DIGIT_PITCH on it also says the thread (modulo 6). A switch is a diamond, filled for six steps. A
// message is a wedge, wide where it comes from. Columns and rows have their numbers, see
// FloorplanLayout.
//
// Where elements have no room a domain or a cluster takes the colour of the thread that most of its
// elements were touched by (ties: the lower thread), mixed into the paper by the mean fill of all
// its elements, untouched ones as 0, but by a fifth at least where one is touched; messages and
// switches are not drawn. Where clusters have no room either, several share a pixel and the last
// one shows.
class FloorplanRenderer : public MomentRenderer {
 public:
  static constexpr double CELL_PITCH = 8;    // below it cells are full at any age
  static constexpr double DIGIT_PITCH = 22;  // from it on threads are told by digits

  // A SYSTEM fault where the picture has no pixels.
  static Result<std::unique_ptr<FloorplanRenderer>> Open(const ArrayShape& shape,
                                                         const FloorplanView& view);

  Fault DrawInto(const ArrayState& state, std::vector<Pixel>& pixels) override;
  PictureSize Size() const override { return size; }
  std::string Drawer() const override;

  const FloorplanLayout& Layout() const { return layout; }

 private:
  FloorplanRenderer(const ArrayShape& shape, PictureSize size, const FloorplanColors& colors);

  void DrawFrames();
  [[nodiscard]] Fault DrawNumbers();
  void DrawElements(const ArrayState& state, Pixel* pixels) const;
  void DrawUnits(const ArrayState& state, Pixel* pixels) const;
  Fault DrawShapes(const ArrayState& state, Pixel* pixels) const;

  PictureSize size;
  FloorplanLayout layout;
  const FloorplanColors& colors;
  std::vector<Pixel> ground;  // what stays: the paper, the frames of clusters, and numbers
};

}  // namespace marrowfin

#endif
