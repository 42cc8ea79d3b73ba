#ifndef CONVERT_IMPORT_ARRAYLAYOUT_H
#define CONVERT_IMPORT_ARRAYLAYOUT_H

#include <cstdint>
#include <vector>

#include "convert/import/Capture.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// Where the tiles of all devices of a capture lie in one array.
//
// Every device is a cluster, a square large enough for the tiles of any of them; the squares stand
// side by side in rows of equal length, from device to device by number. So a message that leaves a
// device is seen to.
class ArrayLayout {
 public:
  // Of the tiles on which the events of `capture` lie.
  explicit ArrayLayout(const Capture& capture);

  // The array that a viewer shows.
  ArrayShape Shape() const;

  // The devices, ascending; empty where there is no event.
  const std::vector<uint32_t>& Devices() const { return devices; }

  // Columns and rows that the tiles of any device take, at least 1.
  PerAxis Extent() const { return extent; }

  // Positions from a device to the next, along both axes.
  uint32_t Pitch() const { return extent.columns < extent.rows ? extent.rows : extent.columns; }

  // Columns and rows of devices.
  PerAxis DevicesPerAxis() const;

  // Where the tile at column 0 and row 0 of a device lies.
  uint32_t FirstColumn(uint32_t device) const { return IndexOf(device) % perRow * Pitch(); }
  uint32_t FirstRow(uint32_t device) const { return IndexOf(device) / perRow * Pitch(); }

 private:
  uint32_t IndexOf(uint32_t device) const;

  std::vector<uint32_t> devices;
  PerAxis extent;
  uint32_t perRow;  // devices per row of devices
};

}  // namespace marrowfin

#endif
