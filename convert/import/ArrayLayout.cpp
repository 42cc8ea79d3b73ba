#include "convert/import/ArrayLayout.h"

#include <algorithm>
#include <set>

namespace marrowfin {
namespace {

constexpr uint32_t domainsPerCluster = 2;
constexpr uint32_t mostPes = 8;

uint32_t Distance(uint32_t a, uint32_t b) { return a < b ? b - a : a - b; }

// The best way to split `half` a side into clusters and elements of a domain; no elements where
// there is none.
ArrayShape Split(uint32_t half) {
  ArrayShape best = {0, domainsPerCluster, 0};
  for (uint32_t pes = mostPes; pes >= std::min(half, 2u); --pes) {
    const uint32_t clusters = half / pes;
    if (half % pes == 0 &&
        (best.pes.columns == 0 ||
         Distance(clusters, pes) < Distance(best.clusters.columns, best.pes.columns))) {
      best = {clusters, domainsPerCluster, pes};
    }
  }
  return best;
}

uint32_t ExtentOf(const CaptureEvent& event) {
  uint32_t highest = std::max(event.tile.column, event.tile.row);
  if (IsMessage(event.kind)) {
    highest = std::max({highest, uint32_t{event.last.column}, uint32_t{event.last.row}});
  }
  return highest + 1;
}

}  // namespace

ArrayShape ShapeFor(uint32_t extent) {
  uint32_t half = std::max((extent + 1) / 2, 1u);
  ArrayShape shape = Split(half);
  while (shape.pes.columns == 0) {
    shape = Split(++half);
  }
  return shape;
}

ArrayLayout::ArrayLayout(const Capture& capture) : perRow(1) {
  uint32_t extent = 1;
  std::set<uint32_t> seen;
  for (const CaptureEvent& event : capture.events) {
    extent = std::max(extent, ExtentOf(event));
    seen.insert(event.device);
    if (IsMessage(event.kind)) {
      seen.insert(event.farDevice);
    }
  }
  devices.assign(seen.begin(), seen.end());
  while (perRow * perRow < devices.size()) {
    ++perRow;
  }
  shape = ShapeFor(extent);
  pitch = shape.Columns();
  shape.clusters.columns *= perRow;
  shape.clusters.rows *= perRow;
}

uint32_t ArrayLayout::IndexOf(uint32_t device) const {
  return static_cast<uint32_t>(std::lower_bound(devices.begin(), devices.end(), device) -
                               devices.begin());
}

}  // namespace marrowfin
