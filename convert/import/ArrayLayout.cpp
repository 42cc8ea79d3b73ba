#include "convert/import/ArrayLayout.h"

#include <algorithm>
#include <set>

namespace marrowfin {
namespace {

void Include(Tile tile, PerAxis& extent) {
  extent.columns = std::max(extent.columns, tile.column + 1u);
  extent.rows = std::max(extent.rows, tile.row + 1u);
}

}  // namespace

ArrayLayout::ArrayLayout(const Capture& capture) : perRow(1) {
  std::set<uint32_t> seen;
  for (const CaptureEvent& event : capture.events) {
    Include(event.tile, extent);
    seen.insert(event.device);
    if (IsMessage(event.kind)) {
      Include(event.last, extent);
      seen.insert(event.farDevice);
    }
  }
  devices.assign(seen.begin(), seen.end());
  while (perRow * perRow < devices.size()) {
    ++perRow;
  }
}

ArrayShape ArrayLayout::Shape() const { return {perRow, 1, Pitch()}; }

PerAxis ArrayLayout::DevicesPerAxis() const {
  const auto count = std::max<uint32_t>(1, static_cast<uint32_t>(devices.size()));
  return {std::min(perRow, count), (count + perRow - 1) / perRow};
}

uint32_t ArrayLayout::IndexOf(uint32_t device) const {
  return static_cast<uint32_t>(std::lower_bound(devices.begin(), devices.end(), device) -
                               devices.begin());
}

}  // namespace marrowfin
