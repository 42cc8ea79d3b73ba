#ifndef CONVERT_IMPORT_ARRAYLAYOUT_H
#define CONVERT_IMPORT_ARRAYLAYOUT_H

#include <cstdint>
#include <vector>

#include "convert/import/Capture.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// The smallest shape whose side is at least `extent`, of those that look well: clusters of 2 x 2
// domains, which the viewer's outlines are made for, of 2 to 8 elements a side (1 for an extent of
// 1 or 2). Of several with the same side, the one whose counts of clusters and elements are
// closest; where two are equally close, the one with more elements. The side exceeds `extent` by at
// most 3.
ArrayShape ShapeFor(uint32_t extent);

// Where the tiles of all devices of a capture lie in one array.
//
// Every device gets a square of whole clusters, large enough for the tiles of any of them; the
// squares stand side by side in rows of equal length, from device to device by number. So a device
// ends where a cluster does, and a message that leaves a device is seen to.
class ArrayLayout {
 public:
  // Of the tiles on which the events of `capture` lie.
  explicit ArrayLayout(const Capture& capture);

  const ArrayShape& Shape() const { return shape; }

  // The devices, ascending; empty where there is no event.
  const std::vector<uint32_t>& Devices() const { return devices; }

  // Columns and rows that the tiles of any device take, at least 1.
  PerAxis Extent() const { return extent; }

  // Positions from a device to the next, along both axes.
  uint32_t Pitch() const { return pitch; }

  // Columns and rows of devices.
  PerAxis DevicesPerAxis() const;

  // Where the tile at column 0 and row 0 of a device lies.
  uint32_t FirstColumn(uint32_t device) const { return IndexOf(device) % perRow * pitch; }
  uint32_t FirstRow(uint32_t device) const { return IndexOf(device) / perRow * pitch; }

 private:
  uint32_t IndexOf(uint32_t device) const;

  std::vector<uint32_t> devices;
  PerAxis extent;
  uint32_t perRow;  // devices per row of devices
  uint32_t pitch;   // positions from device to device
  ArrayShape shape;
};

}  // namespace marrowfin

#endif
