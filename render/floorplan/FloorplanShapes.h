#ifndef RENDER_FLOORPLAN_FLOORPLANSHAPES_H
#define RENDER_FLOORPLAN_FLOORPLANSHAPES_H

#include <cairo.h>

#include <string>

#include "render/Picture.h"
#include "render/floorplan/FloorplanColors.h"
#include "render/floorplan/FloorplanLayout.h"
#include "render/plot/Fonts.h"
#include "trace/ask/ArrayState.h"
#include "trace/base/Fault.h"

namespace marrowfin {

// A fault of drawing a floorplan, SYSTEM.
Fault FloorplanFault(const std::string& reason, const std::string& remedy);

// What of a floorplan is not square: Cairo draws it over the cells, on the caller's pixels, until
// Finish. One thread at a time.
class FloorplanShapes {
 public:
  FloorplanShapes(PictureSize size, Pixel* pixels, const FloorplanLayout& layout,
                  const FloorplanColors& colors);
  FloorplanShapes(const FloorplanShapes&) = delete;
  FloorplanShapes& operator=(const FloorplanShapes&) = delete;
  ~FloorplanShapes();

  void AddSwitches(const ArrayState& state);
  void AddMessages(const ArrayState& state);
  void AddDigits(const ArrayState& state);

  // Those of columns and rows.
  void AddNumbers();

  // A SYSTEM fault where there was no memory for all of it.
  [[nodiscard]] Fault Finish();

 private:
  void Use(Color color, double alpha = 1);
  void UseLetters(double size, Weight weight);
  void FillPolygon(const PixelSpot* spots, size_t count);
  void AddMessage(const LiveMessage& message, uint64_t age);
  void AddLine(PixelSpot from, PixelSpot to, double alpha);
  void AddWedge(PixelSpot from, PixelSpot to, uint64_t age);

  const FloorplanLayout& layout;
  const FloorplanColors& colors;
  cairo_surface_t* surface;
  cairo_t* cairo;
};

}  // namespace marrowfin

#endif
