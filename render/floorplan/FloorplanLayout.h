#ifndef RENDER_FLOORPLAN_FLOORPLANLAYOUT_H
#define RENDER_FLOORPLAN_FLOORPLANLAYOUT_H

#include <cstdint>

#include "measure/Level.h"
#include "render/Picture.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// A rectangle of whole pixels, from the upper left corner of the picture.
struct PixelBox {
  int64_t x = 0;
  int64_t y = 0;
  int64_t width = 0;
  int64_t height = 0;

  friend bool operator==(const PixelBox&, const PixelBox&) = default;
};

struct PixelSpot {
  double x = 0;
  double y = 0;
};

// Where one axis of an array lies, in halves of the distance from one element to the next.
//
// Domains stand apart by half an element, at the middle of a cluster, where its switch is, by a
// whole one; clusters have a frame half an element away and stand apart by half an element. An
// array of one cluster has no frame, and one of one domain no gaps at all: a mesh is flat.
class FloorplanAxis {
 public:
  FloorplanAxis(uint32_t clusters, uint32_t domains, uint32_t pes, bool framed);

  int64_t Length() const { return clusters * ClusterLength() + (clusters - 1) * apart; }
  int64_t ClusterLength() const { return InDomains(domains) - CrossBefore(domains) + 2 * frame; }

  int64_t Cluster(int64_t number) const { return number * (ClusterLength() + apart); }
  int64_t Domain(int64_t number) const;
  int64_t Element(int64_t number) const;

  // The middle of the gap that the switch is in, or of the cluster where it has none.
  int64_t Switch(int64_t cluster) const;
  bool HasCross() const { return domains > 1; }

 private:
  // Where domain `number` of a cluster begins, without the frame; and the gap before it.
  int64_t InDomains(int64_t number) const;
  int64_t CrossBefore(int64_t number) const;

  int64_t clusters;
  int64_t domains;
  int64_t pes;
  int64_t frame;
  int64_t apart;
};

// Where everything of an array lies on a picture of it: column 0 at the left, row 0 below.
//
// Elements are drawn where they are at least LEAST_PITCH pixels apart; else domains, where those
// have at least LEAST_DOMAIN pixels along both axes; else clusters. Elements that are drawn are
// whole pixels apart.
//
// On pictures whose sides have at least LEAST_NUMBERED pixels some columns and rows have their
// numbers below the array and at its left: each fourth element or so, of meshes with large cells
// every one.
class FloorplanLayout {
 public:
  static constexpr double LEAST_PITCH = 4;
  static constexpr double LEAST_DOMAIN = 3;
  static constexpr int64_t LEAST_NUMBERED = 160;
  static constexpr int64_t MARGIN = 8;  // pixels around the array, but on pictures below 64 pixels

  FloorplanLayout(const ArrayShape& shape, PictureSize size);

  // The size of a picture whose elements are up to 24 pixels apart and whose sides have at most
  // `longest` pixels.
  static PictureSize SizeFor(const ArrayShape& shape, uint32_t longest = 1080);

  const ArrayShape& Shape() const { return shape; }
  Level Drawn() const { return drawn; }

  // Pixels from one element to the next, and between cells that are drawn.
  double Pitch() const { return pitch; }
  int64_t Gap() const;

  PixelBox Element(Place element) const;
  PixelBox Domain(Place domain) const;
  PixelBox Cluster(Place cluster) const;

  // That of the drawn level.
  PixelBox Unit(Place unit) const;

  PixelSpot MiddleOf(Place element) const;
  PixelSpot Switch(Place cluster) const;

  // Half of what a switch has room for.
  double SwitchRadius() const;

  // The size of the numbers' letters, in pixels; 0 where there are none. How many elements are from
  // one number to the next, and where they stand: centred at this spot, or ending there.
  double NumberSize() const { return numberSize; }
  uint32_t NumberStep() const;
  PixelSpot ColumnNumber(uint32_t column) const;
  PixelSpot RowNumber(uint32_t row) const;

 private:
  // Pixels around the array.
  struct Margins {
    int64_t left = 0;
    int64_t below = 0;
    int64_t others = 0;
  };
  static double NumberSizeOf(PictureSize size);
  static Margins MarginsOf(const ArrayShape& shape, PictureSize size);
  static Margins NumberedMargins(const ArrayShape& shape, double numberSize);

  int64_t AlongX(int64_t halves) const;
  int64_t AlongY(int64_t halves) const;
  PixelBox BoxOf(int64_t x, int64_t xEnd, int64_t y, int64_t yEnd, int64_t gap) const;

  ArrayShape shape;
  FloorplanAxis columns;
  FloorplanAxis rows;
  PictureSize size;
  Level drawn = Level::PE;
  double numberSize = 0;
  double pitch = 0;
  double left = 0;
  double below = 0;
};

}  // namespace marrowfin

#endif
